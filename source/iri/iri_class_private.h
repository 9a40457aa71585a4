// The character classes of RFC 3987 (section 2.2) and of the SIP and TEL forms (RFC 3261, section 25.1; RFC 3966,
// section 3), and the scanner of a run of one class. Templates over the character type, which is char for ASCII text or
// pbChar.
#ifndef IRI_IRI_CLASS_PRIVATE_H
#define IRI_IRI_CLASS_PRIVATE_H

#include <pb/pb_base.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <type_traits>

namespace iri
{

/// A set of classes, one bit each.
using Classes = uint16_t;

// Classes of single characters.
inline constexpr Classes ALPHA = 0x0001;
inline constexpr Classes DIGIT = 0x0002;
inline constexpr Classes HEXDIG = 0x0004;
/// What follows the first character of a scheme.
inline constexpr Classes SCHEME = 0x0008;
/// IPvFuture after its dot.
inline constexpr Classes FUTURE = 0x0010;

// Classes of runs, each of which takes percent-encoded bytes and ucschar, too.
/// ireg-name.
inline constexpr Classes REG_NAME = 0x0020;
/// iuserinfo.
inline constexpr Classes USERINFO = 0x0040;
/// isegment-nz-nc.
inline constexpr Classes SEGMENT_NC = 0x0080;
/// Any number of isegment with "/" between them.
inline constexpr Classes PATH = 0x0100;
/// ifragment; also iquery, which takes iprivate besides.
inline constexpr Classes QUERY = 0x0200;
/// User and password of a SIP form; takes "#", which phones send unescaped in service codes.
inline constexpr Classes SIP_USER = 0x0400;
/// Host name of a SIP form.
inline constexpr Classes SIP_HOST = 0x0800;
/// Parameters of a SIP or TEL form, ";" and "=" included.
inline constexpr Classes SIP_PARAMS = 0x1000;
/// Headers of a SIP form, "&" and "=" included.
inline constexpr Classes SIP_HEADERS = 0x2000;
/// Number of a TEL form (phonedigit-hex and "+"); the only run that takes nothing but its characters.
inline constexpr Classes TEL_NUMBER = 0x4000;

inline constexpr Classes RUNS =
    REG_NAME | USERINFO | SEGMENT_NC | PATH | QUERY | SIP_USER | SIP_HOST | SIP_PARAMS | SIP_HEADERS;

/// The classes of each byte: none for those beyond ASCII, so that a byte needs no comparison.
inline constexpr auto asciiClasses = []
{
    std::array<Classes, 256> table{};
    auto add = [&table]( std::string_view chs, Classes classes )
    {
        for( char ch : chs )
            table[static_cast<unsigned char>( ch )] |= classes;
    };
    add( "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", ALPHA | SCHEME | FUTURE | RUNS ); // unreserved
    add( "0123456789", DIGIT | HEXDIG | SCHEME | FUTURE | RUNS | TEL_NUMBER );                     // unreserved
    add( "-._~", FUTURE | RUNS );                                                                  // unreserved
    add( "!$&'()*+,;=", FUTURE | ( RUNS & ~SIP_HOST ) );                                           // sub-delims
    add( "ABCDEFabcdef", HEXDIG | TEL_NUMBER );
    add( "+-.", SCHEME );
    add( ":", FUTURE | USERINFO | PATH | QUERY | SIP_USER | SIP_PARAMS | SIP_HEADERS );
    add( "@", SEGMENT_NC | PATH | QUERY | SIP_PARAMS | SIP_HEADERS );
    add( "/", PATH | QUERY | SIP_USER | SIP_PARAMS | SIP_HEADERS );
    add( "?", QUERY | SIP_USER | SIP_HEADERS );
    add( "#", SIP_USER );
    add( "[]", SIP_PARAMS | SIP_HEADERS );
    add( "*#-.()+", TEL_NUMBER );
    return table;
}();

/// Whether an ASCII character is of a class; no other character is.
template<class Char>
bool is( Char ch, Classes classes )
{
    auto code = static_cast<std::make_unsigned_t<Char>>( ch );
    return code < asciiClasses.size() && ( asciiClasses[code] & classes ) != 0;
}

/// ucschar.
inline bool isUcsChar( pbChar ch )
{
    if( ch < 0x10000 )
        return ( ch >= 0xA0 && ch <= 0xD7FF ) || ( ch >= 0xF900 && ch <= 0xFDCF ) || ( ch >= 0xFDF0 && ch <= 0xFFEF );
    // Planes 1 to 14 without the two noncharacters at the end of each; of plane 14 only what follows the tags.
    return ch <= 0xEFFFD && ( ch & 0xFFFF ) <= 0xFFFD && ( ch < 0xE0000 || ch >= 0xE1000 );
}

/// iprivate.
inline bool isPrivateChar( pbChar ch )
{
    return ( ch >= 0xE000 && ch <= 0xF8FF ) || ( ch >= 0xF0000 && ch <= 0xFFFFD ) ||
           ( ch >= 0x100000 && ch <= 0x10FFFD );
}

/// Whether a character beyond ASCII may stand in a run; none of one byte may.
template<class Char>
bool isWide( Char ch, bool takesPrivate )
{
    if constexpr( sizeof( Char ) == 1 )
        return false;
    else
        return isUcsChar( ch ) || ( takesPrivate && isPrivateChar( ch ) );
}

/// The place after the longest run of a class that begins at POS: characters of the class, percent-encoded bytes,
/// ucschar and, when asked for, iprivate.
template<class Char>
int64_t skipRun( const Char *chs, int64_t length, int64_t pos, Classes classes, bool takesPrivate = false )
{
    for( ;; )
    {
        while( pos < length && is( chs[pos], classes ) )
            pos++;
        if( pos == length )
            return pos;
        if( chs[pos] == '%' && pos + 2 < length && is( chs[pos + 1], HEXDIG ) && is( chs[pos + 2], HEXDIG ) )
            pos += 3;
        else if( isWide( chs[pos], takesPrivate ) )
            pos++;
        else
            return pos;
    }
}

static_assert( std::ranges::all_of( asciiClasses,
                                    []( Classes classes )
                                    {
                                        return ( classes & ( SIP_HOST | SIP_HEADERS | TEL_NUMBER ) ) == 0 ||
                                               ( classes & ( SIP_USER | SIP_PARAMS ) ) != 0;
                                    } ),
               "users and parameters together take all characters of SIP and TEL forms" );

} // namespace iri

#endif
