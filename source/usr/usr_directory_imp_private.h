// What works behind a directory: it counts what is open and ends at its time limit what the driver has not answered.
#ifndef USR_USR_DIRECTORY_IMP_PRIVATE_H
#define USR_USR_DIRECTORY_IMP_PRIVATE_H

#include "pb/pb_object.h"
#include "usr/usr_directory_config_private.h"
#include "usr/usr_driver_instance_private.h"

#include <pb/pb_monitor.h>
#include <pb/pb_priority_map.h>
#include <pb/pb_process.h>
#include <pb/pb_timer.h>

/// The implementation of a directory. Its process is made when first a request waits and keeps it alive until it is
/// halted, which happens when the directory itself is freed. Requests do not keep the directory, only this.
struct usr___DirectoryImp
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<pbMonitor> changing; ///< held through a change of the configuration; entered before the monitor
    pb::Field<pbMonitor> monitor;  ///< guards all that follows, and all requests
    pb::Field<usr___DriverInstance> instance;
    pb::Field<pbVector> retired;        ///< instances that were replaced, as long as they are in use
    std::atomic<int64_t> retiredLength; ///< for a look without the monitor
    pb::Field<pbStore> config;          ///< as it was given
    usr___Limits limits;
    int64_t open;                     ///< requests that have not ended
    pb::Field<pbPriorityMap> waiting; ///< those among them that the driver has taken, by their deadlines
    pb::Field<pbProcess> process;     ///< null until first a request waits
    pb::Field<pbTimer> timer;         ///< made with the process; set while a request waits, never too late

    // What follows has no guard. The driver adds to the first, from any thread, until it is closed.
    std::atomic<int64_t> changes;
    std::atomic<bool> tellsChanges;
};

PB_BEGIN_DECLS

/// The sort of implementations; static, not counted for the caller.
pbSort *usr___DirectoryImpSort( void );
/// Takes one more reference of OBJ and returns OBJ.
usr___DirectoryImp *usr___DirectoryImpRetain( usr___DirectoryImp *obj );
/// Gives back one reference of OBJ; the last one frees it.
void usr___DirectoryImpRelease( usr___DirectoryImp *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *usr___DirectoryImpObj( usr___DirectoryImp *obj );
/// OBJ as an implementation; takes no reference, null passes through, an object of another sort aborts.
usr___DirectoryImp *usr___DirectoryImpFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *usr___DirectoryImpToString( usr___DirectoryImp *obj );
/// Negative, 0 or positive: orders by identity.
int64_t usr___DirectoryImpCompare( usr___DirectoryImp *objA, usr___DirectoryImp *objB );
/// 1 when usr___DirectoryImpCompare gives 0, else 0.
pbBool usr___DirectoryImpEquals( usr___DirectoryImp *objA, usr___DirectoryImp *objB );

/// A new implementation; null with *REASON, which may be null, set. CONFIG may be null.
usr___DirectoryImp *usr___DirectoryImpTryCreate( pbStore *config, trAnchor *anchor, pbString **reason );
/// The directory is gone: closes the driver, ends all requests and halts the process.
void usr___DirectoryImpHalt( usr___DirectoryImp *imp );
/// Puts another configuration in force; 0 with *REASON, which may be null, set.
pbBool usr___DirectoryImpTrySetConfig( usr___DirectoryImp *imp, pbStore *config, pbString **reason );
/// A new store: the configuration in force.
pbStore *usr___DirectoryImpConfig( usr___DirectoryImp *imp, int64_t storeFlags );
/// The driver that is in force, one more reference of it; it is not closed before usr___DirectoryImpDone.
usr___DriverInstance *usr___DirectoryImpUse( usr___DirectoryImp *imp );
/// Ends a use, on a thread that is not the driver's.
void usr___DirectoryImpDone( usr___DirectoryImp *imp, usr___DriverInstance *instance );

/// Counts a new request as open and gives it the driver in force; 0 when too many are open.
pbBool usr___DirectoryImpTryOpen( usr___DirectoryImp *imp, usr___Request *request );
/// The driver's function for a request has returned: unless the request has ended, its time runs from now on.
void usr___DirectoryImpWait( usr___DirectoryImp *imp, usr___Request *request, usr___DriverInstance *instance );
/// Lets go of a request that has just ended. The caller holds the monitor, and the request.
void usr___DirectoryImpLeave( usr___DirectoryImp *imp, usr___Request *request );

PB_END_DECLS

/// The driver in force, used for a block.
class [[nodiscard]] usr___DriverUse
{
public:
    explicit usr___DriverUse( usr___DirectoryImp *imp )
        : imp_( pb::share( imp ) ), instance_( pb::own( usr___DirectoryImpUse( imp ) ) )
    {
    }
    ~usr___DriverUse() { usr___DirectoryImpDone( imp_, instance_ ); }
    usr___DriverUse( const usr___DriverUse & ) = delete;
    usr___DriverUse &operator=( const usr___DriverUse & ) = delete;

    const usr___Driver *operator->() const { return instance_->driver; }
    /// The driver's object.
    pbObj *obj() const { return instance_->driverObj; }

private:
    pb::Ref<usr___DirectoryImp> imp_;
    pb::Ref<usr___DriverInstance> instance_;
};

#endif
