// The request digest (RFC 2617 section 3.2.2.1), which both sides compute. Hash inputs are put together as bytes on the
// stack; values that stand quoted in headers enter them in their escaped form, as they stand between the quotes.
#include "sipauth/digest/sipauth_digest_state_response_private.h"

#include "pb/pb_text.h"
#include "sipauth/base/sipauth_credentials_private.h"
#include "sipauth/base/sipauth_quotable_string_private.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"
#include "sipauth/digest/sipauth_digest_state_private.h"
#include "tr/tr_trace.h"

#include <cry/cry_hash.h>
#include <sipauth/sipauth_value.h>

namespace
{

constexpr char digit( uint8_t value )
{
    return static_cast<char>( value + ( value > 9 ? 'a' - 10 : '0' ) );
}

// Writes the digits of COUNT bytes. Plain arithmetic: the compiler makes vector instructions of it.
void writeHex( const uint8_t *bytes, int64_t count, char *out )
{
    for( int64_t index = 0; index < count; index++ )
    {
        out[2 * index] = digit( bytes[index] >> 4 );
        out[2 * index + 1] = digit( bytes[index] & 0xF );
    }
}

// A hash in lower-case hexadecimal; empty when the hash function is not available.
struct Hex
{
    int64_t length;
    char chars[2 * CRY_HASH_MAX_LENGTH];

    explicit operator bool() const { return length > 0; }
    void appendTo( pb::Text &text ) const { text.append( chars, length ); }
    // A new string, or null when empty.
    pb::Ref<pbString> toString() const
    {
        return length > 0 ? pb::own( pbStringCreateFromCstr( chars, length ) ) : nullptr;
    }
};

Hex tryHash( int64_t algorithm, const void *bytes, int64_t length )
{
    uint8_t digest[CRY_HASH_MAX_LENGTH];
    int64_t digestLength = cryHashTryComputeBytes( sipauth___DigestAlgorithmHash( algorithm ), bytes, length, digest );
    Hex hex;
    hex.length = 2 * digestLength;
    writeHex( digest, digestLength, hex.chars );
    return hex;
}

Hex tryHash( int64_t algorithm, const pb::Text &text )
{
    return tryHash( algorithm, text.bytes(), text.length() );
}

} // namespace

pbString *sipauth___DigestStateResponseTryHashBuffer( int64_t algorithm, pbBuffer *buffer )
{
    PB_ASSERT( buffer );
    return tryHash( algorithm, pbBufferBacking( buffer ), pbBufferLength( buffer ) ).toString().give();
}

pbString *sipauth___DigestStateResponseTryHashFormat( int64_t algorithm, const char *format, ... )
{
    PB_ASSERT( format );
    pb::Text text;
    va_list args;
    va_start( args, format );
    text.formatArgList( format, args );
    va_end( args );
    return tryHash( algorithm, text ).toString().give();
}

namespace
{

// What one computation works on.
struct Computation
{
    trStream *stream;
    sipauthDigestState *state;
    int64_t qop;
    pb::Ref<pbString> method;
    pb::Ref<pbString> iri;
    bool iriOk;             // checked already
    pb::Ref<pbBuffer> body; // null for none
    pbString *userName;     // null for none
    pbString *password;     // null for none
    pbString *cnonce;       // null for none

    bool withQop() const { return qop != SIPAUTH_DIGEST_QOP_NONE; }
};

// Why a computation cannot be done; null when it can.
const char *obstacle( const Computation &computation )
{
    if( !computation.state->allowsQop( computation.qop ) )
        return "Digest qop mismatch.";
    if( computation.withQop() && !computation.cnonce )
        return "Cnonce required.";
    if( !computation.iriOk && !sipauthValueDigestIriOk( computation.iri ) )
        return "sipauthValueDigestIriOk(): false";
    if( !computation.userName )
        return "sipauthCredentialsUserName(): null";
    if( !sipauthValueDigestUserNameOk( computation.userName ) )
        return "sipauthValueDigestUserNameOk(): false";
    if( !computation.password )
        return "sipauthCredentialsPassword(): null";
    return nullptr;
}

// H(A1) of "%~s:%~s:%s": user name and realm escaped, the password as it is. A session algorithm hashes that hash again
// in "%s:%~s:%~s", with nonce and cnonce escaped.
Hex tryHashA1( const Computation &computation )
{
    const sipauthDigestState *state = computation.state;
    pb::Text text;
    sipauth___QuotableStringAppendUnq( &text, computation.userName );
    text.appendChar( ':' );
    sipauth___QuotableStringAppendUnq( &text, state->realm );
    text.appendChar( ':' );
    text.append( computation.password );
    Hex hex = tryHash( state->algorithm, text );
    if( !hex || !sipauth___DigestAlgorithmRequiresQop( state->algorithm ) )
        return hex;
    pb::Text session;
    hex.appendTo( session );
    session.appendChar( ':' );
    sipauth___QuotableStringAppendUnq( &session, state->nonce );
    session.appendChar( ':' );
    sipauth___QuotableStringAppendUnq( &session, computation.cnonce );
    return tryHash( state->algorithm, session );
}

// H(entity-body), a new string; that of no bytes for a request without a body.
pb::Ref<pbString> tryHashBody( const Computation &computation )
{
    auto body = computation.body ? computation.body : pb::own( pbBufferCreate() );
    return pb::own( sipauth___DigestStateResponseTryHashBuffer( computation.state->algorithm, body ) );
}

// H(A2) of "%s:%s", method and IRI, or with "auth-int" of "%s:%s:%s", which has the hash of the body, too.
Hex tryHashA2( const Computation &computation )
{
    pb::Text text;
    text.append( computation.method );
    text.appendChar( ':' );
    text.append( computation.iri );
    if( computation.qop == SIPAUTH_DIGEST_QOP_AUTH_INT )
    {
        auto body = tryHashBody( computation );
        if( !body )
            return Hex{};
        TR_TEXT_FORMAT( computation.stream, "H(entity-body): %s", body.get() );
        text.appendChar( ':' );
        text.append( body );
    }
    return tryHash( computation.state->algorithm, text );
}

// The nonce count as "%08!16i" gives it. It never has more than eight digits.
void appendNonceCount( pb::Text &text, int64_t nonceCount )
{
    uint8_t bytes[4];
    for( int64_t index = 0; index < 4; index++ )
        bytes[index] = static_cast<uint8_t>( nonceCount >> ( 24 - 8 * index ) );
    writeHex( bytes, 4, text.room( 8 ) );
    text.wrote( 8 );
}

// The hash of "%s:%~s:%s": H(A1), the nonce escaped and H(A2); with a quality of protection of
// "%s:%~s:%s:%~s:%~s:%s", where nonce count, cnonce and the quality itself come before H(A2).
Hex tryHashResult( const Computation &computation, const Hex &a1, const Hex &a2 )
{
    const sipauthDigestState *state = computation.state;
    pb::Text text;
    a1.appendTo( text );
    text.appendChar( ':' );
    sipauth___QuotableStringAppendUnq( &text, state->nonce );
    if( computation.withQop() )
    {
        text.appendChar( ':' );
        appendNonceCount( text, state->nonceCount );
        text.appendChar( ':' );
        sipauth___QuotableStringAppendUnq( &text, computation.cnonce );
        text.appendChar( ':' );
        text.append( pb::own( sipauth___DigestQopEncode( computation.qop ) ) );
    }
    text.appendChar( ':' );
    a2.appendTo( text );
    return tryHash( state->algorithm, text );
}

Hex tryCompute( const Computation &computation )
{
    trStream *stream = computation.stream;
    Hex a1 = tryHashA1( computation );
    if( !a1 )
        return {};
    TR_TEXT_FORMAT( stream, "H(A1): %s", a1.toString().get() );
    Hex a2 = tryHashA2( computation );
    if( !a2 )
        return {};
    TR_TEXT_FORMAT( stream, "H(A2): %s", a2.toString().get() );
    Hex result = tryHashResult( computation, a1, a2 );
    if( !result )
        return {};
    TR_TEXT_FORMAT( stream, "result: %s", result.toString().get() );
    return result;
}

// The store of the credentials is made without the password: traces are kept where others read them.
void traceProperties( const Computation &computation, sipsnMessage *request, sipauthCredentials *credentials )
{
    trStream *stream = computation.stream;
    trStreamSetPayloadTypeCstr( stream, "SIPSN_MESSAGE", -1 );
    trStreamSetPropertyCstrBuffer( stream, "sipauthDigestRequest", -1, pb::own( sipsnMessageEncode( request ) ) );
    trStreamSetPropertyCstrString( stream, "sipauthDigestIri", -1, computation.iri );
    trStreamSetPropertyCstrStore( stream, "sipauthDigestCredentials", -1,
                                  pb::own( sipauthCredentialsStore( credentials, 0 ) ) );
    trStreamSetPropertyCstrString( stream, "sipauthDigestQop", -1,
                                   pb::own( sipauthDigestQopToString( computation.qop ) ) );
    if( computation.cnonce )
        trStreamSetPropertyCstrString( stream, "sipauthDigestCnonce", -1, computation.cnonce );
}

} // namespace

pbString *sipauthDigestStateTryComputeResponse( sipauthDigestState *state, sipsnMessage *request,
                                                sipauthCredentials *credentials, int64_t qop, pbString *optionalCnonce,
                                                pbString *optionalDeviatingIri, trAnchor *optionalAnchor )
{
    PB_ASSERT( state );
    PB_ASSERT( request );
    PB_ASSERT( credentials );
    PB_ASSERT( sipsnMessageIsRequest( request ) );
    PB_ASSERT( SIPAUTH_DIGEST_QOP_OK( qop ) );
    PB_ASSERT( !optionalCnonce || sipauthValueDigestCnonceOk( optionalCnonce ) );
    PB_ASSERT( !optionalDeviatingIri || sipauthValueDigestIriOk( optionalDeviatingIri ) );
    auto stream = tr::begin( "sipauthDigestStateTryComputeResponse()", optionalAnchor );
    Computation computation = {
        .stream = stream,
        .state = state,
        .qop = qop,
        .method = pb::own( sipsnMessageRequestMethod( request ) ),
        .iri = optionalDeviatingIri ? pb::share( optionalDeviatingIri ) : pb::own( sipsnMessageRequestIri( request ) ),
        .iriOk = optionalDeviatingIri != nullptr,
        .body = pb::own( sipsnMessageBody( request ) ),
        .userName = credentials->userName,
        .password = credentials->password,
        .cnonce = optionalCnonce,
    };
    tr::whenRecorded( stream, [&] { traceProperties( computation, request, credentials ); } );
    if( const char *text = obstacle( computation ) )
    {
        tr::fail( stream, text );
        return nullptr;
    }
    Hex result = tryCompute( computation );
    if( !result )
        trStreamSetNotable( stream );
    return result.toString().give();
}
