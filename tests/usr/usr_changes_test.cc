// The number with which a directory tells that users may have changed.
#include "fake_driver.h"

#include "support/abort.h"

#include <usr/usr_administration.h>

namespace
{

using namespace fake;

std::atomic<int64_t> *watched = nullptr;

// A driver that can tell, and whose changes come to what the test says.
int64_t nextResult = USR_RESULT_OK;

const usr___Driver &telling()
{
    static const usr___Driver record = []
    {
        usr___Driver made = driver;
        made.name = "telling";
        made.add = []( pbObj *, pbString *, pbString *, pbString *, pbString *, pbString ** ) { return nextResult; };
        made.setPassword = []( pbObj *, pbString *, pbString *, pbString ** ) { return nextResult; };
        made.setEnabled = []( pbObj *, pbString *, pbBool, pbString ** ) { return nextResult; };
        made.remove = []( pbObj *, pbString *, pbString ** ) { return nextResult; };
        made.watch = []( pbObj *, std::atomic<int64_t> *changes ) { watched = changes; };
        return made;
    }();
    return record;
}

class Changes : public Driven
{
protected:
    Changes() { usr___DriverRegister( &telling() ); }
    ~Changes() override
    {
        usr___DriverUnregister( &telling() );
        watched = nullptr;
        nextResult = USR_RESULT_OK;
    }

    static pb::Ref<usrDirectory> tellingDirectory()
    {
        return own( usrDirectoryTryCreate( Store().set( "driver", "telling" ), nullptr, nullptr ) );
    }

    static void changeAll( usrDirectory *users )
    {
        auto alice = string( "alice" );
        usrDirectoryAddUser( users, alice, alice, nullptr, alice, nullptr );
        usrDirectorySetPassword( users, alice, string( "other" ), nullptr );
        usrDirectorySetUserEnabled( users, alice, 0, nullptr );
        usrDirectoryDeleteUser( users, alice, nullptr );
    }
};

TEST_F( Changes, CountWhatAdministrationChanges )
{
    auto users = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    int64_t before = usrDirectoryChanges( users );
    changeAll( users );
    EXPECT_EQ( usrDirectoryChanges( users ), before + 4 );
    EXPECT_TRUE( usrDirectoryTellsChanges( users ) );
}

TEST_F( Changes, DoNotCountWhatChangedNothing )
{
    auto users = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    usrDirectoryAddUser( users, nullptr, string( "alice" ), nullptr, string( "secret" ), nullptr );
    int64_t before = usrDirectoryChanges( users );
    usrDirectoryAddUser( users, nullptr, string( "alice" ), nullptr, string( "secret" ), nullptr );
    usrDirectorySetPassword( users, string( "bob" ), string( "other" ), nullptr );
    usrDirectoryDeleteUser( users, string( "bob" ), nullptr );
    pb::Ref<pbVector> listed;
    usrDirectoryListUsers( users, listed.inout(), nullptr );
    (void) lookupIn( users, "alice" );
    EXPECT_EQ( usrDirectoryChanges( users ), before );
}

TEST_F( Changes, CountWhatFailedAsItMayHaveBeenMade )
{
    auto users = tellingDirectory();
    int64_t before = usrDirectoryChanges( users );
    nextResult = USR_RESULT_NOT_FOUND;
    changeAll( users );
    EXPECT_EQ( usrDirectoryChanges( users ), before );
    nextResult = USR_RESULT_FAILED;
    changeAll( users );
    EXPECT_EQ( usrDirectoryChanges( users ), before + 4 );
}

TEST_F( Changes, CountWhatTheDriverNotices )
{
    auto users = tellingDirectory();
    EXPECT_TRUE( usrDirectoryTellsChanges( users ) );
    int64_t before = usrDirectoryChanges( users );
    ASSERT_TRUE( watched );
    ++*watched;
    EXPECT_EQ( usrDirectoryChanges( users ), before + 1 );
}

TEST_F( Changes, AreNotToldByADriverThatCannot )
{
    auto users = directory();
    EXPECT_FALSE( usrDirectoryTellsChanges( users ) );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, Store().set( "driver", "telling" ), nullptr ) );
    EXPECT_TRUE( usrDirectoryTellsChanges( users ) );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, Store().set( "driver", "fake" ), nullptr ) );
    EXPECT_FALSE( usrDirectoryTellsChanges( users ) );
}

TEST_F( Changes, CountANewConfigurationOfTheDriver )
{
    auto users = directory( Store().set( "label", "a" ) );
    int64_t before = usrDirectoryChanges( users );
    auto same = Store().set( "driver", "fake" ).set( "label", "a" ).set( "maxLookups", int64_t{ 3 } );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, same, nullptr ) );
    EXPECT_EQ( usrDirectoryChanges( users ), before );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, Store().set( "driver", "fake" ).set( "label", "b" ), nullptr ) );
    EXPECT_GT( usrDirectoryChanges( users ), before );
}

using ChangesDeathTest = Changes;

TEST_F( ChangesDeathTest, NullArgumentsAbort )
{
    EXPECT_ABORT( (void) usrDirectoryChanges( nullptr ), "source/usr/usr_directory", "directory" );
    EXPECT_ABORT( (void) usrDirectoryTellsChanges( nullptr ), "source/usr/usr_directory", "directory" );
}

} // namespace
