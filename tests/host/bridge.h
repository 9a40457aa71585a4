// What the tests of the wire bridge share: messages with given header lines, and the lines of a message.
#ifndef HOST_BRIDGE_H
#define HOST_BRIDGE_H

#include "support/text.h"

#include <sipsn/sipsn_message.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace bridge
{

using Lines = std::vector<std::string>;

/// A message with a start line and header lines besides the usual ones.
inline pb::Ref<sipsnMessage> message( const std::string &startLine, const Lines &lines )
{
    std::string wire = startLine + "\r\nVia: SIP/2.0/UDP 192.0.2.1;branch=z9hG4bK1\r\n";
    for( const std::string &line : lines )
        wire += line + "\r\n";
    wire += "CSeq: 1 REGISTER\r\nContent-Length: 0\r\n\r\n";
    pb::Ref<pbString> reason;
    auto limits = pb::own( sipsnLimitsCreate() );
    sipsnLimitsSetMessageBytes( limits.inout(), 1 << 24 );
    sipsnLimitsSetHeaderLines( limits.inout(), 1 << 20 );
    sipsnLimitsSetHeaderLineBytes( limits.inout(), 1 << 22 );
    auto decoded = pb::own( sipsnMessageTryDecode( support::buffer( wire ), limits, reason.inout() ) );
    EXPECT_TRUE( decoded ) << support::text( reason );
    return decoded;
}

inline pb::Ref<sipsnMessage> request( const Lines &lines )
{
    return message( "REGISTER sip:example.org SIP/2.0", lines );
}

inline pb::Ref<sipsnMessage> response( const Lines &lines, int status = 401 )
{
    return message( "SIP/2.0 " + std::to_string( status ) + " Unauthorized", lines );
}

/// The lines of a header.
inline Lines linesOf( sipsnMessage *message, const char *name )
{
    Lines lines;
    auto header = pb::own( sipsnMessageHeaderCstr( message, name, -1 ) );
    for( int64_t index = 0; header && index < sipsnMessageHeaderLinesLength( header ); index++ )
        lines.push_back( support::textOf( sipsnMessageHeaderLineAt( header, index ) ) );
    return lines;
}

/// The message's bytes.
inline std::string wireOf( sipsnMessage *message )
{
    return support::bytes( pb::own( sipsnMessageEncode( message ) ) );
}

} // namespace bridge

#endif
