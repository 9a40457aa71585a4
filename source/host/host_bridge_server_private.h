// What a server needs of its wire bridge beyond host_bridge.h.
#ifndef HOST_HOST_BRIDGE_SERVER_PRIVATE_H
#define HOST_HOST_BRIDGE_SERVER_PRIVATE_H

#include <pb/pb_ref.hh>
#include <pb/pb_string.h>
#include <sipsn/sipsn_message.h>

#include <vector>

namespace host
{

/// As hostBridgeResponseOut; the nonces of the Digest challenges that are left.
std::vector<pb::Ref<pbString>> shapeChallenges( sipsnMessage **response, pbBool proxy, int64_t profile, pbBool stale );

} // namespace host

#endif
