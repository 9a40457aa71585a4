// Configurations of directories: the keys that all directories have.
#ifndef USR_USR_DIRECTORY_CONFIG_PRIVATE_H
#define USR_USR_DIRECTORY_CONFIG_PRIVATE_H

#include "usr/usr_driver_private.h"

/// What a directory keeps to.
struct usr___Limits
{
    int64_t lookupTimeout; ///< milliseconds
    int64_t maxLookups;
    bool decoys; ///< lookups that find no usable user end with a decoy
};

/// What a configuration says apart from the driver's part.
struct usr___DirectorySettings
{
    const usr___Driver *driver;
    usr___Limits limits;
};

PB_BEGIN_DECLS

/// Reads the settings; 0 with *REASON, which may be null, set. The driver's part is not looked at.
pbBool usr___DirectoryConfigTryRead( pbStore *config, usr___DirectorySettings *settings, pbString **reason );
/// A new store: the part of a configuration that is the driver's.
pbStore *usr___DirectoryConfigOfDriver( pbStore *config );
/// A new store: the canonical form of a configuration that can be read, with DRIVERCONFIG as its driver's part when it
/// is not null.
pbStore *usr___DirectoryConfigNormalize( pbStore *config, pbStore *driverConfig, int64_t storeFlags );

PB_END_DECLS

#endif
