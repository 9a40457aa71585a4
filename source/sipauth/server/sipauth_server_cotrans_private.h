// The body of a server co-transaction: no more than its implementation.
#ifndef SIPAUTH_SERVER_SIPAUTH_SERVER_COTRANS_PRIVATE_H
#define SIPAUTH_SERVER_SIPAUTH_SERVER_COTRANS_PRIVATE_H

#include "sipauth/server/sipauth_server_cotrans_imp_private.h"

#include <sipauth/sipauth_server_cotrans.h>

struct sipauthServerCotrans
{
    pb::Object object;
    pb::Field<sipauth___ServerCotransImp> imp;
};

#endif
