// How guards count what they refuse.
#ifndef HOST_HOST_REFUSAL_PRIVATE_H
#define HOST_HOST_REFUSAL_PRIVATE_H

#include <host/host_server_guard.h>

PB_BEGIN_DECLS

/// Counts a refusal, one of HOST_REFUSAL but not HOST_REFUSAL_NONE, and returns it.
int64_t host___Refuse( int64_t refusal );

PB_END_DECLS

#endif
