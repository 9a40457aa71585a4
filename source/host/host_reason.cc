// Reasons: their names, and which of the library's texts means which. A text that the library changes or adds must be
// changed or added here; a test reads the library's sources for it.
#include "host/host_reason_private.h"

#include "pb/pb_assert.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr const char *names[] = {
    "challenged",   "passed",      "stale",      "unknown-nonce", "nonce-count", "wrong-response",
    "unknown-user", "scheme",      "realm",      "opaque",        "algorithm",   "qop",
    "uri",          "malformed",   "proxy-mode", "directory",     "limit",       "amplification",
    "refused",      "bad-request", "password",   "no-challenge",  "identity",    "reused",
    "unchecked",    "other",
};
static_assert( std::size( names ) == HOST_REASON_COUNT );

constexpr bool specific = false;
constexpr bool generic = true;

#define CHECK( state ) "[sipauth___ServerCotransImpState" state "()] "

constexpr host___ReasonText texts[] = {
    // The steps of a server co-transaction.
    { CHECK( "CheckNull" ) "sipauthAuthorizationTryDecodeFromMessage(): null", HOST_REASON_CHALLENGED, generic },
    { CHECK( "CheckNull" ) "Authorization reused, sipauthOptionsServerAcceptAuthorizationReuse(): true",
      HOST_REASON_REUSED, specific },
    { CHECK( "CheckUser" ) "userName: null", HOST_REASON_MALFORMED, specific },
    { CHECK( "CheckUser" ) "directory: null", HOST_REASON_DIRECTORY, specific },
    { CHECK( "CheckUser" ) "sipauthUsrLookupTryCreate(): null", HOST_REASON_DIRECTORY, generic },
    { CHECK( "CheckUser" ) "sipauthUsrLookupResult(): null", HOST_REASON_UNKNOWN_USER, generic },
    // A user that was found has credentials, unless the directory failed in between.
    { CHECK( "CheckUserCredentials" ) "sipauthUsrQueryCredentialsResult(): null", HOST_REASON_DIRECTORY, generic },
    { CHECK( "CheckAuthorization" ) "Unexpected authentication scheme.", HOST_REASON_SCHEME, specific },
    // Which of them are ours, but stale, a ledger has to tell.
    { CHECK( "CheckDigest" ) "sipauth___StackServerChallenge(): null", HOST_REASON_UNKNOWN_NONCE, specific },
    { CHECK( "CheckDigest" ) "Proxy mode mismatch.", HOST_REASON_PROXY_MODE, specific },
    // The nonce was the challenge's. Credentials for another realm are not checked at all, which leaves the opaque.
    { CHECK( "CheckDigest" ) "sipauthServerChallengeDigestState(): null", HOST_REASON_OPAQUE, specific },
    { CHECK( "CheckDigest" ) "sipauthDigestStateCheckAuthorization(): false", HOST_REASON_WRONG_RESPONSE, generic },
    { CHECK( "CheckBasic" ) "sipauthOptionsHasScheme(): false", HOST_REASON_SCHEME, specific },
    { CHECK( "CheckBasic" ) "Unexpected user name.", HOST_REASON_UNKNOWN_USER, specific },
    { CHECK( "CheckBasic" ) "Wrong password.", HOST_REASON_PASSWORD, specific },
    { CHECK( "CheckError" ) "Authentication failure.", HOST_REASON_OTHER, generic },
    { CHECK( "ChallengeDone" ) "No challenge generated.", HOST_REASON_NO_CHALLENGE, specific },

    // The check of a digest response.
    { "sipauthAuthorizationScheme() != SIPAUTH_SCHEME_DIGEST", HOST_REASON_SCHEME, specific },
    { "sipauth___DigestAlgorithmTryDecode(): SIPAUTH_DIGEST_ALGORITHM_INVALID", HOST_REASON_ALGORITHM, specific },
    { "Digest algorithm mismatch.", HOST_REASON_ALGORITHM, specific },
    { "sipauth___DigestQopTryDecode(): SIPAUTH_DIGEST_QOP_INVALID", HOST_REASON_QOP, specific },
    { "Digest qop mismatch.", HOST_REASON_QOP, specific },
    { "Digest realm mismatch.", HOST_REASON_REALM, specific },
    { "Digest nonce mismatch.", HOST_REASON_UNKNOWN_NONCE, specific },
    { "Digest opaque mismatch.", HOST_REASON_OPAQUE, specific },
    { "Digest nonce count mismatch.", HOST_REASON_NONCE_COUNT, specific },
    { "Digest response mismatch.", HOST_REASON_WRONG_RESPONSE, specific },
    { "sipauthDigestStateTryComputeResponse(): null", HOST_REASON_OTHER, generic },
    // The computation of the response to compare with. The last three are flaws of a single user's entry.
    { "Cnonce required.", HOST_REASON_MALFORMED, specific },
    { "sipauthValueDigestIriOk(): false", HOST_REASON_URI, specific },
    { "sipauthCredentialsUserName(): null", HOST_REASON_OTHER, specific },
    { "sipauthValueDigestUserNameOk(): false", HOST_REASON_OTHER, specific },
    { "sipauthCredentialsPassword(): null", HOST_REASON_OTHER, specific },

    // Lookups and queries. All that is formatted is a failure of the directory: no answer in time, a driver's error.
    { "[sipauthUsrLookupTryCreate()] usrLookupTryCreate(): null", HOST_REASON_DIRECTORY, generic },
    { "[usrLookupTryCreateCstr()] The arguments have no user name.", HOST_REASON_MALFORMED, specific },
    { "[usrLookupTryCreateCstr()] Too many lookups and queries are open.", HOST_REASON_DIRECTORY, specific },
    { "[usrLookupTryCreateCstr()] The directory does not know this kind of lookup.", HOST_REASON_DIRECTORY, specific },
    { "[usrQueryCreateCstr()] Too many lookups and queries are open.", HOST_REASON_DIRECTORY, specific },
    { "[usrQueryCreateCstr()] The directory does not know this query.", HOST_REASON_DIRECTORY, specific },
    { "[usr___RequestEndWithout()] not found", HOST_REASON_UNKNOWN_USER, specific },
    { "[usr___RequestEndWithout()] ambiguous: several realms have this user name", HOST_REASON_UNKNOWN_USER, specific },
    { "[usr___RequestEndWithout()] disabled", HOST_REASON_UNKNOWN_USER, specific },
    { "[usr___RequestEndWithout()] no password", HOST_REASON_UNKNOWN_USER, specific },
    { "[usr___RequestEndWithout()] %lc", HOST_REASON_DIRECTORY, specific },
};
static_assert( std::size( texts ) == 44 );

#undef CHECK

} // namespace

const host___ReasonText *host___ReasonTextFind( std::string_view text )
{
    const host___ReasonText *found = std::find_if( std::begin( texts ), std::end( texts ),
                                                   [&]( const host___ReasonText &row ) { return row.text == text; } );
    return found == std::end( texts ) ? nullptr : found;
}

const char *hostReasonName( int64_t reason )
{
    PB_ASSERT( HOST_REASON_OK( reason ) );
    return names[reason];
}

int64_t hostReasonTryFromTraceText( const char *text )
{
    PB_ASSERT( text );
    const host___ReasonText *row = host___ReasonTextFind( text );
    return row ? row->reason : -1;
}
