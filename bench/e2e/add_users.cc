// Fills the user directory of a configuration for a measurement: user0, user1 ... each with its own name as the
// password.
//
//     sipauth-add-users CONFIG DIRECTORY COUNT
#include <cs/cs_configuration.h>
#include <cs/cs_object.h>
#include <cs_toml/cs_toml.h>
#include <pb/pb_scheduler.h>
#include <pb/pb_std.hh>
#include <sipauth/sipauth_module.h>
#include <usr/usr_administration.h>
#include <usr_sqlite/usr_sqlite.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{

int fail( const std::string &why )
{
    std::fprintf( stderr, "sipauth-add-users: %s\n", why.c_str() );
    return 1;
}

int addUsers( usrDirectory *directory, int count )
{
    for( int i = 0; i < count; i++ )
    {
        auto name = pb::string( "user" + std::to_string( i ) );
        pb::Ref<pbString> reason;
        if( usrDirectoryAddUser( directory, name, name, nullptr, name, reason.inout() ) != USR_RESULT_OK )
            return fail( pb::text( reason ) );
    }
    return 0;
}

} // namespace

int main( int argc, char **argv )
{
    if( argc != 4 || !pbModuleStart( sipauthModule() ) )
        return fail( "CONFIG DIRECTORY COUNT" );
    usrSqliteRegister();
    auto scheduler = pb::own( pbSchedulerCreateHosted( nullptr, nullptr ) );
    pbSchedulerSetCurrent( scheduler );
    int result = 0;
    {
        pb::Ref<pbString> reason;
        pb::Ref<usrDirectory> directory;
        auto format = pb::own( csTomlFormatCreate() );
        auto configuration =
            pb::own( csConfigurationTryLoad( format, pb::string( argv[1] ), nullptr, reason.inout() ) );
        if( configuration )
            directory = pb::own( usrDirectoryFrom( csObject( pb::string( argv[2] ), usrDirectorySort() ) ) );
        result = directory ? addUsers( directory, std::atoi( argv[3] ) )
                           : fail( reason ? pb::text( reason ) : "there is no such directory" );
        if( configuration )
            csConfigurationUnload( configuration );
    }
    pbSchedulerStop( scheduler );
    pbSchedulerSetCurrent( nullptr );
    usrSqliteUnregister();
    pbModuleStop( sipauthModule() );
    return result;
}
