// The scheduled timers of a scheduler.
#include "pb/pb_timer_heap.h"

#include "pb/pb_timer_private.h"

#include <utility>

namespace
{

bool before( const pbTimer *timer, const pbTimer *other )
{
    return std::pair( timer->deadline, timer->order ) < std::pair( other->deadline, other->order );
}

} // namespace

int64_t pb::TimerHeap::next() const
{
    return timers_.empty() ? never : timers_.front()->deadline;
}

void pb::TimerHeap::put( pbTimer *timer, int64_t deadline )
{
    timer->deadline = deadline;
    timer->order = ++puts_;
    if( timer->place == 0 )
    {
        timers_.push_back( timer );
        timer->place = timers_.size();
    }
    rise( timer );
    sink( timer );
}

void pb::TimerHeap::remove( pbTimer *timer )
{
    if( timer->place == 0 )
        return;
    pbTimer *last = timers_.back();
    timers_.pop_back();
    size_t hole = std::exchange( timer->place, 0 );
    if( last == timer )
        return;
    place( last, hole );
    rise( last );
    sink( last );
}

pbTimer *pb::TimerHeap::takeDue( int64_t now )
{
    if( next() > now )
        return nullptr;
    pbTimer *timer = timers_.front();
    remove( timer );
    return timer;
}

// Indices count from 1, so that the children of I are 2 * I and 2 * I + 1.
void pb::TimerHeap::place( pbTimer *timer, size_t index )
{
    timers_[index - 1] = timer;
    timer->place = index;
}

void pb::TimerHeap::rise( pbTimer *timer )
{
    size_t index = timer->place;
    for( ; index > 1 && before( timer, timers_[index / 2 - 1] ); index /= 2 )
        place( timers_[index / 2 - 1], index );
    place( timer, index );
}

void pb::TimerHeap::sink( pbTimer *timer )
{
    size_t index = timer->place;
    while( 2 * index <= timers_.size() )
    {
        size_t child = 2 * index;
        if( child < timers_.size() && before( timers_[child], timers_[child - 1] ) )
            child++;
        if( !before( timers_[child - 1], timer ) )
            break;
        place( timers_[child - 1], index );
        index = child;
    }
    place( timer, index );
}
