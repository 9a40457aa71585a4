// Presets: start and end of the enumeration.
#ifndef SIPAUTH_BASE_SIPAUTH_DEFAULTS_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_DEFAULTS_PRIVATE_H

#include <sipauth/sipauth_defaults.h>

PB_BEGIN_DECLS

/// Makes the enumeration object. Before any other use.
void sipauth___DefaultsStartup();
/// Releases the enumeration object. After any other use.
void sipauth___DefaultsShutdown();

PB_END_DECLS

#endif
