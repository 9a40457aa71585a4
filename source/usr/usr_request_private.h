// Requests: what lookups and queries hand to a driver and wait for.
#ifndef USR_USR_REQUEST_PRIVATE_H
#define USR_USR_REQUEST_PRIVATE_H

#include "pb/pb_object.h"
#include "usr/usr_directory_imp_private.h"
#include "usr/usr_driver_instance_private.h"

#include <pb/pb_signal.h>

/// A request. Whoever asked, the driver and, while it is open, the directory hold it. The directory's monitor guards
/// all that changes; what is found is fixed once `ended` is true and then read without the monitor.
struct usr___Request
{
    pb::Object object;
    pb::Field<usr___DirectoryImp> imp;
    pb::Field<trStream> stream;               ///< of the lookup or query
    usr___Limits limits;                      ///< with which it began
    pb::Field<usr___DriverInstance> instance; ///< null once ended
    pb::Field<pbSignal> endSignal;            ///< null until somebody waits
    pb::Field<pbString> decoyName;            ///< of a lookup that ends with a decoy rather than without result
    pb::Field<pbString> userId;               ///< null when nothing was found
    pb::Field<pbStore> credentials;           ///< may be null also when a user was found
    bool decoy;                               ///< who was found is a decoy
    bool waiting;                             ///< in the directory's map of deadlines
    std::atomic<bool> ended;
};

PB_BEGIN_DECLS

/// The sort of requests; static, not counted for the caller.
pbSort *usr___RequestSort( void );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *usr___RequestObj( usr___Request *obj );
/// OBJ as a request; takes no reference, null passes through, an object of another sort aborts.
usr___Request *usr___RequestFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *usr___RequestToString( usr___Request *obj );
/// Negative, 0 or positive: orders by identity.
int64_t usr___RequestCompare( usr___Request *objA, usr___Request *objB );
/// 1 when usr___RequestCompare gives 0, else 0.
pbBool usr___RequestEquals( usr___Request *objA, usr___Request *objB );

/// Asks the driver for a user; REALM may be null. Null when too many requests are open. A driver that answers at once
/// costs no process and no timer.
usr___Request *usr___RequestTryLookup( usr___DirectoryImp *imp, trStream *stream, pbString *userName, pbString *realm );
/// The same for the credentials of a user.
usr___Request *usr___RequestTryQuery( usr___DirectoryImp *imp, trStream *stream, pbString *userId );
/// Ends a request without its driver, unless it has just ended.
void usr___RequestGiveUp( usr___Request *request, const char *why );
/// Adds a signalable, signalled when the request ends; at once when it has ended, or is null as it could not begin.
void usr___RequestEndAddSignalable( usr___Request *request, pbSignalable *signalable );
/// Takes a signalable out again.
void usr___RequestEndDelSignalable( usr___Request *request, pbSignalable *signalable );

PB_END_DECLS

#endif
