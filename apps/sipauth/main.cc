// sipauth: parses, answers, checks and makes SIP authentication headers, shows options and traces, administrates users,
// and is a user agent.
#include "commands.h"

#include "sipauthd/config_object.h"

#include <CLI/CLI.hpp>
#include <sipauth/sipauth_module.h>

#include <pb/pb_module.h>
#include <usr_postgres/usr_postgres.h>
#include <usr_sqlite/usr_sqlite.h>

#include <iostream>

static int run( int argc, char **argv )
{
    CLI::App app( "SIP authentication (HTTP Digest and Basic): parse, answer, check and make its headers; log in.\n"
                  "Exit status: 0 yes, 1 no, 2 wrong usage or unreadable input, 3 the network fails.",
                  "sipauth" );
    app.require_subcommand( 1 );
    app.set_version_flag( "--version", std::string( "sipauth " ) + pbModuleVersionText( sipauthModule() ) );
    tool::Exit result = tool::exitUsage;
    tool::Command commands( app );
    tool::addParse( commands, result );
    tool::addAnswer( commands, result );
    tool::addCheck( commands, result );
    tool::addChallenge( commands, result );
    tool::addSettings( commands, result );
    tool::addConfig( commands, result );
    tool::addTrace( commands, result );
    tool::addUser( commands, result );
    tool::addRegister( commands, result );
    tool::addOptions( commands, result );
    tool::addMessage( commands, result );
    tool::addInvite( commands, result );
    try
    {
        app.parse( argc, argv );
        if( !std::cout.flush() )
            throw tool::UsageError( "the result cannot be written" );
        return result;
    }
    catch( const CLI::ParseError &error )
    {
        return app.exit( error ) == 0 ? tool::exitYes : tool::exitUsage;
    }
    // Mistakes of the caller, and what a library of the tool refuses.
    catch( const std::exception &error )
    {
        tool::note( std::string( "sipauth: " ) + error.what() );
        return tool::exitUsage;
    }
}

int main( int argc, char **argv )
{
    if( !pbModuleStart( sipauthModule() ) )
    {
        tool::note( "sipauth: the library does not start" );
        return tool::exitUsage;
    }
    // What a configuration may name.
    usrSqliteRegister();
    usrPostgresRegister();
    int result = 0;
    {
        sipauthd::ConfigSort daemonSort;
        result = run( argc, argv );
    }
    usrPostgresUnregister();
    usrSqliteUnregister();
    pbModuleStop( sipauthModule() );
    return result;
}
