// Start-up and shut-down of the session flags' names.
#ifndef SIPAUTH_SESSION_SIPAUTH_SESSION_FLAGS_PRIVATE_H
#define SIPAUTH_SESSION_SIPAUTH_SESSION_FLAGS_PRIVATE_H

#include <pb/pb_flagset.h>
#include <sipauth/sipauth_session_flags.h>

PB_BEGIN_DECLS

/// Makes the flag set with the names.
void sipauth___SessionFlagsStartup();
/// Releases it.
void sipauth___SessionFlagsShutdown();

PB_END_DECLS

#endif
