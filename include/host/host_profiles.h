// Profiles: how challenges are shaped for which peers. The profile of a peer is, in this order: the one of its
// listener, the one of its network, the one of its User-Agent, the one that was learned, the default. What the more
// specific rule says wins: of several networks the longest, of several User-Agents the longest text.
#ifndef HOST_HOST_PROFILES_H
#define HOST_HOST_PROFILES_H

#include <host/host_peer.h>
#include <pb/pb_string.h>
#include <sipsn/sipsn_message.h>

PB_BEGIN_DECLS

/// A profile.
typedef int64_t HOST_PROFILE;
#define HOST_PROFILE_STRICT 0  /* "strict": all that the library offers, spelled as in RFC 8760 */
#define HOST_PROFILE_DEFAULT 1 /* "default": at most two lines, SHA-256 then MD5 (never "-sess"), qop "auth" */
#define HOST_PROFILE_LEGACY 2  /* "legacy": one line, MD5 with qop "auth" */
#define HOST_PROFILE_COUNT 3
/// Whether a value is one of the enumeration.
#define HOST_PROFILE_OK( profile ) ( (uint64_t) ( profile ) < HOST_PROFILE_COUNT )

/// Profiles of peers.
typedef struct hostProfiles hostProfiles;

/// The sort of profiles; static, not counted for the caller.
PB_EXPORT pbSort *hostProfilesSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT hostProfiles *hostProfilesRetain( hostProfiles *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void hostProfilesRelease( hostProfiles *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *hostProfilesObj( hostProfiles *obj );
/// OBJ as profiles; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT hostProfiles *hostProfilesFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *hostProfilesToString( hostProfiles *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t hostProfilesCompare( hostProfiles *objA, hostProfiles *objB );
/// 1 when hostProfilesCompare gives 0, else 0.
PB_EXPORT pbBool hostProfilesEquals( hostProfiles *objA, hostProfiles *objB );

/// New profiles without rules: everyone gets DEFAULTPROFILE.
PB_EXPORT hostProfiles *hostProfilesCreate( int64_t defaultProfile );
/// Rules, added while it is set up; a second one for the same thing replaces the first.
PB_EXPORT void hostProfilesAddListener( hostProfiles *profiles, int64_t listener, int64_t profile );
/// NETWORK is "192.0.2.0/24" or "2001:db8::/32", or an address alone; 0 when it cannot be read, else 1.
PB_EXPORT pbBool hostProfilesTryAddNetwork( hostProfiles *profiles, pbString *network, int64_t profile );
/// For all whose User-Agent contains TEXT, in any letter case.
PB_EXPORT void hostProfilesAddUserAgent( hostProfiles *profiles, pbString *text, int64_t profile );
/// The profile for a message of a peer. REQUEST's User-Agent counts.
PB_EXPORT int64_t hostProfilesOf( hostProfiles *profiles, hostPeer *peer, sipsnMessage *request );
/// A peer succeeded with an algorithm (SIPAUTH_DIGEST_ALGORITHM): one with a User-Agent that answers only MD5 although
/// SHA-256 was offered gets "legacy" from then on, when LEARN was set; bounded memory.
PB_EXPORT void hostProfilesLearn( hostProfiles *profiles, hostPeer *peer, sipsnMessage *request, int64_t algorithm );
/// Whether profiles are learned; not at first.
PB_EXPORT void hostProfilesSetLearn( hostProfiles *profiles, pbBool learn );
/// A profile's name ("strict"...), static C text.
PB_EXPORT const char *hostProfileName( int64_t profile );
/// The profile of a name; -1 for none.
PB_EXPORT int64_t hostProfileTryFromName( pbString *name );

PB_END_DECLS

#endif
