// Transports and network addresses.
#include "engine/address.h"
