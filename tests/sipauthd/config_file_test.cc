// The configuration file as a whole, and its objects while it is loaded.
#include "sipauthd/config_file.h"

#include "files.h"

#include <gtest/gtest.h>
#include <host/host_module.h>
#include <pb/pb_scheduler.h>
#include <pb/pb_std.hh>

namespace sipauthd
{
namespace
{

class ConfigFileTest : public FilesTest
{
protected:
    // What is wrong with a file, without the folder in front.
    std::string refusal( const std::string &content )
    {
        try
        {
            inspectFile( write( "a.toml", content ) );
            return "";
        }
        catch( const ConfigError &error )
        {
            std::string text = error.what();
            return text.starts_with( folder_ + "/" ) ? text.substr( folder_.size() + 1 ) : text;
        }
    }
};

TEST_F( ConfigFileTest, TakesAWholeFile )
{
    ConfigFile file = inspectFile( write( "a.toml", configuration() ) );
    EXPECT_EQ( file.object, "daemon" );
    EXPECT_EQ( file.directory, "users" );
    EXPECT_EQ( file.config.proxy.realm, "example.com" );
    EXPECT_EQ( file.config.domains.at( 0 ), "example.com" );
    EXPECT_EQ( pb::textOf( sipauthOptionsServerRealm( file.options ) ), "example.com" );
}

TEST_F( ConfigFileTest, TellsFileLineAndReason )
{
    EXPECT_EQ( refusal( replaced( configuration(), "drainTime = 10000", "drainTime = 'x'" ) ),
               "a.toml:18: object 'daemon': drainTime: not a whole number" );
    EXPECT_EQ( refusal( replaced( configuration(), "address = ", "adress = " ) ),
               "a.toml:20: object 'daemon': listeners.udp.adress: this key is not known" );
    EXPECT_EQ( refusal( replaced( configuration(), "serverRealm", "serverRelm" ) ),
               "a.toml:10: object 'main': unknown key 'serverRelm' (did you mean 'serverRealm'?)" );
    EXPECT_EQ( refusal( replaced( configuration(), "serverRealm = 'example.com'\n", "" ) ),
               "a.toml:9: object 'main': serverRealm: needed" );
    EXPECT_EQ( refusal( replaced( configuration(), "= 'users'", "= 'nobody'" ) ),
               "a.toml:11: object 'main': serverUsrDirectoryName: there is no USR_DIRECTORY \"nobody\"" );
    EXPECT_EQ( refusal( replaced( configuration(), "stack = 'main'", "stack = 'other'" ) ),
               "a.toml:16: object 'daemon': stack: there is no SIPAUTH_STACK \"other\"" );
    EXPECT_EQ( refusal( replaced( configuration(), "userName = 'alice'", "username = 'alice'" ) ).substr( 0, 24 ),
               "a.toml:4: object 'users'" );
    EXPECT_EQ( refusal( "object = 1" ).substr( 0, 11 ), "a.toml:1:1:" );
}

TEST_F( ConfigFileTest, NeedsOneDaemon )
{
    EXPECT_EQ( refusal( "" ), "a.toml: declares no object of the sort SIPAUTHD, and one is needed" );
    EXPECT_EQ( refusal( configuration() + "[object.second]\nsort = 'SIPAUTHD'\n[object.second.config]\ndomains = 'a'\n"
                                          "[object.second.config.listeners.udp]\naddress = '127.0.0.1:0'\n" ),
               "a.toml: declares several objects of the sort SIPAUTHD, and one is needed" );
}

TEST_F( ConfigFileTest, SaysThatAFileCannotBeRead )
{
    EXPECT_THROW( inspectFile( folder_ + "/nothing.toml" ), ConfigError );
}

class LoadedFileTest : public ConfigFileTest
{
protected:
    LoadedFileTest()
    {
        scheduler_ = pb::own( pbSchedulerCreateHosted( nullptr, nullptr ) );
        pbSchedulerSetCurrent( scheduler_ );
    }
    ~LoadedFileTest() override
    {
        pbSchedulerStop( scheduler_ );
        pbSchedulerSetCurrent( nullptr );
    }
    pb::Ref<pbScheduler> scheduler_;
};

TEST_F( LoadedFileTest, TakesAChangedFile )
{
    LoadedFile file( write( "a.toml", configuration() ) );
    EXPECT_EQ( file.config().drainTime, 10000 );
    EXPECT_TRUE( file.stack() );
    auto stack = file.stack();
    write( "a.toml", replaced( configuration(), "drainTime = 10000", "drainTime = 1" ) );
    file.reload();
    EXPECT_EQ( file.config().drainTime, 1 );
    EXPECT_EQ( file.stack().get(), stack.get() ) << "an object that stays is the same";
}

TEST_F( LoadedFileTest, KeepsEverythingWhenAFileIsRefused )
{
    LoadedFile file( write( "a.toml", configuration() ) );
    std::string changed = replaced( configuration(), "drainTime = 10000", "drainTime = 1" );
    // The daemon's part is fine, and what it needs is not there.
    write( "a.toml", replaced( changed, "stack = 'main'", "stack = 'other'" ) );
    EXPECT_THROW( file.reload(), ConfigError );
    EXPECT_EQ( file.config().drainTime, 10000 );
    write( "a.toml", "[[[" );
    EXPECT_THROW( file.reload(), ConfigError );
    EXPECT_EQ( file.config().drainTime, 10000 );
    write( "a.toml", changed );
    file.reload();
    EXPECT_EQ( file.config().drainTime, 1 );
}

} // namespace
} // namespace sipauthd
