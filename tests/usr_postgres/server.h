// A PostgreSQL server of the tests' own: in a folder that goes with it, reached through a socket there and nowhere
// else.
#ifndef USR_POSTGRES_SERVER_H
#define USR_POSTGRES_SERVER_H

#include "usr_seal/users.h"

#include <string>
#include <sys/types.h>

namespace postgres
{

/// One for all tests of a program, made when the first one asks for it and stopped when the program ends.
class Server
{
public:
    /// Whether the server's programs are here at all.
    static bool available();
    static Server &shared();

    ~Server();
    Server( const Server & ) = delete;
    Server &operator=( const Server & ) = delete;

    /// Starts it unless it runs; returns once it accepts connections.
    void start();
    /// Kills it without warning, or has it end its connections and shut down; returns when it is gone.
    void kill();
    void shutDown();

    /// A file of the server's data.
    std::string data( const std::string &name ) const { return folder_ / ( "data/" + name ); }
    /// How to connect, as libpq takes it.
    std::string connection() const { return "host=" + folder_.path() + " dbname=postgres user=postgres"; }
    /// Runs a statement on a connection of its own: the value that it gives, "ok", or what failed.
    std::string sql( const std::string &text );

private:
    Server();
    pid_t spawn( const std::vector<std::string> &command );
    void end( int signal );

    users::Folder folder_;
    pid_t pid_ = 0;
};

} // namespace postgres

#endif
