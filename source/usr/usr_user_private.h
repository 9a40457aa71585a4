// What lookups and queries know of a user beyond its directory and id.
#ifndef USR_USR_USER_PRIVATE_H
#define USR_USR_USER_PRIVATE_H

#include <pb/pb_store.h>
#include <usr/usr_user.h>

PB_BEGIN_DECLS

/// A user whom a lookup found, with the credentials that came along; these may be null. DECOY says that it is a decoy.
usrUser *usr___UserCreateWithCredentials( usrDirectory *directory, pbString *userId, pbStore *optionalCredentials,
                                          pbBool decoy );
/// The credentials that came along with a lookup; null when there are none.
pbStore *usr___UserCredentials( usrUser *user );

PB_END_DECLS

#endif
