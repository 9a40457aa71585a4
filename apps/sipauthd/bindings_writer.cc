// The thread that writes bindings.
#include "sipauthd/bindings_writer.h"

#include <iterator>
#include <utility>

namespace sipauthd
{
namespace
{

// Two transactions begin at least this far apart: under load they become large instead of many, and nobody waits long.
constexpr std::chrono::milliseconds pause( 10 );
// More changes than this do not wait.
constexpr size_t mostWaiting = 65536;

} // namespace

BindingsWriter::BindingsWriter( std::unique_ptr<BindingsFile> file, engine::Engine &engine, Failed failed )
    : file_( std::move( file ) ), engine_( engine ), failed_( std::move( failed ) ),
      self_( std::make_shared<BindingsWriter *>( this ) ), thread_( [this] { run(); } )
{
}

BindingsWriter::~BindingsWriter()
{
    {
        std::lock_guard lock( mutex_ );
        stop_ = true;
        wake_.notify_all();
    }
    thread_.join();
    *self_ = nullptr;
}

bool BindingsWriter::full() const
{
    std::lock_guard lock( mutex_ );
    return waiting_.size() >= mostWaiting;
}

void BindingsWriter::push( BindingsWrite write )
{
    std::lock_guard lock( mutex_ );
    waiting_.push_back( std::move( write ) );
    if( waiting_.size() == 1 )
        wake_.notify_one();
}

void BindingsWriter::flush()
{
    std::unique_lock lock( mutex_ );
    hurry_ = true;
    wake_.notify_one();
    done_.wait( lock, [this] { return ( waiting_.empty() && !writing_ ) || broken_; } );
    hurry_ = false;
}

void BindingsWriter::run()
{
    auto next = std::chrono::steady_clock::now();
    std::unique_lock lock( mutex_ );
    for( ;; )
    {
        wake_.wait( lock, [this] { return stop_ || ( !waiting_.empty() && !broken_ ); } );
        if( waiting_.empty() || broken_ )
            return;
        wake_.wait_until( lock, next, [this] { return stop_ || hurry_; } );
        std::vector<BindingsWrite> batch = std::exchange( waiting_, {} );
        writing_ = true;
        lock.unlock();
        next = std::chrono::steady_clock::now() + pause;
        bool good = write( batch );
        if( good )
            postDone( std::move( batch ) );
        lock.lock();
        if( !good )
            postFailure( std::move( batch ) );
        writing_ = false;
        done_.notify_all();
    }
}

bool BindingsWriter::write( const std::vector<BindingsWrite> &batch )
{
    if( !file_->begin() )
        return false;
    for( const BindingsWrite &write : batch )
    {
        for( const RowChange &change : write.changes )
        {
            if( !file_->change( write.addressOfRecord, change ) )
                return false;
        }
    }
    return file_->commit();
}

// Callbacks belong to the engine's thread. Whatever is posted is moved there: would anything be left here, this thread
// might be the last to have it, and destroy it.
void BindingsWriter::postDone( std::vector<BindingsWrite> batch )
{
    auto callbacks = std::make_shared<std::vector<std::function<void( bool )>>>();
    for( BindingsWrite &write : batch )
    {
        if( write.committed )
            callbacks->push_back( std::move( write.committed ) );
    }
    if( callbacks->empty() )
        return;
    auto tell = [callbacks = std::move( callbacks )]
    {
        for( const auto &committed : *callbacks )
            committed( true );
    };
    engine_.post( std::move( tell ) );
}

// With the lock: nothing more is written before fail has been called.
void BindingsWriter::postFailure( std::vector<BindingsWrite> batch )
{
    broken_ = true;
    std::string why = file_->failure();
    file_->rollback();
    auto shared = std::make_shared<std::vector<BindingsWrite>>( std::move( batch ) );
    auto tell = [self = self_, shared = std::move( shared ), why]
    {
        if( *self )
            ( *self )->fail( std::move( *shared ), why );
    };
    engine_.post( std::move( tell ) );
}

// In the engine's thread, which alone pushes: nothing can come in between.
void BindingsWriter::fail( std::vector<BindingsWrite> batch, const std::string &why )
{
    {
        std::lock_guard lock( mutex_ );
        std::move( waiting_.begin(), waiting_.end(), std::back_inserter( batch ) );
        waiting_.clear();
        broken_ = false;
        wake_.notify_one();
    }
    failed_( std::move( batch ), why );
}

} // namespace sipauthd
