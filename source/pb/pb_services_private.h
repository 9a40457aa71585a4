// The services in place, for the functions that use them.
#ifndef PB_PB_SERVICES_PRIVATE_H
#define PB_PB_SERVICES_PRIVATE_H

#include "pb/pb_services.h"

extern pb___Services pb___services;

#endif
