// The daemon's configuration as an object of the configuration service, so that loading it, reloading it and saying
// what is wrong with which line are the service's.
#ifndef SIPAUTHD_CONFIG_OBJECT_H
#define SIPAUTHD_CONFIG_OBJECT_H

#include "sipauthd/config.h"

#include <pb/pb_module.h>
#include <pb/pb_obj.h>

namespace sipauthd
{

/// The sort of the daemon's object, SIPAUTHD.
pbSort *configSort();
/// The configuration that an object of that sort has now.
const Config &configOf( pbObj *object );

/// Makes the sort known to the configuration service for its lifetime.
class ConfigSort
{
public:
    ConfigSort();
    ~ConfigSort();
    ConfigSort( const ConfigSort & ) = delete;
    ConfigSort &operator=( const ConfigSort & ) = delete;
};

} // namespace sipauthd

#endif
