// Administration of the users of a directory: what every driver would have to check, and the reasons.
#include "pb/pb_object.h"
#include "tr/tr_trace.h"
#include "usr/usr_directory_private.h"
#include "usr/usr_text.h"

#include <usr/usr_administration.h>

#include <iterator>

namespace
{

// The reason of a result to which the driver gave none.
constexpr const char *reasons[] = {
    nullptr,
    "there is a user with this id, or with this name and realm",
    "there is no such user",
    "the directory's driver cannot do this",
    "the directory failed",
};
static_assert( std::size( reasons ) == USR_RESULT_FAILED + 1 );

int64_t conclude( int64_t result, pb::Ref<pbString> why, pbString **reason )
{
    PB_ASSERT( result >= USR_RESULT_OK && result <= USR_RESULT_FAILED );
    if( result == USR_RESULT_OK || !reason )
        return result;
    *reason = why ? why.give() : pbStringCreateFromCstr( reasons[result], -1 );
    return result;
}

// The result of what a driver was to change. A change that failed may have been made all the same, when only its answer
// was lost.
int64_t counted( usrDirectory *directory, int64_t result )
{
    if( result == USR_RESULT_OK || result == USR_RESULT_FAILED )
        directory->imp->changes++;
    return result;
}

bool empty( pbString *value, const char *name, pbString **reason )
{
    if( pbStringLength( value ) > 0 )
        return false;
    usr___SetReason( reason, "%lc: is empty", name );
    return true;
}

} // namespace

int64_t usrDirectoryAddUser( usrDirectory *directory, pbString *userId, pbString *userName, pbString *realm,
                             pbString *password, pbString **reason )
{
    PB_ASSERT( directory );
    PB_ASSERT( userName );
    PB_ASSERT( password );
    pbString *id = userId ? userId : userName;
    TR_TEXT_FORMAT( directory->imp->stream, "[usrDirectoryAddUser()] userId: %s", id );
    if( empty( userName, "userName", reason ) || empty( id, "userId", reason ) ||
        empty( password, "password", reason ) )
        return USR_RESULT_FAILED;
    usr___DriverUse driver( directory->imp );
    if( !driver->add )
        return conclude( USR_RESULT_UNSUPPORTED, nullptr, reason );
    pb::Ref<pbString> why;
    int64_t result = counted( directory, driver->add( driver.obj(), id, userName, realm, password, why.inout() ) );
    return conclude( result, why, reason );
}

int64_t usrDirectorySetPassword( usrDirectory *directory, pbString *userId, pbString *password, pbString **reason )
{
    PB_ASSERT( directory );
    PB_ASSERT( userId );
    PB_ASSERT( password );
    TR_TEXT_FORMAT( directory->imp->stream, "[usrDirectorySetPassword()] userId: %s", userId );
    if( empty( password, "password", reason ) )
        return USR_RESULT_FAILED;
    usr___DriverUse driver( directory->imp );
    if( !driver->setPassword )
        return conclude( USR_RESULT_UNSUPPORTED, nullptr, reason );
    pb::Ref<pbString> why;
    int64_t result = counted( directory, driver->setPassword( driver.obj(), userId, password, why.inout() ) );
    return conclude( result, why, reason );
}

int64_t usrDirectorySetUserEnabled( usrDirectory *directory, pbString *userId, pbBool enabled, pbString **reason )
{
    PB_ASSERT( directory );
    PB_ASSERT( userId );
    TR_TEXT_FORMAT( directory->imp->stream, "[usrDirectorySetUserEnabled()] userId: %s, enabled: %i", userId,
                    int64_t{ enabled != 0 } );
    usr___DriverUse driver( directory->imp );
    if( !driver->setEnabled )
        return conclude( USR_RESULT_UNSUPPORTED, nullptr, reason );
    pb::Ref<pbString> why;
    int64_t result = counted( directory, driver->setEnabled( driver.obj(), userId, enabled != 0, why.inout() ) );
    return conclude( result, why, reason );
}

int64_t usrDirectoryDeleteUser( usrDirectory *directory, pbString *userId, pbString **reason )
{
    PB_ASSERT( directory );
    PB_ASSERT( userId );
    TR_TEXT_FORMAT( directory->imp->stream, "[usrDirectoryDeleteUser()] userId: %s", userId );
    usr___DriverUse driver( directory->imp );
    if( !driver->remove )
        return conclude( USR_RESULT_UNSUPPORTED, nullptr, reason );
    pb::Ref<pbString> why;
    int64_t result = counted( directory, driver->remove( driver.obj(), userId, why.inout() ) );
    return conclude( result, why, reason );
}

int64_t usrDirectoryListUsers( usrDirectory *directory, pbVector **users, pbString **reason )
{
    PB_ASSERT( directory );
    PB_ASSERT( users );
    *users = nullptr;
    usr___DriverUse driver( directory->imp );
    if( !driver->list )
        return conclude( USR_RESULT_UNSUPPORTED, nullptr, reason );
    pb::Ref<pbVector> listed;
    pb::Ref<pbString> why;
    int64_t result = driver->list( driver.obj(), listed.inout(), why.inout() );
    if( result == USR_RESULT_OK )
        *users = listed.give();
    return conclude( result, why, reason );
}
