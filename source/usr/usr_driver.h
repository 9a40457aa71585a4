// What a driver of user directories is: a record of functions that its own library registers with this module.
//
// A directory hands each lookup and query to its driver as a request, which the driver ends exactly once: at once,
// before the function returns, or later and from any thread. The directory keeps the time limit and the number of open
// requests; when the time of a request is up it ends without the driver, whose answer then is thrown away.
#ifndef USR_USR_DRIVER_H
#define USR_USR_DRIVER_H

#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <tr/tr_stream.h>
#include <usr/usr_directory.h>

/// A lookup or query that waits for its driver's answer; counted, any thread.
typedef struct usr___Request usr___Request;

/// What an administrative change, or a listing, came to.
enum USR_RESULT
{
    USR_RESULT_OK = 0,
    USR_RESULT_EXISTS = 1,      ///< there is a user with that name and realm
    USR_RESULT_NOT_FOUND = 2,   ///< there is no such user
    USR_RESULT_UNSUPPORTED = 3, ///< the directory cannot be changed
    USR_RESULT_FAILED = 4       ///< the directory failed; the reason says how
};

/// A driver. Functions get the object that its tryCreate returned.
struct usr___Driver
{
    const char *name;
    /// A new object of the driver for a directory with this configuration; null with *REASON set to a new string.
    pbObj *( *tryCreate )( pbStore *config, trStream *stream, pbString **reason );
    /// The directory is being freed: end what is open. May be null.
    void ( *close )( pbObj *driver );
    /// Find the user with the given name and, when it is not null, realm.
    void ( *lookup )( pbObj *driver, usr___Request *request, pbString *userName, pbString *realm );
    /// Fetch the credentials of the user with the given id.
    void ( *query )( pbObj *driver, usr___Request *request, pbString *userId );

    // Administration; null in a driver that cannot. They block until the change is on stable storage. REASON is the
    // address of a reference for a new string, set with USR_RESULT_FAILED.
    int64_t ( *add )( pbObj *driver, pbString *userId, pbString *userName, pbString *realm, pbString *password,
                      pbString **reason );
    int64_t ( *setPassword )( pbObj *driver, pbString *userId, pbString *password, pbString **reason );
    int64_t ( *setEnabled )( pbObj *driver, pbString *userId, pbBool enabled, pbString **reason );
    int64_t ( *remove )( pbObj *driver, pbString *userId, pbString **reason );
    /// *USERS is set to a new vector of stores with "userId", "userName", "realm" (when there is one) and "enabled".
    int64_t ( *list )( pbObj *driver, pbVector **users, pbString **reason );
};

PB_BEGIN_DECLS

/// Registers a driver, whose record must live on. A second driver of the same name aborts.
PB_EXPORT void usr___DriverRegister( const usr___Driver *driver );
/// Takes a driver out again; directories that use it live on.
PB_EXPORT void usr___DriverUnregister( const usr___Driver *driver );

/// Takes one more reference of a request, for a driver that answers later.
PB_EXPORT usr___Request *usr___RequestRetain( usr___Request *obj );
/// Gives a reference back.
PB_EXPORT void usr___RequestRelease( usr___Request *obj );
/// Ends a request with what was found: the user's id and a store with "userName" and "passwordBase64". A lookup's user
/// carries the store along, so that the query that follows needs no second round. Any thread; a request that has ended
/// already, at its time limit, stays as it is.
PB_EXPORT void usr___RequestEnd( usr___Request *request, pbString *userId, pbStore *credentials );
/// Ends a request without result. WHY is C text for the trace: "not found", or what failed.
PB_EXPORT void usr___RequestEndWithout( usr___Request *request, const char *why );
/// 1 once the request has ended, so that a driver may spare itself the work; else 0.
PB_EXPORT pbBool usr___RequestEnded( usr___Request *request );

PB_END_DECLS

#endif
