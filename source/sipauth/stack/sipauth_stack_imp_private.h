// What a stack does, in an object that lives on while its process runs though the stack is gone.
#ifndef SIPAUTH_STACK_SIPAUTH_STACK_IMP_PRIVATE_H
#define SIPAUTH_STACK_SIPAUTH_STACK_IMP_PRIVATE_H

#include "pb/pb_object.h"
#include "sipauth/server/sipauth_server_db_private.h"

#include <pb/pb_monitor.h>
#include <pb/pb_signal.h>
#include <pb/pb_timer.h>
#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_options.h>
#include <sipauth/sipauth_server_challenge.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/// The implementation of a stack.
typedef struct sipauth___StackImp sipauth___StackImp;

/// The sort of implementations of stacks; static, not counted for the caller.
pbSort *sipauth___StackImpSort( void );
/// Takes one more reference of OBJ and returns OBJ.
sipauth___StackImp *sipauth___StackImpRetain( sipauth___StackImp *obj );
/// Gives back one reference of OBJ; the last one frees it.
void sipauth___StackImpRelease( sipauth___StackImp *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *sipauth___StackImpObj( sipauth___StackImp *obj );
/// OBJ as an implementation of a stack; takes no reference, null passes through, an object of another sort aborts.
sipauth___StackImp *sipauth___StackImpFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *sipauth___StackImpToString( sipauth___StackImp *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
int64_t sipauth___StackImpCompare( sipauth___StackImp *objA, sipauth___StackImp *objB );
/// 1 when sipauth___StackImpCompare gives 0, else 0.
pbBool sipauth___StackImpEquals( sipauth___StackImp *objA, sipauth___StackImp *objB );

/// A new implementation, which has applied the options when this returns. ANCHOR may be null. Its process keeps it
/// until it is halted.
sipauth___StackImp *sipauth___StackImpCreate( sipauthOptions *options, trAnchor *anchor );
/// Ends the process. A second call aborts.
void sipauth___StackImpHalt( sipauth___StackImp *imp );
/// One run of the process: applies options that were set, and drops challenges that are too old when it is time.
void sipauth___StackImpProcessFunc( pbObj *argument );
/// Completes an anchor with the stack's stream.
void sipauth___StackImpTraceCompleteAnchor( sipauth___StackImp *imp, trAnchor *anchor );
/// The options that were set last.
sipauthOptions *sipauth___StackImpOptions( sipauth___StackImp *imp );
/// Sets the options and schedules the process.
void sipauth___StackImpSetOptions( sipauth___StackImp *imp, sipauthOptions *options );
/// Sets *CONFIGURATION, when CONFIGURATION is not null, to the options that were applied; what it held is released.
void sipauth___StackImpConfiguration( sipauth___StackImp *imp, sipauthOptions **configuration );
/// Adds a signalable, signalled once when options are next applied.
void sipauth___StackImpConfigurationAddSignalable( sipauth___StackImp *imp, pbSignalable *signalable );
/// Takes a signalable out again.
void sipauth___StackImpConfigurationDelSignalable( sipauth___StackImp *imp, pbSignalable *signalable );
/// The stored challenge that credentials name, taken out of the database; null when there is none. ANCHOR may be null.
sipauthServerChallenge *sipauth___StackImpServerChallenge( sipauth___StackImp *imp, sipauthAuthorization *authorization,
                                                           trAnchor *anchor );
/// Stores a challenge. ANCHOR may be null.
void sipauth___StackImpSetServerChallenge( sipauth___StackImp *imp, sipauthServerChallenge *serverChallenge,
                                           trAnchor *anchor );

PB_END_DECLS

struct sipauth___StackImp
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<pbProcess> isProcess;
    pb::Field<pbSignalable> signalable;
    pb::Field<pbTimer> timer;     ///< when to look for old challenges again
    pb::Field<pbMonitor> monitor; ///< guards the fields below, except the database, which has its own
    pb::Field<sipauthOptions> options;
    pb::Field<pbSignal> configurationSignal;
    pb::Field<sipauthOptions> configuration; ///< the options that were applied last
    pb::Field<sipauth___ServerDb> serverDb;
};

#endif
