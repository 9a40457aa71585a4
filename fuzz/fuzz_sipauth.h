// What the fuzz targets of the library share: its start, text drawn from the input, and two ways to hold one text.
#ifndef FUZZ_FUZZ_SIPAUTH_H
#define FUZZ_FUZZ_SIPAUTH_H

#include "fuzz_support.h"

#include <pb/pb_module.h>
#include <pb/pb_std.hh>
#include <sipauth/sipauth_module.h>

#include <string>
#include <string_view>
#include <vector>

namespace fuzz
{

/// Starts the library, for good: what it keeps is alive before the first input is looked at. Stands before the check
/// of live objects.
inline void startLibrary()
{
    [[maybe_unused]] static const bool started = []
    {
        FUZZ_CHECK( pbModuleStart( sipauthModule() ) );
        return true;
    }();
}

/// The bytes as a string of UTF-8.
inline pb::Ref<pbString> utf8( const uint8_t *data, size_t size )
{
    return pb::own( pbStringCreateFromUtf8( data, static_cast<int64_t>( size ) ) );
}

/// Any code points, those that UTF-8 cannot hold among them: an ASCII byte stands for itself, any other one together
/// with the two bytes after it for a larger number.
inline std::vector<pbChar> codePoints( const uint8_t *data, size_t size )
{
    std::vector<pbChar> chs;
    while( size > 0 )
    {
        pbChar ch = takeByte( data, size );
        if( ch >= 0x80 )
        {
            ch = ( ch & 0x1F ) << 16;
            ch |= static_cast<pbChar>( takeByte( data, size ) ) << 8;
            ch |= takeByte( data, size );
            ch %= 0x110000;
        }
        chs.push_back( ch );
    }
    return chs;
}

inline int64_t lengthOf( const std::vector<pbChar> &chs )
{
    return static_cast<int64_t>( chs.size() );
}

/// A Digest header value that says the same and is not all ASCII, so that it is read by code point and not by byte: it
/// has one more parameter, which no reader knows, in front. Null when the value does not begin with "Digest" and a
/// blank.
inline pb::Ref<pbString> wideForm( pbString *value )
{
    constexpr std::string_view scheme = "Digest ";
    std::string text = pb::text( value );
    if( !text.starts_with( scheme ) )
        return nullptr;
    return pb::string( "Digest x=\"\u00E4\"," + text.substr( scheme.size() ) );
}

} // namespace fuzz

#endif
