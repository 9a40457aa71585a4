// SIP messages from any bytes: what decodes encodes to these bytes, limits hold to the byte, a change leaves every
// other line as it was, and the header values of authentication come back from a message as they went in.
#include "fuzz_sipauth.h"
#include "sipauth/base/sipauth_authorization_private.h"

#include <sipauth/sipauth_challenge.h>
#include <sipsn/sipsn_message.h>

#include <algorithm>
#include <strings.h>

namespace
{

using pb::own;
using pb::Ref;
using Lines = std::vector<std::string>;

constexpr int64_t plenty = 1 << 24;

// Limits that no input reaches: a changed message is longer than the one that was accepted.
Ref<sipsnLimits> wideLimits()
{
    auto limits = own( sipsnLimitsCreate() );
    sipsnLimitsSetMessageBytes( limits.inout(), plenty );
    sipsnLimitsSetHeaderLines( limits.inout(), plenty );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), plenty );
    sipsnLimitsSetBodyBytes( limits.inout(), plenty );
    return limits;
}

// The message, or null with a reason.
Ref<sipsnMessage> tryDecode( pbBuffer *buffer, sipsnLimits *limits )
{
    Ref<pbString> reason;
    auto message = own( sipsnMessageTryDecode( buffer, limits, reason.inout() ) );
    FUZZ_CHECK( static_cast<bool>( message ) != static_cast<bool>( reason ) );
    return message;
}

Ref<pbBuffer> encode( sipsnMessage *message )
{
    return own( sipsnMessageEncode( message ) );
}

Ref<sipsnMessage> decodeAgain( sipsnMessage *message )
{
    Ref<sipsnMessage> again = tryDecode( encode( message ), wideLimits() );
    FUZZ_CHECK( again );
    return again;
}

std::string nameAt( sipsnMessage *message, int64_t index )
{
    return pb::textOf( sipsnMessageLineNameAt( message, index ) );
}

Lines allLines( sipsnMessage *message )
{
    Lines lines;
    for( int64_t index = 0; index < sipsnMessageLinesLength( message ); index++ )
        lines.push_back( nameAt( message, index ) + ":" + pb::textOf( sipsnMessageLineValueAt( message, index ) ) );
    return lines;
}

std::string startOf( sipsnMessage *message )
{
    if( sipsnMessageIsRequest( message ) )
        return pb::textOf( sipsnMessageRequestMethod( message ) ) + " " +
               pb::textOf( sipsnMessageRequestIri( message ) );
    return std::to_string( sipsnMessageResponseStatusCode( message ) ) + " " +
           pb::textOf( sipsnMessageResponseReasonPhrase( message ) );
}

std::string bodyOf( sipsnMessage *message )
{
    auto body = own( sipsnMessageBody( message ) );
    FUZZ_CHECK( !body || pbBufferLength( body ) > 0 );
    return pb::bytes( body );
}

void checkSame( sipsnMessage *a, sipsnMessage *b )
{
    FUZZ_CHECK( startOf( a ) == startOf( b ) );
    FUZZ_CHECK( allLines( a ) == allLines( b ) );
    FUZZ_CHECK( bodyOf( a ) == bodyOf( b ) );
}

// The lines of a message that are not found under NAME; they and those that are found are all.
Lines otherLines( sipsnMessage *message, const std::string &name )
{
    auto without = pb::share( message );
    sipsnMessageDelHeaderCstr( without.inout(), name.c_str(), -1 );
    FUZZ_CHECK( !own( sipsnMessageHeaderCstr( without, name.c_str(), -1 ) ) );
    Lines all = allLines( message );
    Lines others = allLines( without );
    auto header = own( sipsnMessageHeaderCstr( message, name.c_str(), -1 ) );
    size_t found = header ? static_cast<size_t>( sipsnMessageHeaderLinesLength( header ) ) : 0;
    FUZZ_CHECK( all.size() == others.size() + found );
    // In their order.
    auto next = others.begin();
    for( const std::string &line : all )
        if( next != others.end() && *next == line )
            ++next;
    FUZZ_CHECK( next == others.end() );
    checkSame( decodeAgain( without ), without );
    return others;
}

Ref<sipsnMessageHeader> headerOf( const std::string &name, const Lines &values )
{
    auto header = own( sipsnMessageHeaderCreateCstr( name.c_str(), -1 ) );
    for( const std::string &value : values )
        sipsnMessageHeaderAppendLine( header.inout(), pb::string( value ) );
    return header;
}

void checkHeader( sipsnMessage *message, const std::string &name, const Lines &values )
{
    auto header = own( sipsnMessageHeaderCstr( message, name.c_str(), -1 ) );
    FUZZ_CHECK( header && sipsnMessageHeaderLinesLength( header ) == static_cast<int64_t>( values.size() ) );
    for( size_t index = 0; index < values.size(); index++ )
        FUZZ_CHECK( pb::textOf( sipsnMessageHeaderLineAt( header, static_cast<int64_t>( index ) ) ) == values[index] );
}

// Sets and removes a header that may or may not be there.
void checkHeaderChanges( sipsnMessage *message, const std::string &name )
{
    const Lines values = { "first", "", "\u00E4, \"third\"" };
    Lines others = otherLines( message, name );
    auto changed = pb::share( message );
    sipsnMessageSetHeader( changed.inout(), headerOf( name, values ) );
    checkHeader( changed, name, values );
    FUZZ_CHECK( otherLines( changed, name ) == others );
    FUZZ_CHECK( bodyOf( changed ) == bodyOf( message ) );
    checkSame( decodeAgain( changed ), changed );

    sipsnMessageSetHeader( changed.inout(), headerOf( name, {} ) );
    checkHeader( changed, name, {} );
    FUZZ_CHECK( allLines( changed ) == others );
}

bool isContentLength( const std::string &name )
{
    return strcasecmp( name.c_str(), "Content-Length" ) == 0 || strcasecmp( name.c_str(), "l" ) == 0;
}

void checkChanges( sipsnMessage *message )
{
    // A header that is put in and taken out again leaves no byte behind.
    if( !own( sipsnMessageHeaderCstr( message, "X-Fuzz", -1 ) ) )
    {
        auto changed = pb::share( message );
        sipsnMessageSetHeader( changed.inout(), headerOf( "X-Fuzz", { "value" } ) );
        sipsnMessageDelHeaderCstr( changed.inout(), "x-fuzz", -1 );
        FUZZ_CHECK( pbBufferEquals( encode( changed ), encode( message ) ) );
    }
    checkHeaderChanges( message, "X-Fuzz" );
    checkHeaderChanges( message, "Subject" );
    otherLines( message, "Content-Length" );
    int64_t length = sipsnMessageLinesLength( message );
    for( int64_t index : { int64_t{ 0 }, length / 2, length - 1 } )
        if( index >= 0 && index < length && !isContentLength( nameAt( message, index ) ) )
            checkHeaderChanges( message, nameAt( message, index ) );
}

void checkBodyChange( sipsnMessage *message, pbBuffer *body )
{
    Lines others = otherLines( message, "Content-Length" );
    auto changed = pb::share( message );
    sipsnMessageSetBody( changed.inout(), body );
    int64_t length = body ? pbBufferLength( body ) : 0;
    FUZZ_CHECK( bodyOf( changed ) == pb::bytes( length ? body : nullptr ) );
    checkHeader( changed, "Content-Length", { std::to_string( length ) } );
    FUZZ_CHECK( otherLines( changed, "Content-Length" ) == others );
    checkSame( decodeAgain( changed ), changed );
}

// What fits exactly is accepted, one less is refused.
void checkLimits( sipsnMessage *message )
{
    auto limited = [&]( void ( *set )( sipsnLimits * *limits, int64_t value ), int64_t value )
    {
        auto limits = wideLimits();
        set( limits.inout(), value );
        return static_cast<bool>( tryDecode( encode( message ), limits ) );
    };
    int64_t size = pbBufferLength( encode( message ) );
    auto body = own( sipsnMessageBody( message ) );
    int64_t bodySize = body ? pbBufferLength( body ) : 0;
    int64_t lines = sipsnMessageLinesLength( message );
    FUZZ_CHECK( limited( sipsnLimitsSetMessageBytes, size ) && !limited( sipsnLimitsSetMessageBytes, size - 1 ) );
    FUZZ_CHECK( limited( sipsnLimitsSetBodyBytes, bodySize ) );
    FUZZ_CHECK( bodySize == 0 || !limited( sipsnLimitsSetBodyBytes, bodySize - 1 ) );
    FUZZ_CHECK( limited( sipsnLimitsSetHeaderLines, std::max<int64_t>( lines, 1 ) ) );
    FUZZ_CHECK( lines < 2 || !limited( sipsnLimitsSetHeaderLines, lines - 1 ) );
    FUZZ_CHECK( lines == 0 || !limited( sipsnLimitsSetHeaderLineBytes, 1 ) );
}

// Challenges and credentials that a message carries, put into it again.
void checkAuthentication( sipsnMessage *message, pbBool proxy )
{
    auto options = own( sipauthOptionsCreate() );
    auto changed = pb::share( message );
    if( auto ch = own( sipauthChallengeTryDecodeFromMessage( options, message, proxy ) ) )
    {
        sipauthChallengeEncodeToMessage( options, ch, changed.inout(), proxy );
        Ref<sipsnMessage> once = changed;
        auto again = own( sipauthChallengeTryDecodeFromMessage( options, changed, proxy ) );
        FUZZ_CHECK( again );
        FUZZ_CHECK( sipauthChallengeAuthenticatesLength( again ) == sipauthChallengeAuthenticatesLength( ch ) );
        sipauthChallengeEncodeToMessage( options, again, changed.inout(), proxy );
        checkSame( once, changed );
    }
    if( auto ar = own( sipauth___AuthorizationTryDecodeFromMessage( options, message, proxy ) ) )
    {
        sipauth___AuthorizationEncodeToMessage( options, ar, changed.inout(), proxy );
        auto again = own( sipauth___AuthorizationTryDecodeFromMessage( options, decodeAgain( changed ), proxy ) );
        FUZZ_CHECK( again && sipauthAuthorizationEquals( again, ar ) );
    }
}

void checkMessage( sipsnMessage *message, const std::string &bytes )
{
    std::string encoded = pb::bytes( encode( message ) );
    FUZZ_CHECK( bytes.compare( 0, encoded.size(), encoded ) == 0 );
    // Bytes are dropped after a body of a given length only.
    FUZZ_CHECK( encoded.size() == bytes.size() || own( sipsnMessageHeaderCstr( message, "Content-Length", -1 ) ) );
    checkSame( decodeAgain( message ), message );
    checkLimits( message );
    checkChanges( message );
    checkBodyChange( message, nullptr );
    checkBodyChange( message, pb::buffer( "" ) );
    checkBodyChange( message, pb::buffer( bytes ) );
    checkAuthentication( message, 0 );
    checkAuthentication( message, 1 );
    FUZZ_CHECK( pb::bytes( encode( message ) ) == encoded );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::startLibrary();
    fuzz::LiveObjectCheck check;
    std::string bytes( reinterpret_cast<const char *>( data ), size );
    Ref<pbBuffer> buffer = pb::buffer( bytes );
    Ref<sipsnMessage> message = tryDecode( buffer, nullptr );
    Ref<sipsnMessage> unlimited = tryDecode( buffer, wideLimits() );
    FUZZ_CHECK( unlimited || !message );
    if( unlimited )
        checkMessage( unlimited, bytes );
    return 0;
}
