// The connections that look users up.
#include "usr_postgres/usr_postgres_link_private.h"

#include "usr_postgres/usr_postgres_schema_private.h"

#include <poll.h>

namespace usr_postgres
{
namespace
{

constexpr char byName[] = "sipauth_by_name";
constexpr char byId[] = "sipauth_by_id";

} // namespace

short Link::events() const
{
    if( state_ == State::connecting )
        return polling_ == PGRES_POLLING_READING ? POLLIN : POLLOUT;
    return unsent_ ? POLLIN | POLLOUT : POLLIN;
}

// Each state that asks something of the server gives it the same time.
void Link::enter( State state )
{
    state_ = state;
    bool waits = state != State::idle && state != State::down;
    deadline_ = waits ? Clock::now() + settings_.serverTimeout : Clock::time_point::max();
}

void Link::fail( const std::string &reason )
{
    failure_ = reason;
    last_.reset();
    connection_.reset();
    unsent_ = false;
    enter( State::down );
}

void Link::start()
{
    tablesMissing_ = false;
    connection_ = beginConnecting( settings_ );
    polling_ = PGRES_POLLING_WRITING;
    enter( State::connecting );
    if( !connection_ || PQstatus( connection_.get() ) == CONNECTION_BAD )
        fail( failureOf( connection_.get() ) );
}

void Link::ask( Job job )
{
    job_ = std::move( job );
    const usr_seal::Question &question = job_.question;
    Parameters parameters;
    parameters.text( question.text );
    if( !question.byId )
        parameters.text( question.realm );
    enter( State::busy );
    sent( PQsendQueryPrepared( connection_.get(), question.byId ? byId : byName, parameters.count(),
                               parameters.values(), parameters.lengths(), parameters.formats(), 1 ) );
    if( state_ == State::busy )
        receive();
}

void Link::proceed()
{
    if( Clock::now() >= deadline_ )
        fail( "PostgreSQL: no answer within " + std::to_string( settings_.serverTimeout.count() ) + " ms" );
    else if( state_ == State::connecting )
        connectFurther();
    else if( state_ != State::down )
    {
        if( PQconsumeInput( connection_.get() ) != 1 )
            return fail( failureOf( connection_.get() ) );
        receive();
    }
}

void Link::connectFurther()
{
    polling_ = PQconnectPoll( connection_.get() );
    if( polling_ == PGRES_POLLING_FAILED )
        return fail( failureOf( connection_.get() ) );
    if( polling_ != PGRES_POLLING_OK )
        return;
    PQsetnonblocking( connection_.get(), 1 );
    enter( State::checking );
    sent( PQsendQueryParams( connection_.get(), versionStatement, 0, nullptr, nullptr, nullptr, nullptr, 1 ) );
    if( state_ == State::checking )
        receive();
}

// Takes in what has come, up to the end of a statement's results, and goes on from there.
void Link::receive()
{
    int unsent = PQflush( connection_.get() );
    if( unsent < 0 )
        return fail( failureOf( connection_.get() ) );
    unsent_ = unsent == 1;
    while( state_ != State::down && !unsent_ && !PQisBusy( connection_.get() ) )
    {
        ResultPtr result( PQgetResult( connection_.get() ) );
        if( result )
        {
            last_ = std::move( result );
            continue;
        }
        // A server that shuts down says so to an idle connection and then hangs up.
        if( PQstatus( connection_.get() ) != CONNECTION_OK )
            return fail( failureOf( connection_.get() ) );
        if( state_ == State::idle )
            return;
        conclude( std::move( last_ ) );
    }
}

// A statement is through. What comes next is sent, and received when the socket says so.
void Link::conclude( ResultPtr result )
{
    ExecStatusType status = PQresultStatus( result.get() );
    bool good = status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK;
    if( state_ == State::busy && !connectionLost( result.get(), connection_.get() ) && !good )
        usr___RequestEndWithout( job_.request.get(), failureOf( result.get(), connection_.get() ).c_str() );
    if( !good && ( state_ != State::listening || connectionLost( result.get(), connection_.get() ) ) )
    {
        tablesMissing_ = stateOf( result.get() ) == undefinedTable;
        return fail( failureOf( result.get(), connection_.get() ) );
    }
    State before = state_;
    if( before == State::checking )
        checkVersion( result.get() );
    else if( before == State::preparingByName )
    {
        enter( State::preparingById );
        sent( PQsendPrepare( connection_.get(), byId, findByIdStatement, 0, nullptr ) );
    }
    else if( before == State::preparingById )
        listen();
    else if( before == State::listening )
        listened( result.get() );
    else
        answer( result.get() );
}

void Link::checkVersion( PGresult *result )
{
    int64_t version = PQntuples( result ) == 1 ? integerAt( result, 0, 0 ) : 0;
    // Tables that are older are as good as none: they have to be upgraded first.
    tablesMissing_ = version < currentVersion;
    if( version != currentVersion )
        return fail( versionRefused( version ) );
    enter( State::preparingByName );
    sent( PQsendPrepare( connection_.get(), byName, findByNameStatement, 0, nullptr ) );
}

void Link::listen()
{
    if( !listens_ )
        return enter( State::idle );
    enter( State::listening );
    sent( PQsendQueryParams( connection_.get(), listenStatement, 0, nullptr, nullptr, nullptr, nullptr, 1 ) );
}

// A server that cannot tell of changes, as one that only follows another, is good for lookups all the same.
void Link::listened( PGresult *result )
{
    if( PQresultStatus( result ) == PGRES_COMMAND_OK )
        changed_ = true; // nobody has told so far
    else
        warning_ = "changes are not noticed: " + failureOf( result, connection_.get() );
    enter( State::idle );
}

bool Link::takeChanged()
{
    bool changed = std::exchange( changed_, false );
    while( PGnotify *notice = connected() ? PQnotifies( connection_.get() ) : nullptr )
    {
        PQfreemem( notice );
        changed = true;
    }
    return changed;
}

void Link::answer( PGresult *result )
{
    // Idle before the request ends: its end may come back with the next one.
    Job job = takeJob();
    enter( State::idle );
    usr_seal::answer( job.request.get(), job.question, rowsOf( result ), keys_ );
}

} // namespace usr_postgres
