// A text in the making: UTF-8 bytes in a block on the stack that moves to the heap when it grows. It is what formats
// write to, and what encoders and hash inputs are built with; one allocation for the finished string is all it costs.
#ifndef PB_PB_TEXT_H
#define PB_PB_TEXT_H

#include <pb/pb_ref.hh>
#include <pb/pb_string.h>

#include <cstdarg>
#include <cstring>

namespace pb
{
class Text;
}

PB_BEGIN_DECLS

/// Makes room for COUNT more bytes.
PB_EXPORT void pb___TextGrow( pb::Text *text, int64_t count );
/// Appends a string as UTF-8, whatever it holds.
PB_EXPORT void pb___TextAppendString( pb::Text *text, pbString *string );
/// Appends a code point as UTF-8.
PB_EXPORT void pb___TextAppendChar( pb::Text *text, pbChar ch );
/// Appends formatted text; directives as in pb_string.h.
PB_EXPORT void pb___TextFormatArgList( pb::Text *text, const char *format, int64_t formatLength, va_list args );

PB_END_DECLS

namespace pb
{

/// See the head of the file.
class Text
{
public:
    Text() : bytes_( inlineBytes_ ), length_( 0 ), capacity_( sizeof inlineBytes_ ) {}
    ~Text()
    {
        if( bytes_ != inlineBytes_ )
            pbMemFree( bytes_ );
    }
    Text( const Text & ) = delete;
    Text &operator=( const Text & ) = delete;

    const char *bytes() const { return bytes_; }
    int64_t length() const { return length_; }

    /// Appends bytes that are UTF-8 already.
    void append( const char *bytes, int64_t length )
    {
        std::memcpy( room( length ), bytes, static_cast<size_t>( length ) );
        length_ += length;
    }
    /// Appends a literal.
    template<size_t size>
    void append( const char ( &literal )[size] )
    {
        append( literal, static_cast<int64_t>( size - 1 ) );
    }
    void append( pbString *string )
    {
        if( const char *ascii = pbStringAscii( string ) )
            append( ascii, pbStringLength( string ) );
        else
            pb___TextAppendString( this, string );
    }
    void appendChar( pbChar ch )
    {
        if( ch < 0x80 )
        {
            *room( 1 ) = static_cast<char>( ch );
            length_++;
        }
        else
            pb___TextAppendChar( this, ch );
    }
    /// Appends a format; see pb_string.h for the directives.
    void format( const char *format, ... )
    {
        va_list args;
        va_start( args, format );
        formatArgList( format, args );
        va_end( args );
    }
    void formatArgList( const char *format, va_list args ) { pb___TextFormatArgList( this, format, -1, args ); }

    /// Room for COUNT more bytes; the caller writes them and says so with `wrote`.
    char *room( int64_t count )
    {
        if( count > capacity_ - length_ ) [[unlikely]]
            pb___TextGrow( this, count );
        return bytes_ + length_;
    }
    void wrote( int64_t count ) { length_ += count; }

    /// The finished text as a new string.
    Ref<pbString> toString() const
    {
        return own( pbStringCreateFromUtf8( reinterpret_cast<const uint8_t *>( bytes_ ), length_ ) );
    }

private:
    friend void ::pb___TextGrow( Text *text, int64_t count );

    char *bytes_;
    int64_t length_;
    int64_t capacity_;
    char inlineBytes_[1000];
};

} // namespace pb

#endif
