// One of the connections that look users up. It never waits: the pool tells it when its socket is ready.
#ifndef USR_POSTGRES_USR_POSTGRES_LINK_PRIVATE_H
#define USR_POSTGRES_USR_POSTGRES_LINK_PRIVATE_H

#include "usr_postgres/usr_postgres_libpq_private.h"
#include "usr_seal/usr_seal_keys.h"

namespace usr_postgres
{

/// A request on its way.
struct Job
{
    usr_seal::Request request;
    usr_seal::Question question;
};

/// See the head of the file.
class Link
{
public:
    enum class State
    {
        down,
        connecting,
        checking, ///< the version of the tables
        preparingByName,
        preparingById,
        listening, ///< asking to be told what others change
        idle,
        busy
    };

    /// LISTENS says that the link is the one that is told what others change.
    Link( const Settings &settings, usr_seal::Keys &keys, bool listens )
        : settings_( settings ), keys_( keys ), listens_( listens )
    {
    }

    State state() const { return state_; }
    bool connected() const { return state_ == State::idle || state_ == State::busy; }
    int socket() const { return PQsocket( connection_.get() ); }
    /// What to wait for on the socket.
    short events() const;
    /// When the server's time is up; the most distant time when nothing is asked of it.
    Clock::time_point deadline() const { return deadline_; }

    /// Begins to connect.
    void start();
    /// Sends a request to the server. Only when idle.
    void ask( Job job );
    /// Goes on, since the socket is ready or the time is up.
    void proceed();
    /// After a failure, which leaves the link down: the reason, once, empty when there was none.
    std::string takeFailure() { return std::exchange( failure_, {} ); }
    /// Whether the failure was that there are no tables.
    bool tablesMissing() const { return tablesMissing_; }
    /// Whether users may have changed since the last call.
    bool takeChanged();
    /// What failed without bringing the link down, once, empty when nothing did.
    std::string takeWarning() { return std::exchange( warning_, {} ); }
    /// The request that the connection was lost with, if there is one: another one may take it.
    Job takeJob() { return std::exchange( job_, {} ); }

private:
    void enter( State state );
    void fail( const std::string &reason );
    void sent( int ok ) { ok == 1 ? void() : fail( failureOf( connection_.get() ) ); }
    void connectFurther();
    void receive();
    void conclude( ResultPtr result );
    void answer( PGresult *result );
    void checkVersion( PGresult *result );
    void listen();
    void listened( PGresult *result );

    const Settings &settings_;
    usr_seal::Keys &keys_;
    bool listens_;
    State state_ = State::down;
    ConnectionPtr connection_;
    PostgresPollingStatusType polling_ = PGRES_POLLING_WRITING;
    bool unsent_ = false;
    Clock::time_point deadline_ = Clock::time_point::max();
    ResultPtr last_;
    Job job_;
    std::string failure_;
    bool tablesMissing_ = false;
    bool changed_ = false;
    std::string warning_;
};

} // namespace usr_postgres

#endif
