// Settings of the host library: whole numbers and truth values (0 and 1), each with a key, a default and bounds. One
// table in host_settings.cc holds them all.
#ifndef HOST_HOST_SETTINGS_H
#define HOST_HOST_SETTINGS_H

#include <pb/pb_store.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// A setting; the comment names its key in a store, its unit and its default.
typedef int64_t HOST_SETTING;
/* Sessions of the server. */
#define HOST_SETTING_SESSIONS_MAX 0             /* "maxSessions": 200000 */
#define HOST_SETTING_SESSION_LIFETIME 1         /* "sessionLifetime": ms since the last request that passed, 7200000 */
#define HOST_SETTING_SESSION_TRANSACTIONS_MAX 2 /* "maxTransactionsPerSession": 16, of a proven session */
/* The nonce ledger. */
#define HOST_SETTING_NONCES_MAX 3 /* "maxNonces": 262144 */
/* Token buckets: RATE tokens come in a second (a minute where it says so), at most BURST are kept; RATE 0: no limit. */
#define HOST_SETTING_CHALLENGE_RATE 4          /* "challengesPerSecond": 20000 */
#define HOST_SETTING_CHALLENGE_BURST 5         /* "challengesBurst": 40000 */
#define HOST_SETTING_NETWORK_CHALLENGE_RATE 6  /* "networkChallengesPerSecond": 500, for each /24 (IPv6: /56) */
#define HOST_SETTING_NETWORK_CHALLENGE_BURST 7 /* "networkChallengesBurst": 2000 */
#define HOST_SETTING_USER_FAILURE_RATE 8       /* "userFailuresPerMinute": 6 */
#define HOST_SETTING_USER_FAILURE_BURST 9      /* "userFailuresBurst": 10 */
#define HOST_SETTING_SOURCE_FAILURE_RATE 10    /* "sourceFailuresPerMinute": 30, for each address (IPv6: /64) */
#define HOST_SETTING_SOURCE_FAILURE_BURST 11   /* "sourceFailuresBurst": 60 */
#define HOST_SETTING_BUCKETS_MAX 12            /* "maxLimitedParties": 65536 networks, users and sources each */
#define HOST_SETTING_LOOKUPS_MAX 13            /* "maxOpenChecks": 1000 checks that wait for the directory */
/* Answers over UDP. */
#define HOST_SETTING_AMPLIFICATION 14   /* "amplification": 3, bytes sent for a byte received; 0: no limit */
#define HOST_SETTING_CHALLENGE_BYTES 15 /* "maxChallengeBytes": 1200 over UDP; 0: no limit */
/* What is parsed. */
#define HOST_SETTING_MESSAGE_BYTES 16       /* "maxMessageBytes": 65536 */
#define HOST_SETTING_HEADER_LINES 17        /* "maxHeaderLines": 256 */
#define HOST_SETTING_HEADER_LINE_BYTES 18   /* "maxHeaderLineBytes": 8192 */
#define HOST_SETTING_AUTHORIZATIONS 19      /* "maxAuthorizations": 8 lines with credentials, or challenges */
#define HOST_SETTING_AUTHORIZATION_BYTES 20 /* "maxAuthorizationBytes": 4096 a line */
/* The directory. */
#define HOST_SETTING_DIRECTORY_FAILURES 21 /* "directoryFailures": 5 in a row until it counts as unhealthy */
#define HOST_SETTING_RETRY_AFTER 22        /* "retryAfter": 5 s, of a 503; one check is tried after it */
/* The client. */
#define HOST_SETTING_CLIENT_CHALLENGES 23      /* "maxClientChallenges": 2 answered for each request */
#define HOST_SETTING_CLIENT_ALLOW_BASIC 24     /* "clientBasic": 0; 1: over verified TLS */
#define HOST_SETTING_CLIENT_ALLOW_DOWNGRADE 25 /* "clientDowngrade": 0; 1: MD5 for a realm that once offered SHA-256   \
                                                */
#define HOST_SETTING_CLIENT_BACKOFF 26         /* "clientBackoff": 1000 ms, doubled after each failure */
#define HOST_SETTING_CLIENT_BACKOFF_MAX 27     /* "clientBackoffMax": 60000 ms */
/* What credentials must agree with. */
#define HOST_SETTING_CHECK_URI 28 /* "checkUri": 1; 0: nothing, 1: the host of the Request-URI, 2: all of it */
#define HOST_SETTING_COUNT 29
/// Whether a number is one of the settings.
#define HOST_SETTING_OK( setting ) ( ( setting ) >= 0 && ( setting ) < HOST_SETTING_COUNT )

/// Settings; a value that setters copy on write.
typedef struct hostSettings hostSettings;

/// The sort of settings; static, not counted for the caller.
PB_EXPORT pbSort *hostSettingsSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostSettings *hostSettingsRetain( hostSettings *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostSettingsRelease( hostSettings *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostSettingsObj( hostSettings *obj );
/// OBJ as settings; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostSettings *hostSettingsFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostSettingsToString( hostSettings *obj );
/// Negative, 0 or positive: orders by the numbers, the first one first.
PB_EXPORT int64_t hostSettingsCompare( hostSettings *objA, hostSettings *objB );
/// 1 when hostSettingsCompare gives 0, else 0.
PB_EXPORT pbBool hostSettingsEquals( hostSettings *objA, hostSettings *objB );

/// New settings with all defaults.
PB_EXPORT hostSettings *hostSettingsCreate( void );
/// A new copy.
PB_EXPORT hostSettings *hostSettingsCreateFrom( hostSettings *source );
/// New settings from a store, or null with *REASON (when REASON is not null) set to a new string "key: what is wrong"
/// for a key that is unknown, no number (or truth value), or out of bounds. CONFIG may be null for all defaults.
PB_EXPORT hostSettings *hostSettingsTryRestore( pbStore *config, pbString **reason );
/// A new store. STOREFLAGS is 0, or 1 to write out also what has its default.
PB_EXPORT pbStore *hostSettingsStore( hostSettings *settings, int64_t storeFlags );
/// The value of a setting; a SETTING outside the table aborts with "HOST_SETTING_OK( setting )".
PB_EXPORT int64_t hostSettingsValue( hostSettings *settings, int64_t setting );
/// Sets a value, which must be within its bounds ("hostSettingValueOk( setting, value )").
PB_EXPORT void hostSettingsSetValue( hostSettings **settings, int64_t setting, int64_t value );
/// 1 when a setting may have this value, else 0. Here, too, and below, a SETTING outside the table aborts.
PB_EXPORT pbBool hostSettingValueOk( int64_t setting, int64_t value );
/// The key: static C text.
PB_EXPORT const char *hostSettingKey( int64_t setting );
/// The default.
PB_EXPORT int64_t hostSettingDefault( int64_t setting );

PB_END_DECLS

#endif
