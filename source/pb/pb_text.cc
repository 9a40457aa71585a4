// Texts in the making: growth, characters that are not ASCII, and formats.
#include "pb/pb_text.h"

#include "pb/pb_string_private.h"
#include "pb/pb_utf8.h"

#include <algorithm>
#include <cstdlib>

void pb___TextGrow( pb::Text *text, int64_t count )
{
    PB_ASSERT( text );
    PB_ASSERT( count >= 0 );
    int64_t capacity = std::max( text->length_ + count, text->capacity_ * 2 );
    bool onStack = text->bytes_ == text->inlineBytes_;
    auto grown =
        static_cast<char *>( std::realloc( onStack ? nullptr : text->bytes_, static_cast<size_t>( capacity ) ) );
    PB_ASSERT( grown );
    if( onStack )
        std::memcpy( grown, text->inlineBytes_, static_cast<size_t>( text->length_ ) );
    text->bytes_ = grown;
    text->capacity_ = capacity;
}

void pb___TextAppendChar( pb::Text *text, pbChar ch )
{
    PB_ASSERT( text );
    text->wrote( pb::writeUtf8( ch, text->room( pb::maxUtf8 ) ) );
}

void pb___TextAppendString( pb::Text *text, pbString *string )
{
    PB_ASSERT( text );
    PB_ASSERT( string );
    if( string->ascii )
        text->append( string->bytes(), string->length );
    else
        for( int64_t index = 0; index < string->length; index++ )
            pb___TextAppendChar( text, string->chars()[index] );
}

namespace
{

// The parts of an integer directive: "%08!16i" has width 8, zeros and radix 16.
struct Directive
{
    int64_t width = 0;
    int64_t radix = 10;
    bool zeros = false;
};

int64_t readNumber( const char **at, const char *end )
{
    int64_t number = 0;
    for( ; *at < end && **at >= '0' && **at <= '9'; ++*at )
        number = std::min<int64_t>( number * 10 + ( **at - '0' ), 1000000 );
    return number;
}

Directive readDirective( const char **at, const char *end )
{
    Directive directive;
    directive.zeros = *at < end && **at == '0';
    directive.width = readNumber( at, end );
    if( *at < end && **at == '!' )
    {
        ++*at;
        directive.radix = readNumber( at, end );
    }
    return directive;
}

void appendInt( pb::Text *text, const Directive &directive, int64_t value )
{
    char digits[64];
    int64_t length = 0;
    uint64_t rest = value < 0 ? 0 - static_cast<uint64_t>( value ) : static_cast<uint64_t>( value );
    auto radix = static_cast<uint64_t>( directive.radix );
    do
        digits[length++] = "0123456789abcdefghijklmnopqrstuvwxyz"[rest % radix];
    while( rest /= radix );
    int64_t padding = directive.width - length - ( value < 0 );
    if( !directive.zeros )
        for( ; padding > 0; padding-- )
            text->appendChar( ' ' );
    if( value < 0 )
        text->appendChar( '-' );
    for( ; padding > 0; padding-- )
        text->appendChar( '0' );
    char *end = text->room( length );
    std::reverse_copy( digits, digits + length, end );
    text->wrote( length );
}

void appendObj( pb::Text *text, pbObj *obj )
{
    PB_ASSERT( obj );
    if( obj->object.sort == pbStringSort() )
        text->append( reinterpret_cast<pbString *>( obj ) );
    else
        text->append( pb::own( pbObjToString( obj ) ) );
}

bool follows( const char **at, const char *end, const char *word )
{
    auto length = static_cast<int64_t>( std::strlen( word ) );
    if( end - *at < length || std::memcmp( *at, word, static_cast<size_t>( length ) ) != 0 )
        return false;
    *at += length;
    return true;
}

} // namespace

void pb___TextFormatArgList( pb::Text *text, const char *format, int64_t formatLength, va_list args )
{
    PB_ASSERT( text );
    PB_ASSERT( format );
    const char *at = format;
    const char *end = format + pb::cstrLength( format, formatLength );
    while( at < end )
    {
        auto percent = static_cast<const char *>( std::memchr( at, '%', static_cast<size_t>( end - at ) ) );
        text->append( at, ( percent ? percent : end ) - at );
        if( !percent )
            return;
        at = percent + 1;
        if( follows( &at, end, "s" ) )
            appendObj( text, va_arg( args, pbObj * ) );
        else if( follows( &at, end, "~s" ) )
            appendObj( text, pb::own( va_arg( args, pbObj * ) ) );
        else if( follows( &at, end, "lc" ) )
        {
            auto plain = va_arg( args, const char * );
            text->append( pb::own( pbStringCreateFromCstr( plain, -1 ) ) );
        }
        else if( follows( &at, end, "%" ) )
            text->appendChar( '%' );
        else
        {
            Directive directive = readDirective( &at, end );
            PB_ASSERT( directive.radix >= 2 && directive.radix <= 36 );
            bool integer = follows( &at, end, "i" );
            PB_ASSERT( integer );
            appendInt( text, directive, va_arg( args, int64_t ) );
        }
    }
}

pbString *pbStringCreateFromFormatCstrArgList( const char *format, int64_t formatLength, va_list args )
{
    pb::Text text;
    pb___TextFormatArgList( &text, format, formatLength, args );
    return text.toString().give();
}

pbString *pbStringCreateFromFormatCstr( const char *format, int64_t formatLength, ... )
{
    va_list args;
    va_start( args, formatLength );
    pbString *string = pbStringCreateFromFormatCstrArgList( format, formatLength, args );
    va_end( args );
    return string;
}

void pbStringAppendFormatCstr( pbString **string, const char *format, int64_t formatLength, ... )
{
    PB_ASSERT( string );
    PB_ASSERT( *string );
    va_list args;
    va_start( args, formatLength );
    auto suffix = pb::own( pbStringCreateFromFormatCstrArgList( format, formatLength, args ) );
    va_end( args );
    pbStringAppend( string, suffix );
}
