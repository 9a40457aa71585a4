// What the module does with headers beyond their public interface.
#ifndef SIPSN_SIPSN_MESSAGE_HEADER_PRIVATE_H
#define SIPSN_SIPSN_MESSAGE_HEADER_PRIVATE_H

#include <pb/pb_ref.hh>
#include <pb/pb_vector.h>
#include <sipsn/sipsn_message_header.h>

namespace sipsn
{

/// A header of a name with lines that a message held: strings without CR, LF and NUL.
pb::Ref<sipsnMessageHeader> createHeader( pb::Ref<pbString> name, pb::Ref<pbVector> lines );

} // namespace sipsn

#endif
