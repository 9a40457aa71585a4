// Start and end of the enumeration of schemes.
#ifndef SIPAUTH_BASE_SIPAUTH_SCHEME_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_SCHEME_PRIVATE_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/// Makes the enumeration object and names its values.
void sipauth___SchemeStartup( void );
/// Releases it.
void sipauth___SchemeShutdown( void );

PB_END_DECLS

#endif
