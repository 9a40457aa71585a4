// SIP URIs, addresses and Via values.
#include "sip/uri.h"
