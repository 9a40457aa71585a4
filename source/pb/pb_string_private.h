// How a string is laid out: its characters stand behind the header in the same block of memory, as bytes when all of
// them are ASCII and as code points otherwise. A string is in the byte form exactly when it can be, so strings of
// different forms are never equal.
#ifndef PB_PB_STRING_PRIVATE_H
#define PB_PB_STRING_PRIVATE_H

#include "pb/pb_object.h"

#include <pb/pb_string.h>

struct pbString
{
    pb::Object object;
    int64_t length;                ///< in code points
    int64_t capacity;              ///< in characters of the string's form
    std::atomic<pbChar *> widened; ///< of the byte form: the code points, made when first asked for
    bool ascii;                    ///< byte form

    char *bytes() { return reinterpret_cast<char *>( this + 1 ); }
    pbChar *chars() { return reinterpret_cast<pbChar *>( this + 1 ); }
    pbChar at( int64_t index ) { return ascii ? static_cast<unsigned char>( bytes()[index] ) : chars()[index]; }
};

namespace pb
{

/// Whether LENGTH bytes are all ASCII.
bool isAscii( const char *bytes, int64_t length );

/// 'A' to 'Z' folded to lower case, every other code point as it is.
inline pbChar foldAscii( pbChar ch )
{
    return ch - 'A' < 26 ? ch + ( 'a' - 'A' ) : ch;
}

/// The length of C text when LENGTH is -1, else LENGTH.
int64_t cstrLength( const char *text, int64_t length );

} // namespace pb

#endif
