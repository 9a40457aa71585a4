// From which address of ours packets to some other one leave.
#include "engine/engine_local.h"

#include "engine/engine_convert.h"

#include <unistd.h>

namespace engine
{

namespace
{

constexpr int64_t keptMilliseconds = 30000;
constexpr size_t keptAtMost = 1024;

Address lookUp( Address remote )
{
    if( remote.port == 0 )
        remote.port = 9;
    const struct sa target = socketAddressOf( remote );
    Address none;
    if( remote.isIpv4() )
        none = *Address::parse( "0.0.0.0" );
    const int descriptor = socket( sa_af( &target ), SOCK_DGRAM | SOCK_CLOEXEC, 0 );
    if( descriptor < 0 )
        return none;
    struct sa local;
    local.len = sizeof local.u;
    // Connecting a datagram socket sends nothing; it only binds it.
    const bool found =
        connect( descriptor, &target.u.sa, target.len ) == 0 && getsockname( descriptor, &local.u.sa, &local.len ) == 0;
    close( descriptor );
    if( !found )
        return none;
    Address address = addressOf( local );
    address.port = 0;
    return address;
}

} // namespace

Address LocalAddresses::towards( const Address &remote, int64_t now )
{
    const auto found = known_.find( remote.bytes );
    if( found != known_.end() && found->second.until > now )
        return found->second.local;
    if( known_.size() >= keptAtMost )
        known_.clear();
    const Address local = lookUp( remote );
    known_[remote.bytes] = { local, now + keptMilliseconds };
    return local;
}

} // namespace engine
