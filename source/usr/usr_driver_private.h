// The drivers that are registered.
#ifndef USR_USR_DRIVER_PRIVATE_H
#define USR_USR_DRIVER_PRIVATE_H

#include "usr/usr_driver.h"

/// The driver whose users are in the configuration. It is always registered.
extern const usr___Driver usr___memoryDriver;

/// The driver of a name; null when there is none.
const usr___Driver *usr___DriverWithName( pbString *name );

#endif
