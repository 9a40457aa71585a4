// The threads that look users up, and the queue that feeds them.
#ifndef USR_SQLITE_USR_SQLITE_READERS_PRIVATE_H
#define USR_SQLITE_USR_SQLITE_READERS_PRIVATE_H

#include "usr_seal/usr_seal_keys.h"
#include "usr_sqlite/usr_sqlite_connection_private.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace usr_sqlite
{

/// What all threads of a directory share. It lives until the last of them is through with it: a request that ends may
/// free the directory from the very thread that ends it.
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
    explicit Readers( std::shared_ptr<Shared> shared );
    ~Readers() { stop(); }
    Readers( const Readers & ) = delete;
    Readers &operator=( const Readers & ) = delete;

    /// Lines a request up; when too many wait, or after the stop, it ends at once.
    void push( usr___Request *request, usr_seal::Question question );
    /// Ends what waits and waits for the threads. Any thread, one of the readers, too.
    void stop();

private:
    struct Queue;

    static void run( std::shared_ptr<Queue> queue );

    std::shared_ptr<Queue> queue_;
    std::vector<std::thread> threads_;
};

} // namespace usr_sqlite

#endif
