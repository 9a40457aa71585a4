// A PostgreSQL server of the tests' own.
#include "server.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <libpq-fe.h>
#include <pwd.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace postgres
{
namespace
{

const std::string programs = SIPAUTH_POSTGRES_FOLDER;

// The server does not run as the superuser: whom to be instead.
const passwd *account()
{
    if( geteuid() != 0 )
        return nullptr;
    const passwd *user = getpwnam( "postgres" );
    return user ? user : getpwnam( "nobody" );
}

int waitFor( pid_t pid )
{
    int status = 0;
    waitpid( pid, &status, 0 );
    return status;
}

} // namespace

bool Server::available()
{
    return !programs.empty();
}

Server &Server::shared()
{
    static Server server;
    return server;
}

// Between fork and exec stands nothing but system calls: the tests have threads.
pid_t Server::spawn( const std::vector<std::string> &command )
{
    std::vector<char *> arguments;
    for( const std::string &argument : command )
        arguments.push_back( const_cast<char *>( argument.c_str() ) );
    arguments.push_back( nullptr );
    const passwd *user = account();
    std::string log = folder_ / "log";
    pid_t pid = fork();
    if( pid != 0 )
        return pid;
    if( user && ( setgroups( 0, nullptr ) != 0 || setgid( user->pw_gid ) != 0 || setuid( user->pw_uid ) != 0 ) )
        _exit( 126 );
    // The server goes when the tests are killed.
    prctl( PR_SET_PDEATHSIG, SIGQUIT );
    int file = open( log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600 );
    dup2( file, 1 );
    dup2( file, 2 );
    if( chdir( "/" ) == 0 )
        execv( arguments[0], arguments.data() );
    _exit( 127 );
}

Server::Server()
{
    if( const passwd *user = account() )
    {
        EXPECT_EQ( chown( folder_.path().c_str(), user->pw_uid, user->pw_gid ), 0 );
    }
    pid_t made = spawn( { programs + "/initdb", "--pgdata=" + folder_ / "data", "--username=postgres", "--auth=trust",
                          "--no-sync", "--no-locale", "--encoding=UTF8" } );
    EXPECT_EQ( waitFor( made ), 0 ) << users::contentOf( folder_ / "log" );
    start();
}

Server::~Server()
{
    end( SIGQUIT );
}

void Server::start()
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 30 );
    while( std::chrono::steady_clock::now() < deadline )
    {
        // A server that was killed leaves memory behind, which its last processes hold for a moment: then a new one
        // refuses to start and is started again.
        if( pid_ != 0 && waitpid( pid_, nullptr, WNOHANG ) == pid_ )
            pid_ = 0;
        if( pid_ == 0 )
            pid_ = spawn( { programs + "/postgres", "-D", folder_ / "data", "-k", folder_.path(), "-c",
                            "listen_addresses=", "-c", "fsync=off", "-c", "shared_buffers=4MB", "-c",
                            "max_connections=40", "-c", "autovacuum=off" } );
        if( PQping( connection().c_str() ) == PQPING_OK )
            return;
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
    }
    ADD_FAILURE() << "the server does not start: " << users::contentOf( folder_ / "log" );
}

void Server::end( int signal )
{
    if( pid_ == 0 )
        return;
    ::kill( pid_, signal );
    waitFor( pid_ );
    pid_ = 0;
}

// The processes that a process has started.
static std::vector<pid_t> childrenOf( pid_t parent )
{
    std::vector<pid_t> children;
    for( const auto &entry : std::filesystem::directory_iterator( "/proc" ) )
    {
        std::ifstream file( entry.path() / "stat" );
        std::string line;
        pid_t itsParent = 0;
        // "PID (NAME) STATE PARENT ..."; the name may hold anything.
        if( std::getline( file, line ) && line.rfind( ") " ) != std::string::npos )
            std::istringstream( line.substr( line.rfind( ") " ) + 4 ) ) >> itsParent;
        if( itsParent == parent )
            children.push_back( static_cast<pid_t>( std::stol( entry.path().filename() ) ) );
    }
    return children;
}

void Server::kill()
{
    if( pid_ == 0 )
        return;
    // All of it at once, as when a machine loses its power: a process that serves a connection would go on for a
    // moment.
    std::vector<pid_t> children = childrenOf( pid_ );
    end( SIGKILL );
    for( pid_t child : children )
        ::kill( child, SIGKILL );
}

void Server::shutDown()
{
    end( SIGINT );
}

std::string Server::sql( const std::string &text )
{
    PGconn *connection = PQconnectdb( this->connection().c_str() );
    PQsetNoticeReceiver(
        connection, []( void *, const PGresult * ) {}, nullptr );
    PGresult *result = PQexec( connection, text.c_str() );
    std::string value = "ok";
    if( PQresultStatus( result ) == PGRES_TUPLES_OK && PQntuples( result ) > 0 )
        value = PQgetvalue( result, 0, 0 );
    else if( PQresultStatus( result ) != PGRES_TUPLES_OK && PQresultStatus( result ) != PGRES_COMMAND_OK )
        value = PQerrorMessage( connection );
    PQclear( result );
    PQfinish( connection );
    return value;
}

} // namespace postgres
