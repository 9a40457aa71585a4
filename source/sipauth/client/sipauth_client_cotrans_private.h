// The body of a client co-transaction: no more than its implementation.
#ifndef SIPAUTH_CLIENT_SIPAUTH_CLIENT_COTRANS_PRIVATE_H
#define SIPAUTH_CLIENT_SIPAUTH_CLIENT_COTRANS_PRIVATE_H

#include "sipauth/client/sipauth_client_cotrans_imp_private.h"

#include <sipauth/sipauth_client_cotrans.h>

struct sipauthClientCotrans
{
    pb::Object object;
    pb::Field<sipauth___ClientCotransImp> imp;
};

#endif
