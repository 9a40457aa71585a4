// The body of credentials, which the files that compute with them read directly.
#ifndef SIPAUTH_BASE_SIPAUTH_CREDENTIALS_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_CREDENTIALS_PRIVATE_H

#include "pb/pb_object.h"

#include <sipauth/sipauth_credentials.h>

struct sipauthCredentials
{
    pb::Object object;
    pb::Field<pbString> userName;
    pb::Field<pbString> password;
};

#endif
