// A connection that waits for its answers, for as long as it is told and not longer.
#ifndef USR_POSTGRES_USR_POSTGRES_SESSION_PRIVATE_H
#define USR_POSTGRES_USR_POSTGRES_SESSION_PRIVATE_H

#include "usr_postgres/usr_postgres_libpq_private.h"

namespace usr_postgres
{

/// See the head of the file. Used by one thread at a time.
class Session
{
public:
    /// STOPFILE is a file descriptor that becomes readable when waiting is to end at once; -1 for none.
    Session( const Settings &settings, int stopFile ) : settings_( settings ), stopFile_( stopFile ) {}

    /// Connects unless a connection stands, and checks or makes the tables; false with REASON. From here on the time
    /// limit runs, for all that is done up to the next call.
    bool begin( std::string &reason );
    /// Runs one statement; its result has succeeded. Null with REASON; STATE, when it is not null, gets the code.
    ResultPtr execute( const char *statement, const Parameters &parameters, std::string &reason,
                       std::string *state = nullptr );
    bool connected() const { return connection_ != nullptr; }
    void close() { connection_.reset(); }

private:
    bool connect( std::string &reason );
    bool wait( short events, std::string &reason );
    ResultPtr receive( std::string &reason );
    bool alive();

    const Settings &settings_;
    int stopFile_;
    ConnectionPtr connection_;
    Clock::time_point deadline_{};
};

} // namespace usr_postgres

#endif
