// The administration functions of a driver's record, for drivers whose users have an object for it.
#ifndef USR_SEAL_USR_SEAL_ADMINISTER_H
#define USR_SEAL_USR_SEAL_ADMINISTER_H

#include <pb/pb_string.h>
#include <pb/pb_vector.h>

namespace usr_seal
{

/// The functions as usr_driver.h has them. USERSOF gives the users of a driver's object; their member "administration"
/// does the work.
template<auto usersOf>
struct Administer
{
    static int64_t add( pbObj *driver, pbString *userId, pbString *userName, pbString *realm, pbString *password,
                        pbString **reason )
    {
        return usersOf( driver ).administration.add( userId, userName, realm, password, reason );
    }

    static int64_t setPassword( pbObj *driver, pbString *userId, pbString *password, pbString **reason )
    {
        return usersOf( driver ).administration.setPassword( userId, password, reason );
    }

    static int64_t setEnabled( pbObj *driver, pbString *userId, pbBool enabled, pbString **reason )
    {
        return usersOf( driver ).administration.setEnabled( userId, enabled != 0, reason );
    }

    static int64_t remove( pbObj *driver, pbString *userId, pbString **reason )
    {
        return usersOf( driver ).administration.remove( userId, reason );
    }

    static int64_t list( pbObj *driver, pbVector **users, pbString **reason )
    {
        return usersOf( driver ).administration.list( users, reason );
    }
};

} // namespace usr_seal

#endif
