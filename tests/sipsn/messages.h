// What the tests of messages share: decoding from C++ text, and what a message says as C++ values.
#ifndef SIPSN_MESSAGES_H
#define SIPSN_MESSAGES_H

#include "support/text.h"

#include <sipsn/sipsn_message.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace messages
{

using pb::own;
using pb::Ref;
using Lines = std::vector<std::string>;

inline Ref<sipsnMessage> decode( std::string_view bytes, sipsnLimits *limits = nullptr )
{
    return own( sipsnMessageTryDecode( support::buffer( bytes ), limits, nullptr ) );
}

/// Why a message is refused; "accepted" when it is not.
inline std::string refusal( std::string_view bytes, sipsnLimits *limits = nullptr )
{
    Ref<pbString> reason;
    auto message = own( sipsnMessageTryDecode( support::buffer( bytes ), limits, reason.inout() ) );
    if( message )
        return reason ? "accepted, with a reason" : "accepted";
    return support::text( reason );
}

inline std::string encode( sipsnMessage *message )
{
    return support::bytes( own( sipsnMessageEncode( message ) ) );
}

inline Lines lines( sipsnMessageHeader *header )
{
    Lines texts;
    for( int64_t index = 0; index < sipsnMessageHeaderLinesLength( header ); index++ )
        texts.push_back( support::textOf( sipsnMessageHeaderLineAt( header, index ) ) );
    return texts;
}

/// The lines of a header of a message; nothing when the message has no such header.
inline std::optional<Lines> headerLines( sipsnMessage *message, const char *name )
{
    auto header = own( sipsnMessageHeaderCstr( message, name, -1 ) );
    if( !header )
        return std::nullopt;
    return lines( header );
}

/// Every header line of a message as "name|value".
inline Lines allLines( sipsnMessage *message )
{
    Lines texts;
    for( int64_t index = 0; index < sipsnMessageLinesLength( message ); index++ )
        texts.push_back( support::textOf( sipsnMessageLineNameAt( message, index ) ) + "|" +
                         support::textOf( sipsnMessageLineValueAt( message, index ) ) );
    return texts;
}

inline std::string body( sipsnMessage *message )
{
    return support::bytes( own( sipsnMessageBody( message ) ) );
}

inline Ref<sipsnMessageHeader> header( const char *name, std::initializer_list<const char *> texts )
{
    auto made = own( sipsnMessageHeaderCreateCstr( name, -1 ) );
    for( const char *text : texts )
        sipsnMessageHeaderAppendLine( made.inout(), support::string( text ) );
    return made;
}

/// A file of the test data.
inline std::string file( const std::filesystem::path &path )
{
    std::ostringstream bytes;
    bytes << std::ifstream( path, std::ios::binary ).rdbuf();
    EXPECT_FALSE( bytes.str().empty() ) << path;
    return bytes.str();
}

inline std::string data( const std::string &name )
{
    return file( std::filesystem::path( SIPAUTH_TEST_DATA ) / "sipsn" / name );
}

/// All messages of the test data, in a fixed order.
inline std::vector<std::string> allData()
{
    std::vector<std::filesystem::path> paths;
    for( const auto &entry : std::filesystem::recursive_directory_iterator( SIPAUTH_TEST_DATA ) )
    {
        if( entry.path().extension() == ".sip" )
            paths.push_back( entry.path() );
    }
    std::sort( paths.begin(), paths.end() );
    std::vector<std::string> texts;
    for( const auto &path : paths )
        texts.push_back( file( path ) );
    return texts;
}

} // namespace messages

#endif
