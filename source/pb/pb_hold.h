// A monitor held for a block.
#ifndef PB_PB_HOLD_H
#define PB_PB_HOLD_H

#include <pb/pb_monitor.h>

namespace pb
{

/// Enters a monitor, which must outlive the block, and leaves it at the end of the block.
class [[nodiscard]] Hold
{
public:
    explicit Hold( pbMonitor *monitor ) : monitor_( monitor ) { pbMonitorEnter( monitor_ ); }
    ~Hold() { pbMonitorLeave( monitor_ ); }
    Hold( const Hold & ) = delete;
    Hold &operator=( const Hold & ) = delete;

private:
    pbMonitor *monitor_;
};

} // namespace pb

#endif
