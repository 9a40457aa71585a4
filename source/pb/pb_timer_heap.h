// The scheduled timers of a scheduler: a binary heap, the next to fire first. Each timer knows its place, so any of
// them is moved or taken out in logarithmic time.
#ifndef PB_PB_TIMER_HEAP_H
#define PB_PB_TIMER_HEAP_H

#include <pb/pb_timer.h>

#include <cstddef>
#include <limits>
#include <vector>

namespace pb
{

/// See the head of the file. Holds no references: a timer takes itself out before it ends.
class TimerHeap
{
public:
    /// The deadline of no timer, after that of every timer.
    static constexpr int64_t never = std::numeric_limits<int64_t>::max();

    /// The nearest deadline, or `never`.
    int64_t next() const;

    /// Puts a timer in, or moves it, so that it is due at DEADLINE, which is less than `never`. Timers of one deadline
    /// come out in the order in which they were put in.
    void put( pbTimer *timer, int64_t deadline );

    /// Takes a timer out; nothing happens when it is not in.
    void remove( pbTimer *timer );

    /// Takes out the next timer that is due at NOW; null when there is none.
    pbTimer *takeDue( int64_t now );

private:
    void place( pbTimer *timer, size_t index );
    void rise( pbTimer *timer );
    void sink( pbTimer *timer );

    std::vector<pbTimer *> timers_;
    int64_t puts_ = 0;
};

} // namespace pb

#endif
