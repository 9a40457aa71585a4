// sipauthd: a SIP registrar and proxy that authenticates its users.
#include "sipauthd/check.h"
#include "sipauthd/config_object.h"
#include "sipauthd/daemon.h"

#include <CLI/CLI.hpp>
#include <host/host_module.h>
#include <usr_postgres/usr_postgres.h>
#include <usr_sqlite/usr_sqlite.h>

#include <filesystem>
#include <iostream>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace
{

constexpr const char *defaultPath = "/etc/sipauth/sipauthd.toml";

enum Exit
{
    exitOk = 0,
    exitFailed = 1,
    exitRefused = 2
};

// A core file would hold passwords.
void forbidCores()
{
    ::prctl( PR_SET_DUMPABLE, 0 );
    rlimit none = { 0, 0 };
    ::setrlimit( RLIMIT_CORE, &none );
}

// The modules and what a configuration may name, for as long as the daemon runs.
class Started
{
public:
    Started()
    {
        if( !pbModuleStart( hostModule() ) )
            throw sipauthd::StartError( "the library does not start" );
        usrSqliteRegister();
        usrPostgresRegister();
    }
    ~Started()
    {
        usrPostgresUnregister();
        usrSqliteUnregister();
        pbModuleStop( hostModule() );
    }
    Started( const Started & ) = delete;
    Started &operator=( const Started & ) = delete;
};

int fail( const std::string &text, int status )
{
    std::cerr << "sipauthd: " << text << std::endl;
    return status;
}

// Each datagram is read into a block of 64 KiB. To free such a block makes the allocator first gather all small free
// blocks that it keeps at hand; there need be none, for each thread keeps some of its own as well.
void easeAllocator()
{
    ::mallopt( M_MXFAST, 0 );
}

int serve( const std::string &path )
{
    try
    {
        sipauthd::Daemon daemon( path );
        daemon.run();
        return exitOk;
    }
    catch( const sipauthd::ConfigError &error )
    {
        return fail( error.what(), exitRefused );
    }
    catch( const std::exception &error )
    {
        return fail( error.what(), exitFailed );
    }
}

int run( std::string path, bool check )
{
    Started started;
    sipauthd::ConfigSort sort;
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute( path, error );
    // Relative paths in the file begin in its folder.
    std::filesystem::current_path( absolute.parent_path(), error );
    if( error )
        return fail( path + ": " + error.message(), exitRefused );
    return check ? sipauthd::checkFile( absolute.string() ) : serve( absolute.string() );
}

} // namespace

int main( int argc, char **argv )
{
    ::umask( 077 );
    forbidCores();
    easeAllocator();
    sipauthd::Signals::block();
    CLI::App app( "A SIP registrar and proxy that authenticates its users.\n"
                  "Exit status: 0 well; 1 it could not start or serve, or --check has warnings; 2 the configuration, "
                  "or the call, is refused.",
                  "sipauthd" );
    std::string path = defaultPath;
    std::string checked;
    app.add_option( "--config", path, "The configuration file" )->capture_default_str();
    auto *check =
        app.add_option( "--check", checked, "Tell what a configuration file means, and end" )->expected( 0, 1 );
    app.set_version_flag( "--version", std::string( "sipauthd " ) + pbModuleVersionText( hostModule() ) );
    try
    {
        app.parse( argc, argv );
        return run( checked.empty() ? path : checked, check->count() > 0 );
    }
    catch( const CLI::ParseError &error )
    {
        return app.exit( error ) == 0 ? exitOk : exitRefused;
    }
    catch( const std::exception &error )
    {
        return fail( error.what(), exitFailed );
    }
}
