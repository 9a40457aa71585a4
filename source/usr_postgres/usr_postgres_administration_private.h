// Changes of the table of users: one at a time, on a connection of their own.
#ifndef USR_POSTGRES_USR_POSTGRES_ADMINISTRATION_PRIVATE_H
#define USR_POSTGRES_USR_POSTGRES_ADMINISTRATION_PRIVATE_H

#include "usr_postgres/usr_postgres_session_private.h"
#include "usr_seal/usr_seal_keys.h"

#include <mutex>

namespace usr_postgres
{

/// See the head of the file. Results are those of a driver's administration (USR_RESULT); REASON may be null.
class Administration
{
public:
    Administration( const Settings &settings, usr_seal::Keys &keys ) : keys_( keys ), session_( settings, -1 ) {}

    void close();

    int64_t add( pbString *userId, pbString *userName, pbString *realm, pbString *password, pbString **reason );
    int64_t setPassword( pbString *userId, pbString *password, pbString **reason );
    int64_t setEnabled( pbString *userId, bool enabled, pbString **reason );
    int64_t remove( pbString *userId, pbString **reason );
    int64_t list( pbVector **users, pbString **reason );

private:
    bool run( const char *statement, std::string &reason );
    bool seal( usr_seal::Row &row, pbString *password, std::string &reason );
    int64_t change( const char *statement, const Parameters &parameters, std::string &reason );
    int64_t changePassword( const std::string &id, pbString *password, std::string &reason );

    usr_seal::Keys &keys_;
    std::mutex mutex_;
    Session session_;
};

} // namespace usr_postgres

#endif
