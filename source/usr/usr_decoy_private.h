// Decoys: users who stand for those who are not there, so that nobody can tell them apart from users with another
// password.
#ifndef USR_USR_DECOY_PRIVATE_H
#define USR_USR_DECOY_PRIVATE_H

#include <pb/pb_store.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/// 1 when a request that ended without result for this reason may have a decoy: the driver has answered, and there is
/// no user who could log in. 0 for a driver that failed: what is unknown is not covered up.
pbBool usr___DecoyFits( const char *why );
/// A new string: the id of the decoy with a user name.
pbString *usr___DecoyUserId( pbString *userName );
/// A new store: the credentials of the decoy with a user name. The password is always the same within a process, and
/// nobody can know it.
pbStore *usr___DecoyCredentials( pbString *userName );

PB_END_DECLS

#endif
