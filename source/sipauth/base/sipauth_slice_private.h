// Scanning strings, and parts of strings that need no object of their own.
#ifndef SIPAUTH_BASE_SIPAUTH_SLICE_PRIVATE_H
#define SIPAUTH_BASE_SIPAUTH_SLICE_PRIVATE_H

#include "sipauth/base/sipauth_scan_private.h"

#include <pb/pb_ref.hh>
#include <pb/pb_string.h>

namespace sipauth
{

/// Calls scan( chs, length ) with the characters of a string: its ASCII bytes when it has nothing else, otherwise its
/// code points.
template<class Scan>
auto scanString( pbString *string, Scan scan )
{
    int64_t length = pbStringLength( string );
    if( const char *ascii = pbStringAscii( string ) )
        return scan( ascii, length );
    return scan( pbStringBacking( string ), length );
}

/// COUNT characters of a string from OFFSET on; the string is borrowed.
struct Slice
{
    pbString *source;
    int64_t offset;
    int64_t count;

    pb::Ref<pbString> toString() const { return pb::own( pbStringCreateFromSlice( source, offset, count ) ); }

    /// A part of the slice.
    Slice part( int64_t from, int64_t length ) const { return { source, offset + from, length }; }

    /// As scanString, over the slice.
    template<class Scan>
    auto scan( Scan scan ) const
    {
        if( const char *ascii = pbStringAscii( source ) )
            return scan( ascii + offset, count );
        return scan( pbStringBacking( source ) + offset, count );
    }
};

/// Reads through the characters of a string from front to back.
template<class Ch>
class Reader
{
public:
    Reader( pbString *source, const Ch *chs, int64_t length ) : source_( source ), chs_( chs ), length_( length ) {}

    const Ch *rest() const { return chs_ + offset_; }
    /// The characters from an offset on.
    const Ch *at( int64_t offset ) const { return chs_ + offset; }
    /// How many characters were passed.
    int64_t offset() const { return offset_; }
    int64_t restLength() const { return length_ - offset_; }
    bool atEnd() const { return offset_ == length_; }

    /// Passes COUNT characters.
    Slice take( int64_t count )
    {
        offset_ += count;
        return { source_, offset_ - count, count };
    }
    /// Passes CH and says whether it was there.
    bool takeChar( Ch ch ) { return take( skipChar( rest(), restLength(), ch ) ).count > 0; }
    void takeLws() { take( skipLws( rest(), restLength() ) ); }
    Slice takeToken() { return take( skipToken( rest(), restLength() ) ); }

private:
    pbString *source_;
    const Ch *chs_;
    int64_t length_;
    int64_t offset_ = 0;
};

} // namespace sipauth

#endif
