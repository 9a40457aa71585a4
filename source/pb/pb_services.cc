// The replaceable services of the runtime.
#include "pb/pb_services_private.h"

pb___Services pb___services = { nullptr, nullptr };

void pb___ServicesSet( const pb___Services *services )
{
    pb___services = services ? *services : pb___Services{ nullptr, nullptr };
}
