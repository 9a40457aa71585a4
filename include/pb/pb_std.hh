// Short ways between the C++ standard library's text and the runtime's strings and buffers. Header only; needs nothing
// but the C interface.
#ifndef PB_PB_STD_HH
#define PB_PB_STD_HH

#include <pb/pb_buffer.h>
#include <pb/pb_ref.hh>
#include <pb/pb_string.h>

#include <string>
#include <string_view>

namespace pb
{

/// A new string from UTF-8 text.
inline Ref<pbString> string( std::string_view text )
{
    return own( pbStringCreateFromCstr( text.data(), static_cast<int64_t>( text.size() ) ) );
}

/// A string's text as UTF-8; "(null)" for null.
inline std::string text( pbString *string )
{
    if( !string )
        return "(null)";
    int64_t length = 0;
    uint8_t *bytes = pbStringConvertToUtf8( string, &length );
    std::string result( reinterpret_cast<char *>( bytes ), static_cast<size_t>( length ) );
    pbMemFree( bytes );
    return result;
}

/// The same for a string that a function returned: adopts the reference.
inline std::string textOf( pbString *returned )
{
    return text( own( returned ) );
}

/// A new buffer with bytes.
inline Ref<pbBuffer> buffer( std::string_view bytes )
{
    return own( pbBufferCreateFromBytes( bytes.data(), static_cast<int64_t>( bytes.size() ) ) );
}

/// A buffer's bytes; "(null)" for null.
inline std::string bytes( pbBuffer *buffer )
{
    if( !buffer )
        return "(null)";
    return std::string( reinterpret_cast<const char *>( pbBufferBacking( buffer ) ),
                        static_cast<size_t>( pbBufferLength( buffer ) ) );
}

} // namespace pb

#endif
