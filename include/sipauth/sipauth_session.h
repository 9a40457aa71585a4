// Sessions: what the transactions of one relationship, such as a registration or a dialog, share: role, options, who is
// to be authenticated, and what was learned from one transaction to the next.
#ifndef SIPAUTH_SIPAUTH_SESSION_H
#define SIPAUTH_SIPAUTH_SESSION_H

#include <pb/pb_signal.h>
#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_options.h>
#include <sipauth/sipauth_session_flags.h>
#include <sipauth/sipauth_stack.h>
#include <tr/tr_anchor.h>
#include <usr/usr_reference.h>
#include <usr/usr_user.h>

PB_BEGIN_DECLS

/// A session.
typedef struct sipauthSession sipauthSession;

/// The sort of sessions; static, not counted for the caller.
PB_EXPORT pbSort *sipauthSessionSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT sipauthSession *sipauthSessionRetain( sipauthSession *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void sipauthSessionRelease( sipauthSession *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *sipauthSessionObj( sipauthSession *obj );
/// OBJ as a session; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT sipauthSession *sipauthSessionFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *sipauthSessionToString( sipauthSession *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t sipauthSessionCompare( sipauthSession *objA, sipauthSession *objB );
/// 1 when sipauthSessionCompare gives 0, else 0.
PB_EXPORT pbBool sipauthSessionEquals( sipauthSession *objA, sipauthSession *objB );

/// A new session of a stack. FLAGS are SIPAUTH_SESSION_FLAG values; unknown bits are dropped. The session takes the
/// stack's options of this moment. ANCHOR may be null.
PB_EXPORT sipauthSession *sipauthSessionCreate( sipauthStack *stack, uint64_t flags, trAnchor *anchor );
/// The same, and as a client it answers with the credentials that the directory has for a user.
PB_EXPORT sipauthSession *sipauthSessionCreateWithClientUser( sipauthStack *stack, uint64_t flags, usrUser *clientUser,
                                                              trAnchor *anchor );
/// The same for a user that is looked up by a reference when a challenge comes.
PB_EXPORT sipauthSession *sipauthSessionCreateWithClientUserReference( sipauthStack *stack, uint64_t flags,
                                                                       usrReference *clientUserReference,
                                                                       trAnchor *anchor );
/// The same with the credentials themselves.
PB_EXPORT sipauthSession *sipauthSessionCreateWithClientCredentials( sipauthStack *stack, uint64_t flags,
                                                                     sipauthCredentials *clientCredentials,
                                                                     trAnchor *anchor );
/// The stack.
PB_EXPORT sipauthStack *sipauthSessionStack( sipauthSession *sess );
/// The flags.
PB_EXPORT uint64_t sipauthSessionFlags( sipauthSession *sess );
/// The options.
PB_EXPORT sipauthOptions *sipauthSessionOptions( sipauthSession *sess );
/// The user given at creation, or null.
PB_EXPORT usrUser *sipauthSessionClientUser( sipauthSession *sess );
/// 1 when there is one, else 0.
PB_EXPORT pbBool sipauthSessionHasClientUser( sipauthSession *sess );
/// The user reference given at creation, or null.
PB_EXPORT usrReference *sipauthSessionClientUserReference( sipauthSession *sess );
/// 1 when there is one, else 0.
PB_EXPORT pbBool sipauthSessionHasClientUserReference( sipauthSession *sess );
/// The credentials given at creation, or null.
PB_EXPORT sipauthCredentials *sipauthSessionClientCredentials( sipauthSession *sess );
/// 1 when there are some, else 0.
PB_EXPORT pbBool sipauthSessionHasClientCredentials( sipauthSession *sess );
/// Completes an anchor with the session's stream.
PB_EXPORT void sipauthSessionTraceCompleteAnchor( sipauthSession *sess, trAnchor *anchor );
/// Adds a signalable, signalled once when a transaction next gives the session's state back.
PB_EXPORT void sipauthSessionUpdateAddSignalable( sipauthSession *sess, pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void sipauthSessionUpdateDelSignalable( sipauthSession *sess, pbSignalable *signalable );
/// 1 when the session has failed for good, else 0.
PB_EXPORT pbBool sipauthSessionError( sipauthSession *sess );
/// Adds a signalable, signalled once when the session fails.
PB_EXPORT void sipauthSessionErrorAddSignalable( sipauthSession *sess, pbSignalable *signalable );
/// Takes a signalable out again.
PB_EXPORT void sipauthSessionErrorDelSignalable( sipauthSession *sess, pbSignalable *signalable );
/// The user that the server side has recorded, or null. That it is recorded does not say that the check succeeded.
PB_EXPORT usrUser *sipauthSessionServerUser( sipauthSession *sess );
/// 1 when there is one, else 0.
PB_EXPORT pbBool sipauthSessionHasServerUser( sipauthSession *sess );

PB_END_DECLS

#endif
