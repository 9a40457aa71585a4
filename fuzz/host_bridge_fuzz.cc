// The wire bridge on any header lines, in both roles: what it leaves is what the library reads, and reads the same from
// it; what the library must not see is gone; the message stays one message.
//
// The input begins with one byte of choices: the role as a proxy, the profile and stale. The rest are lines.
#include "fuzz_sipauth.h"
#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/base/sipauth_challenge_private.h"

#include <host/host_bridge.h>
#include <sipauth/sipauth_challenge.h>
#include <sipauth/sipauth_digest_state.h>

#include <algorithm>

namespace
{

using pb::own;
using pb::Ref;
using Lines = std::vector<std::string>;

constexpr uint8_t address[4] = { 192, 0, 2, 1 };
constexpr std::string_view ourRealm = "r";

struct Names
{
    const char *credentials;
    const char *challenges;
};

Names namesOf( pbBool proxy )
{
    return proxy ? Names{ "Proxy-Authorization", "Proxy-Authenticate" } : Names{ "Authorization", "WWW-Authenticate" };
}

Ref<sipsnMessage> withLines( Ref<sipsnMessage> message, const char *name, std::string_view lines )
{
    auto header = own( sipsnMessageHeaderCreateCstr( name, -1 ) );
    while( !lines.empty() )
    {
        std::string_view line = lines.substr( 0, lines.find( '\n' ) );
        lines.remove_prefix( std::min( lines.size(), line.size() + 1 ) );
        sipsnMessageHeaderAppendLine( header.inout(), pb::string( line ) );
    }
    sipsnMessageSetHeader( message.inout(), header );
    return message;
}

Ref<sipsnMessage> requestWith( const char *name, std::string_view lines )
{
    return withLines( own( sipsnMessageCreateRequest( pb::string( "REGISTER" ), pb::string( "sip:r" ) ) ), name,
                      lines );
}

Ref<sipsnMessage> responseWith( const char *name, std::string_view lines )
{
    return withLines( own( sipsnMessageCreateResponse( 401, pb::string( "Unauthorized" ) ) ), name, lines );
}

int64_t countOf( sipsnMessage *message, const char *name )
{
    auto header = own( sipsnMessageHeaderCstr( message, name, -1 ) );
    return header ? sipsnMessageHeaderLinesLength( header ) : 0;
}

std::string wireOf( sipsnMessage *message )
{
    return pb::bytes( own( sipsnMessageEncode( message ) ) );
}

// The message decodes again, and has no header but the one that it was given.
void checkWhole( sipsnMessage *message, const char *name )
{
    auto limits = own( sipsnLimitsCreate() );
    sipsnLimitsSetMessageBytes( limits.inout(), 1 << 24 );
    sipsnLimitsSetHeaderLines( limits.inout(), 1 << 20 );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), 1 << 24 );
    auto again = own( sipsnMessageTryDecode( own( sipsnMessageEncode( message ) ), limits, nullptr ) );
    FUZZ_CHECK( again );
    FUZZ_CHECK( sipsnMessageLinesLength( again ) == countOf( message, name ) );
    FUZZ_CHECK( countOf( again, name ) == countOf( message, name ) );
    FUZZ_CHECK( !own( sipsnMessageBody( again ) ) );
}

// What all targets of one input share.
struct Bench
{
    pbBool proxy;
    int64_t profile;
    pbBool stale;
    std::string_view lines;
    Names names;
    Ref<hostLedger> ledger = own( hostLedgerCreate( 16, 600000 ) );
    Ref<hostSettings> settings = own( hostSettingsCreate() );
    Ref<sipauthOptions> options = own( sipauthOptionsCreate() );
    Ref<hostPeer> peer = own( hostPeerCreate( HOST_TRANSPORT_UDP, address, 4, 5060, 0, 0 ) );
    Ref<pbString> realm = pb::string( ourRealm );
};

void checkRequestIn( const Bench &bench, bool anyRealm )
{
    auto session = pb::string( "session" );
    pbString *realm = anyRealm ? nullptr : bench.realm.get();
    Ref<sipsnMessage> request = requestWith( bench.names.credentials, bench.lines );
    Ref<sipauthAuthorization> authorization;
    auto take = [&]
    {
        authorization.clear();
        return hostBridgeRequestIn( request.inout(), bench.proxy, realm, session, bench.ledger, bench.options,
                                    bench.settings, authorization.inout() );
    };
    int64_t result = take();
    checkWhole( request, bench.names.credentials );
    bool passes = result == HOST_CREDENTIALS_DIGEST || result == HOST_CREDENTIALS_BASIC;
    FUZZ_CHECK( countOf( request, bench.names.credentials ) == ( passes ? 1 : 0 ) );
    FUZZ_CHECK( static_cast<bool>( authorization ) == ( result > HOST_CREDENTIALS_MALFORMED ) );
    auto read = own( sipauth___AuthorizationTryDecodeFromMessage( bench.options, request, bench.proxy ) );
    FUZZ_CHECK( static_cast<bool>( read ) == passes );
    if( !passes )
        return;
    FUZZ_CHECK( sipauthAuthorizationEquals( read, authorization ) );
    std::string before = wireOf( request );
    FUZZ_CHECK( take() == result );
    FUZZ_CHECK( wireOf( request ) == before );
}

void checkStripped( const Bench &bench )
{
    Ref<sipsnMessage> request = requestWith( bench.names.credentials, bench.lines );
    hostBridgeStripCredentials( request.inout(), bench.proxy, bench.realm );
    checkWhole( request, bench.names.credentials );
    Ref<sipauthAuthorization> authorization;
    int64_t result = hostBridgeRequestIn( request.inout(), bench.proxy, bench.realm, nullptr, bench.ledger,
                                          bench.options, bench.settings, authorization.inout() );
    FUZZ_CHECK( !authorization );
    FUZZ_CHECK( result == HOST_CREDENTIALS_NONE || result == HOST_CREDENTIALS_MALFORMED );
}

void checkRequestOut( const Bench &bench )
{
    Ref<sipsnMessage> request = requestWith( bench.names.credentials, bench.lines );
    std::string before = wireOf( request );
    hostBridgeRequestOut( request.inout(), bench.proxy, HOST_SPELLING_LIBRARY );
    FUZZ_CHECK( wireOf( request ) == before );
    hostBridgeRequestOut( request.inout(), bench.proxy, HOST_SPELLING_RFC8760 );
    checkWhole( request, bench.names.credentials );
}

// As the client does: none of the challenges that it may answer ends the process or its session.
void checkAnswerable( const Bench &bench, sipsnMessage *response )
{
    auto challenge = own( sipauthChallengeTryDecodeFromMessage( bench.options, response, bench.proxy ) );
    int64_t length = challenge ? sipauthChallengeAuthenticatesLength( challenge ) : 0;
    FUZZ_CHECK( length == countOf( response, bench.names.challenges ) );
    if( length == 0 || !sipauth___ChallengeScoreAndFilterAuthenticates( challenge.inout(), bench.options ) )
        return;
    for( int64_t index = 0; index < sipauthChallengeAuthenticatesLength( challenge ); index++ )
    {
        auto authenticate = own( sipauthChallengeAuthenticateAt( challenge, index ) );
        if( sipauthAuthenticateScheme( authenticate ) == SIPAUTH_SCHEME_DIGEST )
            FUZZ_CHECK( own( sipauthDigestStateTryCreateFromAuthenticate( bench.options, authenticate ) ) );
    }
}

void checkResponseIn( const Bench &bench )
{
    Ref<sipsnMessage> response = responseWith( bench.names.challenges, bench.lines );
    int64_t dropped = -1;
    int64_t spelling = hostBridgeResponseIn( response.inout(), bench.proxy, bench.settings, &dropped );
    FUZZ_CHECK( spelling == HOST_SPELLING_LIBRARY || spelling == HOST_SPELLING_RFC8760 );
    FUZZ_CHECK( dropped >= 0 );
    checkWhole( response, bench.names.challenges );
    checkAnswerable( bench, response );
    std::string before = wireOf( response );
    FUZZ_CHECK( hostBridgeResponseIn( response.inout(), bench.proxy, bench.settings, &dropped ) ==
                HOST_SPELLING_LIBRARY );
    FUZZ_CHECK( dropped == 0 );
    FUZZ_CHECK( wireOf( response ) == before );
}

// Lines of the library's own are good ones, so the bad ones go first. All that goes out is known to the ledger, and is
// read by a client.
void checkResponseOut( const Bench &bench )
{
    Ref<sipsnMessage> response = responseWith( bench.names.challenges, bench.lines );
    hostBridgeResponseIn( response.inout(), bench.proxy, bench.settings, nullptr );
    int64_t offered = countOf( response, bench.names.challenges );
    hostBridgeResponseOut( response.inout(), bench.proxy, bench.profile, bench.stale );
    checkWhole( response, bench.names.challenges );
    int64_t left = countOf( response, bench.names.challenges );
    FUZZ_CHECK( bench.profile == HOST_PROFILE_STRICT ? left == offered : left <= offered );
    FUZZ_CHECK( ( left > 0 ) == ( offered > 0 ) );
    hostBridgeIssue( response, bench.proxy, bench.ledger, bench.peer );
    auto challenge = own( sipauthChallengeTryDecodeFromMessage( bench.options, response, bench.proxy ) );
    for( int64_t index = 0; challenge && index < sipauthChallengeAuthenticatesLength( challenge ); index++ )
    {
        auto authenticate = own( sipauthChallengeAuthenticateAt( challenge, index ) );
        auto nonce = own( sipauthAuthenticateDigestNonce( authenticate ) );
        bool digest = sipauthAuthenticateScheme( authenticate ) == SIPAUTH_SCHEME_DIGEST;
        FUZZ_CHECK( !digest || !bench.stale || sipauthAuthenticateDigestStale( authenticate ) );
        if( digest && pbStringLength( nonce ) > 0 )
            FUZZ_CHECK( hostLedgerLook( bench.ledger, nonce ) != HOST_NONCE_UNKNOWN );
    }
    int64_t dropped = -1;
    hostBridgeResponseIn( response.inout(), bench.proxy, bench.settings, &dropped );
    FUZZ_CHECK( dropped == 0 );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::startLibrary();
    fuzz::LiveObjectCheck check;
    uint8_t choices = fuzz::takeByte( data, size );
    Bench bench{ .proxy = choices & 1,
                 .profile = ( choices >> 1 & 3 ) % HOST_PROFILE_COUNT,
                 .stale = choices >> 3 & 1,
                 .lines = { reinterpret_cast<const char *>( data ), size },
                 .names = namesOf( choices & 1 ) };
    for( const char *nonce : { "n", "ours", "used" } )
        hostLedgerIssue( bench.ledger, pb::string( nonce ), bench.peer );
    hostLedgerUse( bench.ledger, pb::string( "used" ) );
    if( choices >> 4 & 1 )
        sipauthOptionsSetScheme( bench.options.inout(), SIPAUTH_SCHEME_BASIC );
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
        sipauthOptionsSetDigestAlgorithm( bench.options.inout(), algorithm );
    sipauthOptionsSetDigestQop( bench.options.inout(), SIPAUTH_DIGEST_QOP_NONE );
    checkRequestIn( bench, false );
    checkRequestIn( bench, true );
    checkStripped( bench );
    checkRequestOut( bench );
    checkResponseIn( bench );
    checkResponseOut( bench );
    return 0;
}
