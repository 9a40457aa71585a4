// Credentials as the library will read them from a line.
#ifndef HOST_HOST_CREDENTIALS_PRIVATE_H
#define HOST_HOST_CREDENTIALS_PRIVATE_H

#include "host/host_auth_line_private.h"

#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_options.h>

namespace host
{

/// The credentials of an item of the scheme Digest, or null when the library would refuse a value.
pb::Ref<sipauthAuthorization> tryDigestCredentials( const AuthItem &item );
/// The same for the scheme Basic; OPTIONS say how the base encoding is read.
pb::Ref<sipauthAuthorization> tryBasicCredentials( const AuthItem &item, sipauthOptions *options );

} // namespace host

#endif
