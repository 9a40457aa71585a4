// The update of stored configurations of 2016-05-12.
#ifndef SIPAUTH_CSUPDATE_SIPAUTH_CSUPDATE_20160512_PRIVATE_H
#define SIPAUTH_CSUPDATE_SIPAUTH_CSUPDATE_20160512_PRIVATE_H

#include <cs/cs_update_backend.h>

PB_BEGIN_DECLS

/// Registers the update.
void sipauth___Csupdate20160512Startup( void );
/// Takes it out again.
void sipauth___Csupdate20160512Shutdown( void );
/// The update itself: stacks that name the withdrawn preset get the minimal one.
void sipauth___Csupdate20160512Func( csUpdateBackend *backend, csUpdate **update );

PB_END_DECLS

#endif
