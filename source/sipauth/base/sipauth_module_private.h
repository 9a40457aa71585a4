// Start-up and shut-down of the module.
#ifndef SIPAUTH_BASE_SIPAUTH_MODULE_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_MODULE_PRIVATE_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// Starts the parts of the library in their order; always 1.
pbBool sipauth___ModuleStartup( void );
/// Ends them in reverse order.
void sipauth___ModuleShutdown( void );

PB_END_DECLS

#endif
