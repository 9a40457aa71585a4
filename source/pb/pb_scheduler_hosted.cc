// The drive that the host runs: a queue into which any thread puts processes, and the batch that the host's thread has
// taken out of it.
#include "pb/pb_scheduler_private.h"

#include <pb/pb_timestamp.h>

namespace
{

class Hosted final : public pb::Drive
{
public:
    Hosted( void ( *wake )( void *context ), void *context ) : Drive( Kind::hosted ), wake_( wake ), context_( context )
    {
    }

    int64_t run( int64_t max );
    int64_t nextDeadline();

    void stop() override;
    void close() override;

private:
    void push( pbProcess *process ) override;
    void deadlineCameNearer() override;

    void begin();
    bool refill();
    void finish();
    void wakeHost();

    void ( *const wake_ )( void *context );
    void *const context_;

    pb::ReadyQueue arrived_;
    bool running_ = false;                ///< the host looks once more before it leaves pbSchedulerRun
    bool woken_ = false;                  ///< the host was woken and has not looked since
    int64_t seen_ = pb::TimerHeap::never; ///< the next deadline when the host last looked

    pb::ReadyQueue batch_; ///< used only by the thread of the host
};

void Hosted::push( pbProcess *process )
{
    arrived_.append( process );
    wakeHost();
}

void Hosted::deadlineCameNearer()
{
    if( timers_.next() < seen_ )
        wakeHost();
}

// With the lock held, so that no call is under way any more once the scheduler has been stopped.
void Hosted::wakeHost()
{
    if( running_ || woken_ )
        return;
    woken_ = true;
    if( wake_ )
        wake_( context_ );
}

void Hosted::begin()
{
    std::lock_guard lock( mutex_ );
    PB_ASSERT( !running_ );
    running_ = true;
    woken_ = false;
    if( !ended_ && timers_.next() != pb::TimerHeap::never )
        fireTimers( pbTimestamp() );
    seen_ = timers_.next();
    batch_.append( arrived_ );
}

// Whether there is something to run.
bool Hosted::refill()
{
    if( !batch_.empty() )
        return true;
    std::lock_guard lock( mutex_ );
    batch_.append( arrived_ );
    return !batch_.empty();
}

void Hosted::finish()
{
    std::lock_guard lock( mutex_ );
    running_ = false;
    bool more = !batch_.empty() || !arrived_.empty() || timers_.next() < seen_;
    if( more && !ended_ )
        wakeHost();
}

int64_t Hosted::run( int64_t max )
{
    begin();
    int64_t count = 0;
    while( count < max && refill() )
        count += pb::runProcess( batch_.take() ) ? 1 : 0;
    finish();
    return count;
}

int64_t Hosted::nextDeadline()
{
    std::lock_guard lock( mutex_ );
    woken_ = false;
    seen_ = timers_.next();
    if( ended_ )
        return -1;
    if( !batch_.empty() || !arrived_.empty() )
        return pbTimestamp();
    return seen_ == pb::TimerHeap::never ? -1 : seen_;
}

void Hosted::stop()
{
    {
        std::lock_guard lock( mutex_ );
        PB_ASSERT( !running_ );
        running_ = true;
    }
    bool ended = false;
    while( !ended )
    {
        while( pbProcess *process = batch_.take() )
            pb::runProcess( process );
        std::lock_guard lock( mutex_ );
        batch_.append( arrived_ );
        ended = ended_ = batch_.empty();
        running_ = !ended;
    }
}

void Hosted::close()
{
    {
        std::lock_guard lock( mutex_ );
        PB_ASSERT( !running_ );
        ended_ = true;
        batch_.append( arrived_ );
    }
    batch_.drop();
}

Hosted *hostedDrive( pbScheduler *scheduler )
{
    pb::Drive *drive = pb::driveOf( scheduler );
    bool hosted = drive->kind() == pb::Drive::Kind::hosted;
    PB_ASSERT( hosted );
    return static_cast<Hosted *>( drive );
}

} // namespace

pbScheduler *pbSchedulerCreateHosted( void ( *wake )( void *context ), void *context )
{
    return pb::createScheduler( new Hosted( wake, context ) );
}

int64_t pbSchedulerRun( pbScheduler *scheduler, int64_t max )
{
    PB_ASSERT( scheduler );
    PB_ASSERT( max >= 1 );
    return hostedDrive( scheduler )->run( max );
}

int64_t pbSchedulerNextDeadline( pbScheduler *scheduler )
{
    PB_ASSERT( scheduler );
    return hostedDrive( scheduler )->nextDeadline();
}
