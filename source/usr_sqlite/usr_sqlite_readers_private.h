// The threads that look users up, and the queue that feeds them.
#ifndef USR_SQLITE_USR_SQLITE_READERS_PRIVATE_H
#define USR_SQLITE_USR_SQLITE_READERS_PRIVATE_H

#include "usr_seal/usr_seal_keys.h"
#include "usr_sqlite/usr_sqlite_connection_private.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace usr_sqlite
{

/// What the threads of a directory share.
struct Shared
{
    explicit Shared( Settings given ) : settings( std::move( given ) ), keys( settings.keyFile ) {}

    const Settings settings;
    usr_seal::Keys keys;
    std::atomic<bool> stop{ false };
};

/// See the head of the file.
class Readers
{
public:
    explicit Readers( Shared &shared ) : shared_( shared ) {}
    ~Readers() { stop(); }
    Readers( const Readers & ) = delete;
    Readers &operator=( const Readers & ) = delete;

    /// Starts the threads.
    void start();
    /// Lines a request up; when too many wait, or after the stop, it ends at once.
    void push( usr___Request *request, usr_seal::Question question );
    /// Ends what waits and waits for the threads. Not to be called by one of them.
    void stop();

private:
    struct Job
    {
        usr_seal::Request request;
        usr_seal::Question question;
        std::vector<usr_seal::Row> rows; ///< what was found
        std::string failure;             ///< why nothing could be; empty without a failure
    };

    void run();
    std::vector<Job> take();
    void look( Connection &connection, std::vector<Job> &round );
    void look( Connection &connection, Job &job );
    void answer( const Job &job );

    Shared &shared_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Job> jobs_;
    int64_t resting_ = 0; ///< threads between two rounds
    std::vector<std::thread> threads_;
};

} // namespace usr_sqlite

#endif
