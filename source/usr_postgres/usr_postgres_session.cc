// A connection that waits for its answers.
#include "usr_postgres/usr_postgres_session_private.h"

#include "usr_postgres/usr_postgres_schema_private.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>

namespace usr_postgres
{

// Waits until the connection can go on; false with REASON when the time is up or the stop was called.
bool Session::wait( short events, std::string &reason )
{
    while( true )
    {
        auto left = std::chrono::ceil<Milliseconds>( deadline_ - Clock::now() ).count();
        if( left <= 0 )
        {
            reason = "PostgreSQL: no answer within " + std::to_string( settings_.serverTimeout.count() ) + " ms";
            return false;
        }
        pollfd files[] = { { PQsocket( connection_.get() ), events, 0 }, { stopFile_, POLLIN, 0 } };
        int ready = poll( files, 2, static_cast<int>( left ) );
        if( ready < 0 && errno != EINTR )
        {
            reason = std::string( "poll: " ) + std::strerror( errno );
            return false;
        }
        if( ready > 0 && files[1].revents )
        {
            reason = "the directory is closed";
            return false;
        }
        if( ready > 0 )
            return true;
    }
}

bool Session::connect( std::string &reason )
{
    connection_ = beginConnecting( settings_ );
    PostgresPollingStatusType next = PGRES_POLLING_WRITING;
    if( !connection_ || PQstatus( connection_.get() ) == CONNECTION_BAD )
        next = PGRES_POLLING_FAILED;
    while( next == PGRES_POLLING_READING || next == PGRES_POLLING_WRITING )
    {
        if( !wait( next == PGRES_POLLING_READING ? POLLIN : POLLOUT, reason ) )
            return false;
        next = PQconnectPoll( connection_.get() );
    }
    if( next != PGRES_POLLING_OK || PQsetnonblocking( connection_.get(), 1 ) != 0 )
    {
        reason = failureOf( connection_.get() );
        return false;
    }
    return setUpConnection( *this, reason );
}

// Whether a connection that stood idle still stands: the server's farewell can be read from it.
bool Session::alive()
{
    if( !connection_ )
        return false;
    pollfd file = { PQsocket( connection_.get() ), POLLIN, 0 };
    while( poll( &file, 1, 0 ) > 0 )
    {
        if( PQconsumeInput( connection_.get() ) != 1 )
            return false;
    }
    return PQstatus( connection_.get() ) == CONNECTION_OK;
}

bool Session::begin( std::string &reason )
{
    deadline_ = Clock::now() + settings_.serverTimeout;
    if( alive() )
        return true;
    if( connect( reason ) )
        return true;
    close();
    return false;
}

// The result of what was sent. Statements come one at a time, so what counts is the last result before the end.
ResultPtr Session::receive( std::string &reason )
{
    ResultPtr last;
    while( true )
    {
        int unsent = PQflush( connection_.get() );
        while( unsent == 0 && !PQisBusy( connection_.get() ) )
        {
            ResultPtr result( PQgetResult( connection_.get() ) );
            if( !result )
                return last;
            last = std::move( result );
        }
        short events = unsent == 1 ? POLLIN | POLLOUT : POLLIN;
        if( unsent < 0 || !wait( events, reason ) )
            break;
        if( PQconsumeInput( connection_.get() ) != 1 )
            break;
    }
    if( reason.empty() )
        reason = failureOf( connection_.get() );
    return nullptr;
}

ResultPtr Session::execute( const char *statement, const Parameters &parameters, std::string &reason,
                            std::string *state )
{
    reason.clear();
    ResultPtr result;
    if( PQsendQueryParams( connection_.get(), statement, parameters.count(), nullptr, parameters.values(),
                           parameters.lengths(), parameters.formats(), 1 ) == 1 )
        result = receive( reason );
    else
        reason = failureOf( connection_.get() );
    ExecStatusType status = PQresultStatus( result.get() );
    if( status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK )
        return result;
    if( reason.empty() )
        reason = failureOf( result.get(), connection_.get() );
    if( state )
        *state = stateOf( result.get() );
    // Without a result nobody knows where the connection stands.
    if( !result || connectionLost( result.get(), connection_.get() ) )
        close();
    return nullptr;
}

} // namespace usr_postgres
