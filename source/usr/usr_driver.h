// What a driver of user directories is: a record of functions that its own library registers with this module.
//
// How a user is found: a user is known by a user name and, optionally, a realm. A lookup with a realm finds the user
// with exactly that realm, else the one without realm. A lookup without realm finds the one without realm, else the
// only one of that name; when there are several, none is found ("ambiguous"). Names and realms are compared code point
// by code point. All users take part in this choice. Only then, a user who is disabled ("disabled") or has no password
// or an empty one ("no password") counts as not found; so a disabled user of a realm hides the one without realm.
//
// A directory hands each lookup and query to its driver as a request, which the driver ends exactly once: at once,
// before the function returns, or later and from any thread. The directory keeps the time limit and the number of open
// requests; when the time of a request is up it ends without the driver, whose answer then is thrown away. The time
// begins when the driver's function returns, so that function must not block. No lock is held while a driver's function
// runs.
#ifndef USR_USR_DRIVER_H
#define USR_USR_DRIVER_H

#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <tr/tr_stream.h>
#include <usr/usr_administration.h>
#include <usr/usr_directory.h>

#include <atomic>

/// A lookup or query that waits for its driver's answer; counted, any thread.
typedef struct usr___Request usr___Request;

/// Why a request ends without result, for usr___RequestEndWithout, as far as drivers have it in common.
inline constexpr char usr___notFound[] = "not found";
inline constexpr char usr___ambiguous[] = "ambiguous: several realms have this user name";
inline constexpr char usr___disabled[] = "disabled";
inline constexpr char usr___noPassword[] = "no password";

/// A driver. Functions get the object that its tryCreate returned. Every function may be called from any thread, and
/// several at once; only close is called when no other function runs or will be called.
struct usr___Driver
{
    const char *name;
    /// A new object of the driver for a directory with this configuration, which is not null and has not the keys that
    /// all directories have; null with *REASON, which is not read, set to a new string that begins with the key.
    pbObj *( *tryCreate )( pbStore *config, trStream *stream, pbString **reason );
    /// The directory is being freed or gets a new configuration: give back the references of all requests, ended or
    /// not; what is open then the directory ends. Called once, never from a function of the driver. May be null.
    void ( *close )( pbObj *driver );
    /// Find the user with the given name and, when it is not null, realm.
    void ( *lookup )( pbObj *driver, usr___Request *request, pbString *userName, pbString *realm );
    /// Fetch the credentials of the user with the given id.
    void ( *query )( pbObj *driver, usr___Request *request, pbString *userId );

    // Administration; null in a driver that cannot. They block until the change is on stable storage. Names, ids and
    // passwords are not empty; REALM may be null. REASON is the address of a reference for a new string, set with
    // USR_RESULT_FAILED, which may be set with other results as well.
    int64_t ( *add )( pbObj *driver, pbString *userId, pbString *userName, pbString *realm, pbString *password,
                      pbString **reason );
    int64_t ( *setPassword )( pbObj *driver, pbString *userId, pbString *password, pbString **reason );
    int64_t ( *setEnabled )( pbObj *driver, pbString *userId, pbBool enabled, pbString **reason );
    int64_t ( *remove )( pbObj *driver, pbString *userId, pbString **reason );
    /// *USERS is set to a new vector of stores with "userId", "userName", "realm" (when there is one) and "enabled".
    int64_t ( *list )( pbObj *driver, pbVector **users, pbString **reason );

    // Configuration, of the driver's own keys only; all optional.
    /// 1 when tryCreate may take a configuration, as far as can be told without touching anything; else 0 with *REASON.
    pbBool ( *check )( pbStore *config, pbString **reason ) = nullptr;
    /// A new store: the canonical form of a configuration that check takes. STOREFLAGS is 0, or 1 to write out also
    /// what has its default. Without it a configuration is taken as it is.
    pbStore *( *normalize )( pbStore *config, int64_t storeFlags ) = nullptr;
    /// A new store: the present configuration, in canonical form. Without it, it is what tryCreate got.
    pbStore *( *config )( pbObj *driver, int64_t storeFlags ) = nullptr;

    /// From now on add to *CHANGES, from any thread and within about a second, whenever users may have changed other
    /// than by the functions above, whose changes the directory counts. Once the driver is closed, no more. Called
    /// once, before the first lookup. Null in a driver that cannot tell; one whose users nobody else can change does
    /// nothing.
    void ( *watch )( pbObj *driver, std::atomic<int64_t> *changes ) = nullptr;
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
/// carries the store along, so that the query that follows needs no second round; with null for the store, that query
/// comes to the driver. Any thread; a request that has ended already, at its time limit, stays as it is.
PB_EXPORT void usr___RequestEnd( usr___Request *request, pbString *userId, pbStore *credentials );
/// Ends a request without result. WHY is C text for the trace: one of those above, or what failed.
PB_EXPORT void usr___RequestEndWithout( usr___Request *request, const char *why );
/// 1 once the request has ended, so that a driver may spare itself the work; else 0.
PB_EXPORT pbBool usr___RequestEnded( usr___Request *request );
/// A new store with "userName" and "passwordBase64" for usr___RequestEnd.
PB_EXPORT pbStore *usr___CredentialsStore( pbString *userName, pbString *password );

PB_END_DECLS

#endif
