// The library as a module of the runtime.
#ifndef SIPAUTH_SIPAUTH_MODULE_H
#define SIPAUTH_SIPAUTH_MODULE_H

#include <pb/pb_module.h>

PB_BEGIN_DECLS

/// The module: a static record. A host starts it with pbModuleStart before any other use of the library.
PB_EXPORT const pbModule *sipauthModule( void );

PB_END_DECLS

#endif
