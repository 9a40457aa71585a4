// The credentials of an Authorization or Proxy-Authorization header: the value, its text form and its place in a
// message.
#include "sipauth/base/sipauth_authorization_private.h"

#include "pb/pb_type.h"
#include "sipauth/base/sipauth_parameters_private.h"
#include "sipauth/sipauth_private.h"

#include <rfc/rfc_base.h>
#include <sipauth/sipauth_value.h>

#include <iterator>

static int64_t sipauth___AuthorizationCompFunc( pbObj *thisObj, pbObj *thatObj );

PB_TYPE( sipauthAuthorization, SIPAUTH_AUTHORIZATION, sipauth, sipauth___AuthorizationFreeFunc,
         sipauth___AuthorizationCompFunc );

namespace
{

// The string fields in declaration order.
constexpr pb::Field<pbString> sipauthAuthorization::*stringFields[] = {
    &sipauthAuthorization::basicUserName,    &sipauthAuthorization::basicPassword,
    &sipauthAuthorization::digestUserName,   &sipauthAuthorization::digestRealm,
    &sipauthAuthorization::digestNonce,      &sipauthAuthorization::digestIri,
    &sipauthAuthorization::digestResponse,   &sipauthAuthorization::digestAlgorithm,
    &sipauthAuthorization::digestCnonce,     &sipauthAuthorization::digestOpaque,
    &sipauthAuthorization::digestMessageQop,
};
static_assert( std::size( stringFields ) == 11 );

int64_t compareIntegers( int64_t a, int64_t b )
{
    return a < b ? -1 : a > b ? 1 : 0;
}

// An absent string comes before a present one.
int64_t compareStrings( pbString *a, pbString *b )
{
    return a && b ? pbObjCompare( pbStringObj( a ), pbStringObj( b ) ) : compareIntegers( a != nullptr, b != nullptr );
}

} // namespace

sipauthAuthorization *sipauthAuthorizationCreate( int64_t scheme )
{
    PB_ASSERT( SIPAUTH_SCHEME_OK( scheme ) );
    auto ar = pb::create<sipauthAuthorization>( sipauthAuthorizationSort() );
    ar->scheme = scheme;
    ar->digestNonceCount = -1;
    return ar.give();
}

sipauthAuthorization *sipauthAuthorizationCreateFrom( sipauthAuthorization *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

static void sipauth___AuthorizationFreeFunc( pbObj *obj )
{
    sipauthAuthorization *ar = sipauthAuthorizationFrom( obj );
    PB_ASSERT( ar );
    for( auto field : stringFields )
        ( ar->*field ).poison();
}

static int64_t sipauth___AuthorizationCompFunc( pbObj *thisObj, pbObj *thatObj )
{
    sipauthAuthorization *thisAr = sipauthAuthorizationFrom( thisObj );
    PB_ASSERT( thisObj );
    sipauthAuthorization *thatAr = sipauthAuthorizationFrom( thatObj );
    PB_ASSERT( thatObj );
    if( int64_t order = compareIntegers( thisAr->scheme, thatAr->scheme ) )
        return order;
    for( auto field : stringFields )
        if( int64_t order = compareStrings( thisAr->*field, thatAr->*field ) )
            return order;
    return compareIntegers( thisAr->digestNonceCount, thatAr->digestNonceCount );
}

PB_FIELD_ENUM( sipauthAuthorization, ar, Scheme, scheme, scheme, SIPAUTH_SCHEME_OK( scheme ) );
PB_FIELD_OBJECT( sipauthAuthorization, ar, BasicUserName, basicUserName, pbString, userName,
                 sipauthValueBasicUserNameOk( userName ) );
PB_FIELD_OBJECT( sipauthAuthorization, ar, BasicPassword, basicPassword, pbString, password,
                 sipauthValueBasicPasswordOk( password ) );
PB_FIELD_OBJECT( sipauthAuthorization, ar, DigestRealm, digestRealm, pbString, realm,
                 sipauthValueDigestRealmOk( realm ) );
PB_FIELD_OBJECT( sipauthAuthorization, ar, DigestNonce, digestNonce, pbString, nonce,
                 sipauthValueDigestNonceOk( nonce ) );
PB_FIELD_OBJECT( sipauthAuthorization, ar, DigestIri, digestIri, pbString, iri, sipauthValueDigestIriOk( iri ) );
PB_FIELD_OBJECT( sipauthAuthorization, ar, DigestResponse, digestResponse, pbString, response,
                 sipauthValueDigestResponseOk( response ) );
PB_FIELD_OBJECT( sipauthAuthorization, ar, DigestAlgorithm, digestAlgorithm, pbString, algorithm,
                 sipauthValueDigestAlgorithmOk( algorithm ) );
PB_FIELD_OBJECT( sipauthAuthorization, ar, DigestCnonce, digestCnonce, pbString, cnonce,
                 sipauthValueDigestCnonceOk( cnonce ) );
PB_FIELD_OBJECT( sipauthAuthorization, ar, DigestOpaque, digestOpaque, pbString, opaque,
                 sipauthValueDigestOpaqueOk( opaque ) );
PB_FIELD_OBJECT( sipauthAuthorization, ar, DigestMessageQop, digestMessageQop, pbString, qop,
                 sipauthValueDigestQopOk( qop ) );

// The user name has two checks.

pbString *sipauthAuthorizationDigestUserName( sipauthAuthorization *ar )
{
    PB_ASSERT( ar );
    return ar->digestUserName.shareOut();
}

pbBool sipauthAuthorizationHasDigestUserName( sipauthAuthorization *ar )
{
    PB_ASSERT( ar );
    return ar->digestUserName ? 1 : 0;
}

void sipauthAuthorizationSetDigestUserName( sipauthAuthorization **ar, pbString *userName )
{
    PB_ASSERT( ar );
    PB_ASSERT( *ar );
    PB_ASSERT( userName );
    PB_ASSERT( sipauthValueDigestUserNameOk( userName ) );
    PB_ASSERT( ((*ar)) );
    pb::mutate( ar )->digestUserName = pb::share( userName );
}

void sipauthAuthorizationDelDigestUserName( sipauthAuthorization **ar )
{
    PB_ASSERT( ar );
    PB_ASSERT( *ar );
    pb::mutate( ar )->digestUserName.clear();
}

// The nonce count is absent at -1.

int64_t sipauthAuthorizationDigestNonceCount( sipauthAuthorization *ar )
{
    PB_ASSERT( ar );
    return ar->digestNonceCount;
}

pbBool sipauthAuthorizationHasDigestNonceCount( sipauthAuthorization *ar )
{
    PB_ASSERT( ar );
    return ar->digestNonceCount != -1;
}

void sipauthAuthorizationSetDigestNonceCount( sipauthAuthorization **ar, int64_t nonceCount )
{
    PB_ASSERT( ar );
    PB_ASSERT( *ar );
    PB_ASSERT( sipauthValueDigestNonceCountOk( nonceCount ) );
    PB_ASSERT( ((*ar)) );
    pb::mutate( ar )->digestNonceCount = nonceCount;
}

void sipauthAuthorizationDelDigestNonceCount( sipauthAuthorization **ar )
{
    PB_ASSERT( ar );
    PB_ASSERT( *ar );
    pb::mutate( ar )->digestNonceCount = -1;
}

namespace
{

using namespace sipauth;

// A number that the hexadecimal digits of a whole text spell, in any letter case; -1 for any other text and for a
// number of more than 32 bits.
template<class Ch>
int64_t scanHexadecimal( const Ch *chs, int64_t length )
{
    int64_t number = length > 0 ? 0 : -1;
    for( int64_t index = 0; index < length; index++ )
    {
        Ch ch = foldCase( chs[index] );
        if( !isOf( ch, charLhex ) || number > 0xFFFFFFF )
            return -1;
        number = number * 16 + ( ch <= '9' ? ch - '0' : ch - 'a' + 10 );
    }
    return number;
}

struct NonceCountParameter
{
    Format format;

    bool present( const sipauthAuthorization *ar ) const { return ar->digestNonceCount != -1; }

    void append( pb::Text *text, const sipauthAuthorization *ar ) const
    {
        text->format( "%08!16i", ar->digestNonceCount );
    }

    bool apply( sipauthAuthorization *ar, const Slice &value ) const
    {
        int64_t count = value.scan( []( auto *chs, int64_t length ) { return scanHexadecimal( chs, length ); } );
        if( !sipauthValueDigestNonceCountOk( count ) )
            return false;
        ar->digestNonceCount = count;
        return true;
    }
};

using Parameter = StringParameter<sipauthAuthorization>;

constexpr Format digestFormat( "Digest %s" );
constexpr std::tuple digestParameters{
    Parameter{ "username=%~s", &sipauthAuthorization::digestUserName, sipauthValueDigestUserNameOk },
    Parameter{ "realm=%~s", &sipauthAuthorization::digestRealm, sipauthValueDigestRealmOk },
    Parameter{ "nonce=%~s", &sipauthAuthorization::digestNonce, sipauthValueDigestNonceOk },
    Parameter{ "uri=%~s", &sipauthAuthorization::digestIri, sipauthValueDigestIriOk },
    Parameter{ "response=\"%s\"", &sipauthAuthorization::digestResponse, sipauthValueDigestResponseOk },
    Parameter{ "algorithm=%s", &sipauthAuthorization::digestAlgorithm, sipauthValueDigestAlgorithmOk },
    Parameter{ "cnonce=%~s", &sipauthAuthorization::digestCnonce, sipauthValueDigestCnonceOk },
    Parameter{ "opaque=%~s", &sipauthAuthorization::digestOpaque, sipauthValueDigestOpaqueOk },
    Parameter{ "qop=%s", &sipauthAuthorization::digestMessageQop, sipauthValueDigestQopOk },
    NonceCountParameter{ "nc=%08!16i" },
};
static_assert( std::tuple_size_v<decltype( digestParameters )> == 10 );

pb::Ref<pbString> encodeBasic( sipauthOptions *opt, sipauthAuthorization *ar )
{
    pb::Text text;
    if( ar->basicUserName )
        text.append( ar->basicUserName );
    text.append( ":" );
    if( ar->basicPassword )
        text.append( ar->basicPassword );
    auto bytes = pb::own( pbBufferCreateFromBytes( text.bytes(), text.length() ) );
    auto options = pb::own( sipauthOptionsRfcBaseOptions( opt ) );
    auto credentials = pb::own( rfcBaseEncodeToStringWithOptions( bytes, RFC_BASE_64, options ) );
    return pb::own( pbStringCreateFromFormatCstr( "Basic %s", -1, credentials.get() ) );
}

// Takes user id and password, neither of them empty, from the decoded text.
template<class Ch>
pb::Ref<sipauthAuthorization> tryDecodeUserPass( Reader<Ch> reader )
{
    Slice userName = reader.take( skipUserid( reader.rest(), reader.restLength() ) );
    if( userName.count == 0 || !reader.takeChar( ':' ) )
        return nullptr;
    Slice password = reader.take( skipText( reader.rest(), reader.restLength() ) );
    if( password.count == 0 || !reader.atEnd() )
        return nullptr;
    auto ar = pb::own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_BASIC ) );
    ar->basicUserName = userName.toString();
    ar->basicPassword = password.toString();
    return ar;
}

template<class Ch>
pb::Ref<sipauthAuthorization> tryDecodeBasic( Reader<Ch> *reader, sipauthOptions *opt )
{
    reader->takeLws();
    Slice credentials = reader->take( skipBasicCredentials( reader->rest(), reader->restLength() ) );
    reader->takeLws();
    if( credentials.count == 0 || !reader->atEnd() )
        return nullptr;
    auto options = pb::own( sipauthOptionsRfcBaseOptions( opt ) );
    auto bytes = pb::own( rfcBaseTryDecodeStringWithOptions( credentials.toString(), RFC_BASE_64, options ) );
    if( !bytes )
        return nullptr;
    auto text = pb::own( pbStringCreateFromUtf8( pbBufferBacking( bytes ), pbBufferLength( bytes ) ) );
    return scanString( text, [&]( auto *chs, int64_t length )
                       { return tryDecodeUserPass( Reader( text.get(), chs, length ) ); } );
}

template<class Ch>
pb::Ref<sipauthAuthorization> tryDecodeDigest( Reader<Ch> *reader )
{
    auto ar = pb::own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_DIGEST ) );
    return readParameters( reader, ar.get(), digestParameters ) ? std::move( ar ) : nullptr;
}

const char *headerName( pbBool proxy )
{
    return proxy ? "Proxy-Authorization" : "Authorization";
}

} // namespace

pbString *sipauth___AuthorizationEncode( sipauthOptions *opt, sipauthAuthorization *ar )
{
    PB_ASSERT( opt );
    PB_ASSERT( ar );
    PB_ASSERT( SIPAUTH_SCHEME_OK( ar->scheme ) );
    if( ar->scheme == SIPAUTH_SCHEME_BASIC )
        return encodeBasic( opt, ar ).give();
    pb::Text text;
    append( &text, digestFormat.head );
    appendParameters( &text, ar, digestParameters );
    return text.toString().give();
}

sipauthAuthorization *sipauth___AuthorizationTryDecode( sipauthOptions *opt, pbString *source )
{
    PB_ASSERT( opt );
    PB_ASSERT( source );
    auto decode = [opt, source]( auto *chs, int64_t length ) -> pb::Ref<sipauthAuthorization>
    {
        Reader reader( source, chs, length );
        switch( takeScheme( &reader ) )
        {
        case SIPAUTH_SCHEME_BASIC:
            return tryDecodeBasic( &reader, opt );
        case SIPAUTH_SCHEME_DIGEST:
            return tryDecodeDigest( &reader );
        default:
            return nullptr;
        }
    };
    return scanString( source, decode ).give();
}

void sipauth___AuthorizationEncodeToMessage( sipauthOptions *opt, sipauthAuthorization *ar, sipsnMessage **message,
                                             pbBool proxy )
{
    PB_ASSERT( opt );
    PB_ASSERT( ar );
    PB_ASSERT( message );
    PB_ASSERT( *message );
    auto header = pb::own( sipsnMessageHeaderCreateCstr( headerName( proxy ), -1 ) );
    sipsnMessageHeaderAppendLine( header.inout(), pb::own( sipauth___AuthorizationEncode( opt, ar ) ) );
    sipsnMessageSetHeader( message, header );
}

sipauthAuthorization *sipauth___AuthorizationTryDecodeFromMessage( sipauthOptions *opt, sipsnMessage *message,
                                                                   pbBool proxy )
{
    PB_ASSERT( opt );
    PB_ASSERT( message );
    auto header = pb::own( sipsnMessageHeaderCstr( message, headerName( proxy ), -1 ) );
    if( !header )
        return nullptr;
    auto line = pb::own( sipsnMessageHeaderLastLine( header ) );
    return line ? sipauth___AuthorizationTryDecode( opt, line ) : nullptr;
}
