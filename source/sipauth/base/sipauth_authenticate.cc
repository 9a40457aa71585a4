// One challenge of a WWW-Authenticate or Proxy-Authenticate header: the value and its text form.
#include "sipauth/base/sipauth_authenticate_private.h"

#include "iri/iri_skip.h"
#include "pb/pb_type.h"
#include "sipauth/base/sipauth_parameters_private.h"
#include "sipauth/sipauth_private.h"

#include <sipauth/sipauth_value.h>

struct sipauthAuthenticate
{
    pb::Object object;
    int64_t scheme;
    pb::Field<pbString> basicRealm;
    pb::Field<pbString> digestRealm;
    pb::Field<pbVector> digestIris;
    pb::Field<pbString> digestNonce;
    pb::Field<pbString> digestOpaque;
    pbBool digestStale;
    pb::Field<pbString> digestAlgorithm;
    pb::Field<pbVector> digestQopOptions;
};

PB_TYPE( sipauthAuthenticate, SIPAUTH_AUTHENTICATE, sipauth, sipauth___AuthenticateFreeFunc, nullptr );

sipauthAuthenticate *sipauthAuthenticateCreate( int64_t scheme )
{
    PB_ASSERT( SIPAUTH_SCHEME_OK( scheme ) );
    auto ac = pb::create<sipauthAuthenticate>( sipauthAuthenticateSort() );
    ac->scheme = scheme;
    ac->digestIris = pb::own( pbVectorCreate() );
    ac->digestQopOptions = pb::own( pbVectorCreate() );
    return ac.give();
}

sipauthAuthenticate *sipauthAuthenticateCreateFrom( sipauthAuthenticate *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

static void sipauth___AuthenticateFreeFunc( pbObj *obj )
{
    sipauthAuthenticate *ac = sipauthAuthenticateFrom( obj );
    PB_ASSERT( ac );
    pb::poison( ac->basicRealm, ac->digestRealm, ac->digestIris, ac->digestNonce, ac->digestOpaque, ac->digestAlgorithm,
                ac->digestQopOptions );
}

PB_FIELD_ENUM( sipauthAuthenticate, ac, Scheme, scheme, scheme, SIPAUTH_SCHEME_OK( scheme ) );
PB_FIELD_OBJECT( sipauthAuthenticate, ac, BasicRealm, basicRealm, pbString, realm, sipauthValueBasicRealmOk( realm ) );
PB_FIELD_OBJECT( sipauthAuthenticate, ac, DigestRealm, digestRealm, pbString, realm, sipauthValueDigestRealmOk( realm ) );
PB_FIELD_STRINGS( sipauthAuthenticate, ac, DigestIris, DigestIri, digestIris, iri, sipauthValueDigestIriOk( iri ) );
PB_FIELD_OBJECT( sipauthAuthenticate, ac, DigestNonce, digestNonce, pbString, nonce, sipauthValueDigestNonceOk( nonce ) );
PB_FIELD_OBJECT( sipauthAuthenticate, ac, DigestOpaque, digestOpaque, pbString, opaque,
                 sipauthValueDigestOpaqueOk( opaque ) );
PB_FIELD_BOOL( sipauthAuthenticate, ac, DigestStale, digestStale );
PB_FIELD_OBJECT( sipauthAuthenticate, ac, DigestAlgorithm, digestAlgorithm, pbString, algorithm,
                 sipauthValueDigestAlgorithmOk( algorithm ) );
PB_FIELD_STRINGS( sipauthAuthenticate, ac, DigestQopOptions, DigestQopOption, digestQopOptions, qop,
                  sipauthValueDigestQopOk( qop ) );

namespace
{

using namespace sipauth;

// Splits a value at white space into IRIs. The scanner is the check: what it accepts is an IRI.
struct SplitIris
{
    static int64_t skipItem( const char *chs, int64_t length ) { return iri___SkipIriAscii( chs, length ); }
    static int64_t skipItem( const pbChar *chs, int64_t length ) { return iri___SkipIri( chs, length ); }

    template<class Ch>
    static bool takeDelimiter( Reader<Ch> *reader )
    {
        return reader->atEnd() || reader->take( skipLws( reader->rest(), reader->restLength() ) ).count > 0;
    }
};

// Splits a value at commas, white space or both into tokens.
struct SplitTokens
{
    template<class Ch>
    static int64_t skipItem( const Ch *chs, int64_t length )
    {
        return skipToken( chs, length );
    }

    template<class Ch>
    static bool takeDelimiter( Reader<Ch> *reader )
    {
        reader->takeLws();
        reader->takeChar( ',' );
        return true;
    }
};

// A parameter that is held in a vector of strings: one quoted string with a delimiter between the items.
template<class Split>
struct ListParameter
{
    Format format;
    pb::Field<pbVector> sipauthAuthenticate::*field;
    char delimiter;

    bool present( const sipauthAuthenticate *ac ) const { return pbVectorLength( ac->*field ) > 0; }

    // No item holds white space, so escaping the items one by one gives what escaping the whole list would.
    void append( pb::Text *text, const sipauthAuthenticate *ac ) const
    {
        for( int64_t index = 0; index < pbVectorLength( ac->*field ); index++ )
        {
            if( index > 0 )
                text->append( &delimiter, 1 );
            auto item = pb::own( pbVectorObjAt( ac->*field, index ) );
            sipauth___QuotableStringAppendUnq( text, pbStringFrom( item ) );
        }
    }

    bool apply( sipauthAuthenticate *ac, const Slice &value ) const
    {
        return value.scan(
            [&]( auto *chs, int64_t length )
            {
                Reader reader( value.source, chs, length );
                while( true )
                {
                    reader.takeLws();
                    if( reader.atEnd() )
                        return true;
                    Slice item = reader.take( Split::skipItem( reader.rest(), reader.restLength() ) );
                    if( item.count == 0 )
                        return false;
                    item.offset += value.offset;
                    pbVectorAppendString( ( ac->*field ).inout(), item.toString() );
                    if( !Split::takeDelimiter( &reader ) )
                        return false;
                }
            } );
    }
};

struct StaleParameter
{
    Format format;

    bool present( const sipauthAuthenticate *ac ) const { return ac->digestStale; }

    void append( pb::Text *, const sipauthAuthenticate * ) const {}

    bool apply( sipauthAuthenticate *ac, const Slice &value ) const
    {
        return value.scan(
            [ac]( auto *chs, int64_t length )
            {
                ac->digestStale = equalsFolded( chs, length, "true" );
                return ac->digestStale || equalsFolded( chs, length, "false" );
            } );
    }
};

using Parameter = StringParameter<sipauthAuthenticate>;

constexpr Format basicFormat( "Basic %s" );
constexpr std::tuple basicParameters{
    Parameter{ "realm=%~s", &sipauthAuthenticate::basicRealm, sipauthValueBasicRealmOk },
};

constexpr Format digestFormat( "Digest %s" );
constexpr std::tuple digestParameters{
    Parameter{ "realm=%~s", &sipauthAuthenticate::digestRealm, sipauthValueDigestRealmOk },
    ListParameter<SplitIris>{ "domain=%~s", &sipauthAuthenticate::digestIris, ' ' },
    Parameter{ "nonce=%~s", &sipauthAuthenticate::digestNonce, sipauthValueDigestNonceOk },
    Parameter{ "opaque=%~s", &sipauthAuthenticate::digestOpaque, sipauthValueDigestOpaqueOk },
    StaleParameter{ "stale=true" },
    Parameter{ "algorithm=%s", &sipauthAuthenticate::digestAlgorithm, sipauthValueDigestAlgorithmOk },
    ListParameter<SplitTokens>{ "qop=%~s", &sipauthAuthenticate::digestQopOptions, ',' },
};
static_assert( std::tuple_size_v<decltype( digestParameters )> == 7 );

template<class Ch, class Rows>
pb::Ref<sipauthAuthenticate> tryDecode( Reader<Ch> *reader, int64_t scheme, const Rows &rows )
{
    auto ac = pb::own( sipauthAuthenticateCreate( scheme ) );
    return readParameters( reader, ac.get(), rows ) ? std::move( ac ) : nullptr;
}

} // namespace

pbString *sipauth___AuthenticateEncode( sipauthOptions *opt, sipauthAuthenticate *ac )
{
    PB_ASSERT( opt );
    PB_ASSERT( ac );
    PB_ASSERT( SIPAUTH_SCHEME_OK( ac->scheme ) );
    pb::Text text;
    if( ac->scheme == SIPAUTH_SCHEME_BASIC )
    {
        append( &text, basicFormat.head );
        appendParameters( &text, ac, basicParameters );
    }
    else
    {
        append( &text, digestFormat.head );
        appendParameters( &text, ac, digestParameters );
    }
    return text.toString().give();
}

sipauthAuthenticate *sipauth___AuthenticateTryDecode( sipauthOptions *opt, pbString *source )
{
    PB_ASSERT( opt );
    PB_ASSERT( source );
    auto decode = [source]( auto *chs, int64_t length ) -> pb::Ref<sipauthAuthenticate>
    {
        Reader reader( source, chs, length );
        switch( takeScheme( &reader ) )
        {
        case SIPAUTH_SCHEME_BASIC:
            return tryDecode( &reader, SIPAUTH_SCHEME_BASIC, basicParameters );
        case SIPAUTH_SCHEME_DIGEST:
            return tryDecode( &reader, SIPAUTH_SCHEME_DIGEST, digestParameters );
        default:
            return nullptr;
        }
    };
    return scanString( source, decode ).give();
}
