// A registrar as a configuration file describes it: the directory "users" and the stack "registrar", which names it.
#ifndef SCENARIO_CONFIGURED_H
#define SCENARIO_CONFIGURED_H

#include "road.h"
#include "usr_seal/users.h"

#include <cs/cs_configuration.h>
#include <cs/cs_object.h>
#include <cs_toml/cs_toml.h>

namespace scenario
{

class ConfiguredRoad : public Road
{
protected:
    /// The text of a file: keys of the directory's and of the stack's configuration, each with its line end.
    static std::string fileText( const std::string &directory, const std::string &stack = "" )
    {
        return "[object.users]\nsort = \"USR_DIRECTORY\"\n[object.users.config]\nlookupTimeout = 600000\n" + directory +
               "[object.registrar]\nsort = \"SIPAUTH_STACK\"\n[object.registrar.config]\n"
               "serverRealm = \"example.org\"\nserverUsrDirectoryName = \"users\"\n"
               "serverChallengeExpiration = 600000\n" +
               stack;
    }

    /// Writes the file and loads it, or loads it again. What is said against it, "" when nothing is.
    std::string load( const std::string &text )
    {
        users::write( path(), text );
        pb::Ref<pbString> reason;
        if( configuration )
            return csConfigurationTryReload( configuration, reason.inout() ) ? "" : support::text( reason );
        auto format = own( csTomlFormatCreate() );
        configuration = own( csConfigurationTryLoad( format, string( path() ), nullptr, reason.inout() ) );
        return configuration ? "" : support::text( reason );
    }

    pb::Ref<sipauthStack> registrar()
    {
        return own( sipauthStackFrom( csObject( string( "registrar" ), sipauthStackSort() ) ) );
    }

    pb::Ref<usrDirectory> directory()
    {
        return own( usrDirectoryFrom( csObject( string( "users" ), usrDirectorySort() ) ) );
    }

    /// The last status of a client with new sessions that answers a challenge.
    int64_t logIn( const std::string &userName, const std::string &password )
    {
        Parties parties = Road::parties( registrar(), password, userName );
        EXPECT_EQ( transact( parties ), 401 );
        return transact( parties );
    }

    std::string path() { return folder / "registrar.toml"; }

    users::Folder folder;
    pb::Ref<csConfiguration> configuration;
};

} // namespace scenario

#endif
