// A driver at work for one directory.
#ifndef USR_USR_DRIVER_INSTANCE_PRIVATE_H
#define USR_USR_DRIVER_INSTANCE_PRIVATE_H

#include "pb/pb_object.h"
#include "usr/usr_driver.h"

/// A driver's object with its functions, and how much is under way there.
struct usr___DriverInstance
{
    pb::Object object;
    const usr___Driver *driver;
    pb::Field<pbObj> driverObj;
    std::atomic<int64_t> uses; ///< requests that have not ended and calls of its functions that have not returned
};

PB_BEGIN_DECLS

/// The sort of instances; static, not counted for the caller.
pbSort *usr___DriverInstanceSort( void );
/// Takes one more reference of OBJ and returns OBJ.
usr___DriverInstance *usr___DriverInstanceRetain( usr___DriverInstance *obj );
/// Gives back one reference of OBJ; the last one frees it.
void usr___DriverInstanceRelease( usr___DriverInstance *obj );
/// OBJ as a generic object; takes no reference, null passes through.
pbObj *usr___DriverInstanceObj( usr___DriverInstance *obj );
/// OBJ as an instance; takes no reference, null passes through, an object of another sort aborts.
usr___DriverInstance *usr___DriverInstanceFrom( pbObj *obj );
/// A new string: the name of its sort.
pbString *usr___DriverInstanceToString( usr___DriverInstance *obj );
/// Negative, 0 or positive: orders by identity.
int64_t usr___DriverInstanceCompare( usr___DriverInstance *objA, usr___DriverInstance *objB );
/// 1 when usr___DriverInstanceCompare gives 0, else 0.
pbBool usr___DriverInstanceEquals( usr___DriverInstance *objA, usr___DriverInstance *objB );

/// A new instance with the driver's own part of a configuration; null with *REASON, which may be null, set.
usr___DriverInstance *usr___DriverInstanceTryCreate( const usr___Driver *driver, pbStore *driverConfig,
                                                     trStream *stream, pbString **reason );
/// Tells the driver that its end has come.
void usr___DriverInstanceClose( usr___DriverInstance *instance );

PB_END_DECLS

#endif
