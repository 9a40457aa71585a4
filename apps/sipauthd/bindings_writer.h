// The thread that writes bindings: everything that waits goes into one transaction, and those who wait are told
// together.
#ifndef SIPAUTHD_BINDINGS_WRITER_H
#define SIPAUTHD_BINDINGS_WRITER_H

#include "sipauthd/bindings_file.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace sipauthd
{

/// A change of an address of record that is to be written.
struct BindingsWrite
{
    std::string addressOfRecord;
    std::vector<RowChange> changes;
    std::vector<StoredBinding> before; ///< what there was, to come back when it cannot be written
    std::function<void( bool ok )> committed;
};

class BindingsWriter
{
public:
    /// Called in the engine's thread with all that could not be written, the oldest first, among it what was pushed
    /// meanwhile: it was built upon the failed changes.
    using Failed = std::function<void( std::vector<BindingsWrite> writes, const std::string &why )>;

    BindingsWriter( std::unique_ptr<BindingsFile> file, engine::Engine &engine, Failed failed );
    /// Writes what is waiting first. Nobody is told of a failure any more.
    ~BindingsWriter();
    BindingsWriter( const BindingsWriter & ) = delete;
    BindingsWriter &operator=( const BindingsWriter & ) = delete;

    /// Whether so much waits that nothing more should.
    bool full() const;
    void push( BindingsWrite write );
    /// Returns when nothing waits, or after a failure.
    void flush();

private:
    void run();
    bool write( const std::vector<BindingsWrite> &batch );
    void postDone( std::vector<BindingsWrite> batch );
    void postFailure( std::vector<BindingsWrite> batch );
    void fail( std::vector<BindingsWrite> batch, const std::string &why );

    std::unique_ptr<BindingsFile> file_;
    engine::Engine &engine_;
    Failed failed_;
    std::shared_ptr<BindingsWriter *> self_; ///< what is posted asks by this whether the writer is still there

    mutable std::mutex mutex_;
    std::condition_variable wake_; ///< the thread
    std::condition_variable done_; ///< flush
    std::vector<BindingsWrite> waiting_;
    bool writing_ = false;
    bool broken_ = false; ///< a failure has not been dealt with in the engine's thread
    bool hurry_ = false;  ///< somebody waits in flush
    bool stop_ = false;
    std::thread thread_;
};

} // namespace sipauthd

#endif
