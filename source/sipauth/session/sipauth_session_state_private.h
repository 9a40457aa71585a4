// The state of a session: a value that is handed from one transaction to the next, changed by copy on write.
#ifndef SIPAUTH_SESSION_SIPAUTH_SESSION_STATE_PRIVATE_H
#define SIPAUTH_SESSION_SIPAUTH_SESSION_STATE_PRIVATE_H

#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_digest_state.h>
#include <usr/usr_user.h>

PB_BEGIN_DECLS

/// The state of a session.
typedef struct sipauth___SessionState sipauth___SessionState;

/// The sort of session states; static, not counted for the caller.
pbSort *sipauth___SessionStateSort( void );
/// Takes one more reference of OBJ and returns OBJ.
sipauth___SessionState *sipauth___SessionStateRetain( sipauth___SessionState *obj );
/// Gives back one reference of OBJ; the last one frees it.
void sipauth___SessionStateRelease( sipauth___SessionState *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *sipauth___SessionStateObj( sipauth___SessionState *obj );
/// OBJ as a session state; takes no reference, null passes through, an object of another sort aborts.
sipauth___SessionState *sipauth___SessionStateFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *sipauth___SessionStateToString( sipauth___SessionState *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
int64_t sipauth___SessionStateCompare( sipauth___SessionState *objA, sipauth___SessionState *objB );
/// 1 when sipauth___SessionStateCompare gives 0, else 0.
pbBool sipauth___SessionStateEquals( sipauth___SessionState *objA, sipauth___SessionState *objB );

/// A new state with nothing in it.
sipauth___SessionState *sipauth___SessionStateCreate();
/// A new copy.
sipauth___SessionState *sipauth___SessionStateCreateFrom( sipauth___SessionState *source );
/// 1 when the session has failed, else 0.
pbBool sipauth___SessionStateError( sipauth___SessionState *state );
/// Sets whether it has.
void sipauth___SessionStateSetError( sipauth___SessionState **state, pbBool error );

/// The user whose credentials the client side uses, or null.
usrUser *sipauth___SessionStateClientUser( sipauth___SessionState *state );
/// 1 when there is one, else 0.
pbBool sipauth___SessionStateHasClientUser( sipauth___SessionState *state );
/// Sets it.
void sipauth___SessionStateSetClientUser( sipauth___SessionState **state, usrUser *user );
/// Takes it away.
void sipauth___SessionStateDelClientUser( sipauth___SessionState **state );
/// The credentials that the client side answers with, or null.
sipauthCredentials *sipauth___SessionStateClientCredentials( sipauth___SessionState *state );
/// 1 when there is one, else 0.
pbBool sipauth___SessionStateHasClientCredentials( sipauth___SessionState *state );
/// Sets it.
void sipauth___SessionStateSetClientCredentials( sipauth___SessionState **state, sipauthCredentials *credentials );
/// Takes it away.
void sipauth___SessionStateDelClientCredentials( sipauth___SessionState **state );
/// The scheme that the client side has set up, a SIPAUTH_SCHEME; -1 for none.
int64_t sipauth___SessionStateClientScheme( sipauth___SessionState *state );
/// 1 when there is one, else 0.
pbBool sipauth___SessionStateHasClientScheme( sipauth___SessionState *state );
/// Sets it; a value outside the enumeration aborts.
void sipauth___SessionStateSetClientScheme( sipauth___SessionState **state, int64_t scheme );
/// Takes it away.
void sipauth___SessionStateDelClientScheme( sipauth___SessionState **state );
/// The client side's digest state for the next request, or null.
sipauthDigestState *sipauth___SessionStateClientDigest( sipauth___SessionState *state );
/// 1 when there is one, else 0.
pbBool sipauth___SessionStateHasClientDigest( sipauth___SessionState *state );
/// Sets it.
void sipauth___SessionStateSetClientDigest( sipauth___SessionState **state, sipauthDigestState *digestState );
/// Takes it away.
void sipauth___SessionStateDelClientDigest( sipauth___SessionState **state );

/// The user that the server side has found, or null.
usrUser *sipauth___SessionStateServerUser( sipauth___SessionState *state );
/// 1 when there is one, else 0.
pbBool sipauth___SessionStateHasServerUser( sipauth___SessionState *state );
/// Sets it.
void sipauth___SessionStateSetServerUser( sipauth___SessionState **state, usrUser *user );
/// Takes it away.
void sipauth___SessionStateDelServerUser( sipauth___SessionState **state );
/// The credentials that the server side checks against, or null.
sipauthCredentials *sipauth___SessionStateServerCredentials( sipauth___SessionState *state );
/// 1 when there is one, else 0.
pbBool sipauth___SessionStateHasServerCredentials( sipauth___SessionState *state );
/// Sets it.
void sipauth___SessionStateSetServerCredentials( sipauth___SessionState **state, sipauthCredentials *credentials );
/// Takes it away.
void sipauth___SessionStateDelServerCredentials( sipauth___SessionState **state );
/// The scheme of the digest state that the server side keeps, a SIPAUTH_SCHEME; -1 for none.
int64_t sipauth___SessionStateServerScheme( sipauth___SessionState *state );
/// 1 when there is one, else 0.
pbBool sipauth___SessionStateHasServerScheme( sipauth___SessionState *state );
/// Sets it; a value outside the enumeration aborts.
void sipauth___SessionStateSetServerScheme( sipauth___SessionState **state, int64_t scheme );
/// Takes it away.
void sipauth___SessionStateDelServerScheme( sipauth___SessionState **state );
/// The digest state that the server side keeps for the peer, or null.
sipauthDigestState *sipauth___SessionStateServerDigest( sipauth___SessionState *state );
/// 1 when there is one, else 0.
pbBool sipauth___SessionStateHasServerDigest( sipauth___SessionState *state );
/// Sets it.
void sipauth___SessionStateSetServerDigest( sipauth___SessionState **state, sipauthDigestState *digestState );
/// Takes it away.
void sipauth___SessionStateDelServerDigest( sipauth___SessionState **state );
/// The credentials of the request that last passed, or null.
sipauthAuthorization *sipauth___SessionStateServerPreviousAuthorization( sipauth___SessionState *state );
/// 1 when there is one, else 0.
pbBool sipauth___SessionStateHasServerPreviousAuthorization( sipauth___SessionState *state );
/// Sets it.
void sipauth___SessionStateSetServerPreviousAuthorization( sipauth___SessionState **state,
                                                           sipauthAuthorization *authorization );
/// Takes it away.
void sipauth___SessionStateDelServerPreviousAuthorization( sipauth___SessionState **state );

PB_END_DECLS

#endif
