// The short ways between C++ text and the runtime's strings and buffers, under the tests' own name.
#ifndef SUPPORT_TEXT_H
#define SUPPORT_TEXT_H

#include <pb/pb_std.hh>

namespace support
{

using pb::buffer;
using pb::bytes;
using pb::string;
using pb::text;
using pb::textOf;

} // namespace support

#endif
