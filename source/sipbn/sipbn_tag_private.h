// Tags of From and To (RFC 3261 section 19.3).
#ifndef SIPBN_SIPBN_TAG_PRIVATE_H
#define SIPBN_SIPBN_TAG_PRIVATE_H

#include <string_view>

namespace sipbn
{

/// Whether the value of a From or To can be read and has no tag parameter, so that one can be put at its end.
bool lacksTag( std::string_view value );

} // namespace sipbn

#endif
