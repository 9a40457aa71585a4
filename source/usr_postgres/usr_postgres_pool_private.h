// The connections that look users up, the thread that serves them all, and the queue that feeds it.
#ifndef USR_POSTGRES_USR_POSTGRES_POOL_PRIVATE_H
#define USR_POSTGRES_USR_POSTGRES_POOL_PRIVATE_H

#include "usr_postgres/usr_postgres_link_private.h"

#include <tr/tr_stream.h>

#include <poll.h>

#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace usr_postgres
{

/// A file descriptor that becomes readable when it is told to.
class Bell
{
public:
    Bell();
    ~Bell();
    Bell( const Bell & ) = delete;
    Bell &operator=( const Bell & ) = delete;

    int file() const { return file_; }
    void ring();
    void quiet();

private:
    int file_;
};

/// How long to wait before the next try to connect: longer after each failure, up to a limit.
class BackOff
{
public:
    /// When the next try is due.
    Clock::time_point next() const { return next_; }
    void failed( Clock::time_point now );
    void succeeded() { delay_ = first; }
    /// A connection that stood is lost: soon again, before there is a failure.
    void lost( Clock::time_point now );

    static constexpr Milliseconds first{ 100 };
    static constexpr Milliseconds last{ 10'000 };

private:
    Milliseconds delay_ = first;
    Clock::time_point next_ = Clock::time_point::min();
};

/// See the head of the file.
class Pool
{
public:
    Pool( const Settings &settings, usr_seal::Keys &keys, trStream *stream );
    ~Pool() { stop(); }
    Pool( const Pool & ) = delete;
    Pool &operator=( const Pool & ) = delete;

    /// Starts the thread; false when the process has no file descriptors left. To be called before anything else.
    bool tryStart();
    /// From now on adds to *CHANGES when users may have changed.
    void watch( std::atomic<int64_t> *changes ) { changes_ = changes; }
    /// Lines a request up; after the stop, or when too many wait, it ends at once.
    void push( usr___Request *request, usr_seal::Question question );
    /// Ends what waits and waits for the thread.
    void stop();

private:
    void run();
    void dropEnded();
    bool takeJob( Job &job );
    bool setUpTables( Clock::time_point now );
    void startLinks( Clock::time_point now );
    void feed();
    void settle( Link &link, bool connected );
    void wait( Clock::time_point now );
    void traceFailure( const std::string &reason );
    void heed( Link &link );

    const Settings &settings_;
    pb::Ref<trStream> stream_;

    std::mutex mutex_;
    std::deque<Job> jobs_;
    bool stopped_ = false;
    std::atomic<std::atomic<int64_t> *> changes_{ nullptr };

    // Of the thread alone.
    std::vector<Link> links_;
    std::vector<pollfd> files_;
    BackOff backOff_;
    bool tablesReady_ = false;
    bool healthy_ = false; ///< the last try to connect succeeded
    std::string tracedFailure_;

    Bell wake_; ///< there is something in the queue
    Bell halt_; ///< the pool is being stopped
    std::thread thread_;
};

} // namespace usr_postgres

#endif
