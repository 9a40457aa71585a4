// The credential guard of an account: which challenges may be answered.
#include "host/host_private.h"

#include "pb/pb_type.h"

#include <host/host_credential_guard.h>
#include <pb/pb_dict.h>
#include <pb/pb_timestamp.h>
#include <sipauth/sipauth_digest_algorithm.h>
#include <sipauth/sipauth_digest_qop.h>

#include <algorithm>
#include <iterator>

struct hostCredentialGuard
{
    pb::Object object;
    pb::Field<sipauthOptions> options;
    pb::Field<hostSettings> settings;
    pb::Field<pbString> realms[2]; ///< pinned for 401 and for 407
    pb::Field<pbString> nextHop;
    pb::Field<pbDict> floors; ///< the realms that once offered SHA-256 or better
    int64_t failures;         ///< in a row
    int64_t failedAt;
};

PB_TYPE( hostCredentialGuard, HOST_CREDENTIAL_GUARD, host, host___CredentialGuardFreeFunc, nullptr );

#define HOST_ANSWER_OK( answer ) ( (uint64_t) ( answer ) < HOST_ANSWER_COUNT )

namespace
{

// HOST_ANSWER
constexpr const char *answerNames[] = { "none",
                                        "retry",
                                        "no-challenge",
                                        "realm",
                                        "options",
                                        "basic",
                                        "downgrade",
                                        "next-hop",
                                        "back-off",
                                        "wrong-credentials",
                                        "too-many-challenges",
                                        "forbidden",
                                        "session-error" };
static_assert( std::size( answerNames ) == HOST_ANSWER_COUNT );

// Algorithms as the library spells them, by SIPAUTH_DIGEST_ALGORITHM.
constexpr const char *algorithmTokens[] = { "MD5",    "MD5-sess",    "SHA1",   "SHA1-sess",   "SHA224", "SHA224-sess",
                                            "SHA256", "SHA256-sess", "SHA384", "SHA384-sess", "SHA512", "SHA512-sess" };
static_assert( SIPAUTH_DIGEST_ALGORITHM_OK( std::size( algorithmTokens ) - 1 ) &&
               !SIPAUTH_DIGEST_ALGORITHM_OK( std::size( algorithmTokens ) ) );

// Whoever makes up realms shall not fill the memory. What is remembered stays.
constexpr int64_t maxFloors = 64;

int64_t algorithmOf( sipauthAuthenticate *ac )
{
    auto token = pb::own( sipauthAuthenticateDigestAlgorithm( ac ) );
    if( !token )
        return SIPAUTH_DIGEST_ALGORITHM_MD5; // RFC 2617 section 3.2.1
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
        if( pbStringEqualsCaseFoldCstr( token, algorithmTokens[algorithm], -1 ) )
            return algorithm;
    return SIPAUTH_DIGEST_ALGORITHM_INVALID;
}

pb::Ref<pbString> realmOf( sipauthAuthenticate *ac )
{
    bool basic = sipauthAuthenticateScheme( ac ) == SIPAUTH_SCHEME_BASIC;
    return pb::own( basic ? sipauthAuthenticateBasicRealm( ac ) : sipauthAuthenticateDigestRealm( ac ) );
}

bool allowsQop( sipauthOptions *options, sipauthAuthenticate *ac )
{
    int64_t count = sipauthAuthenticateDigestQopOptionsLength( ac );
    for( int64_t index = 0; index < count; index++ )
    {
        auto token = pb::own( sipauthAuthenticateDigestQopOptionAt( ac, index ) );
        if( pbStringEqualsCaseFoldCstr( token, "auth", -1 ) &&
            sipauthOptionsHasDigestQop( options, SIPAUTH_DIGEST_QOP_AUTH ) )
            return true;
        if( pbStringEqualsCaseFoldCstr( token, "auth-int", -1 ) &&
            sipauthOptionsHasDigestQop( options, SIPAUTH_DIGEST_QOP_AUTH_INT ) )
            return true;
    }
    return count == 0 && sipauthOptionsHasDigestQop( options, SIPAUTH_DIGEST_QOP_NONE );
}

bool allows( sipauthOptions *options, sipauthAuthenticate *ac )
{
    int64_t scheme = sipauthAuthenticateScheme( ac );
    if( !SIPAUTH_SCHEME_OK( scheme ) || !sipauthOptionsHasScheme( options, scheme ) )
        return false;
    if( scheme == SIPAUTH_SCHEME_BASIC )
        return true;
    int64_t algorithm = algorithmOf( ac );
    return SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) && sipauthOptionsHasDigestAlgorithm( options, algorithm ) &&
           allowsQop( options, ac );
}

bool isStrong( sipauthAuthenticate *ac )
{
    return sipauthAuthenticateScheme( ac ) == SIPAUTH_SCHEME_DIGEST &&
           algorithmOf( ac ) >= SIPAUTH_DIGEST_ALGORITHM_SHA256;
}

// Remembers the realms that offer what is strong and could be answered.
void raiseFloors( hostCredentialGuard *guard, sipauthChallenge *challenge )
{
    for( int64_t index = 0; index < sipauthChallengeAuthenticatesLength( challenge ); index++ )
    {
        auto ac = pb::own( sipauthChallengeAuthenticateAt( challenge, index ) );
        pb::Ref<pbString> realm = realmOf( ac );
        if( realm && isStrong( ac ) && allows( guard->options, ac ) && pbDictLength( guard->floors ) < maxFloors )
            pbDictSetValue( guard->floors.inout(), realm, pbStringObj( realm ) );
    }
}

// Where a challenge came from.
struct Origin
{
    bool proxy;
    bool verified;
};

// HOST_ANSWER_RETRY, or what speaks against answering one challenge.
int64_t judge( hostCredentialGuard *guard, sipauthAuthenticate *ac, pbString *realm, Origin origin )
{
    pbString *pinned = guard->realms[origin.proxy];
    if( !realm || ( pinned && !pbStringEquals( pinned, realm ) ) )
        return HOST_ANSWER_REALM;
    if( !allows( guard->options, ac ) )
        return HOST_ANSWER_OPTIONS;
    bool basicOk = origin.verified && hostSettingsValue( guard->settings, HOST_SETTING_CLIENT_ALLOW_BASIC );
    if( sipauthAuthenticateScheme( ac ) == SIPAUTH_SCHEME_BASIC && !basicOk )
        return HOST_ANSWER_BASIC;
    bool weak = !isStrong( ac ) && pbDictHasKey( guard->floors, realm );
    if( weak && !hostSettingsValue( guard->settings, HOST_SETTING_CLIENT_ALLOW_DOWNGRADE ) )
        return HOST_ANSWER_DOWNGRADE;
    return HOST_ANSWER_RETRY;
}

// A challenge without what must not be answered, and of what is left only one realm: that of the first.
struct Picked
{
    pb::Ref<sipauthChallenge> challenge;
    pb::Ref<pbString> realm;
    int64_t answer = HOST_ANSWER_CHALLENGE;
};

Picked pick( hostCredentialGuard *guard, sipauthChallenge *challenge, Origin origin )
{
    Picked picked;
    picked.challenge = pb::own( sipauthChallengeCreate() );
    for( int64_t index = 0; index < sipauthChallengeAuthenticatesLength( challenge ); index++ )
    {
        auto ac = pb::own( sipauthChallengeAuthenticateAt( challenge, index ) );
        pb::Ref<pbString> realm = realmOf( ac );
        int64_t answer = judge( guard, ac, realm, origin );
        if( answer == HOST_ANSWER_RETRY && !picked.realm )
            picked.realm = realm;
        if( answer == HOST_ANSWER_RETRY && pbStringEquals( picked.realm, realm ) )
            sipauthChallengeAppendAuthenticate( picked.challenge.inout(), ac );
        // The reasons are in the order in which they are asked: the last one tells most.
        if( !picked.realm && answer > picked.answer )
            picked.answer = answer;
    }
    if( picked.realm )
        picked.answer = HOST_ANSWER_RETRY;
    return picked;
}

} // namespace

const char *hostAnswerName( int64_t answer )
{
    PB_ASSERT_TEXT( HOST_ANSWER_OK( answer ), "HOST_ANSWER_OK( answer )" );
    return answerNames[answer];
}

hostCredentialGuard *hostCredentialGuardCreate( sipauthOptions *options, hostSettings *settings )
{
    PB_ASSERT( options );
    PB_ASSERT( settings );
    auto guard = pb::create<hostCredentialGuard>( hostCredentialGuardSort() );
    guard->options = pb::share( options );
    guard->settings = pb::share( settings );
    guard->floors = pb::own( pbDictCreate() );
    return guard.give();
}

static void host___CredentialGuardFreeFunc( pbObj *obj )
{
    hostCredentialGuard *guard = hostCredentialGuardFrom( obj );
    PB_ASSERT( guard );
    pb::poison( guard->options, guard->settings, guard->realms[0], guard->realms[1], guard->nextHop, guard->floors );
}

void hostCredentialGuardSetRealm( hostCredentialGuard *guard, pbString *realm )
{
    PB_ASSERT( guard );
    for( pb::Field<pbString> &pinned : guard->realms )
        pinned = pb::share( realm );
}

pbString *hostCredentialGuardRealm( hostCredentialGuard *guard, pbBool proxy )
{
    PB_ASSERT( guard );
    return guard->realms[proxy ? 1 : 0].shareOut();
}

void hostCredentialGuardSetNextHop( hostCredentialGuard *guard, pbString *nextHop )
{
    PB_ASSERT( guard );
    guard->nextHop = pb::share( nextHop );
}

pbString *hostCredentialGuardNextHop( hostCredentialGuard *guard )
{
    PB_ASSERT( guard );
    return guard->nextHop.shareOut();
}

pbBool hostCredentialGuardNextHopOk( hostCredentialGuard *guard, pbString *nextHop )
{
    PB_ASSERT( guard );
    PB_ASSERT( nextHop );
    return !guard->nextHop || pbStringEquals( guard->nextHop, nextHop );
}

int64_t hostCredentialGuardFilter( hostCredentialGuard *guard, sipauthChallenge **challenge, pbBool proxy,
                                   pbString *nextHop, pbBool verified, pbString **realm )
{
    PB_ASSERT( guard );
    PB_ASSERT( challenge );
    PB_ASSERT( *challenge );
    PB_ASSERT( nextHop );
    // Others cannot raise floors for the account's realm.
    if( !hostCredentialGuardNextHopOk( guard, nextHop ) )
        return HOST_ANSWER_NEXT_HOP;
    raiseFloors( guard, *challenge );
    Picked picked = pick( guard, *challenge, { proxy != 0, verified != 0 } );
    if( picked.answer == HOST_ANSWER_RETRY && hostCredentialGuardWait( guard ) > 0 )
        return HOST_ANSWER_BACK_OFF;
    std::swap( *challenge, *picked.challenge.inout() );
    if( realm && picked.answer == HOST_ANSWER_RETRY )
        std::swap( *realm, *picked.realm.inout() );
    return picked.answer;
}

void hostCredentialGuardSucceeded( hostCredentialGuard *guard, pbBool proxy, pbString *realm, pbString *nextHop )
{
    PB_ASSERT( guard );
    PB_ASSERT( realm );
    PB_ASSERT( nextHop );
    pb::Field<pbString> &pinned = guard->realms[proxy ? 1 : 0];
    if( !pinned )
        pinned = pb::share( realm );
    if( !guard->nextHop )
        guard->nextHop = pb::share( nextHop );
    guard->failures = 0;
}

void hostCredentialGuardFailed( hostCredentialGuard *guard )
{
    PB_ASSERT( guard );
    guard->failures++;
    guard->failedAt = pbTimestamp();
}

int64_t hostCredentialGuardWait( hostCredentialGuard *guard )
{
    PB_ASSERT( guard );
    if( guard->failures == 0 )
        return 0;
    int64_t longest = hostSettingsValue( guard->settings, HOST_SETTING_CLIENT_BACKOFF_MAX );
    int64_t wait = std::min( hostSettingsValue( guard->settings, HOST_SETTING_CLIENT_BACKOFF ), longest );
    for( int64_t failure = 1; failure < guard->failures && wait < longest; failure++ )
        wait = std::min( wait * 2, longest );
    return std::max<int64_t>( 0, guard->failedAt + wait - pbTimestamp() );
}
