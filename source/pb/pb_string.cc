// Strings: creation, access, comparison and appending. Formats are in pb_text.cc, numbers in pb_string_scan.cc.
#include "pb/pb_string_private.h"

#include "pb/pb_obj_private.h"
#include "pb/pb_private.h"
#include "pb/pb_text.h"
#include "pb/pb_type.h"
#include "pb/pb_utf8.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cstdlib>

static int64_t pb___StringCompFunc( pbObj *thisObj, pbObj *thatObj );
static pbString *pb___StringToStringFunc( pbObj *obj );

PB_TYPE_WITH_TEXT( pbString, PB_STRING, pb, pb___StringFreeFunc, pb___StringCompFunc, pb___StringToStringFunc );

static constinit pbString emptyString = { { &pb___sort_PB_STRING, pb::staticReferences }, 0, 0, nullptr, true };

static void pb___StringFreeFunc( pbObj *obj )
{
    auto string = reinterpret_cast<pbString *>( obj );
    if( pbChar *widened = string->widened.load( std::memory_order_relaxed ) )
        std::free( widened );
    string->length = -1;
}

namespace
{

pb::Ref<pbString> allocate( bool ascii, int64_t capacity )
{
    auto unit = static_cast<int64_t>( ascii ? sizeof( char ) : sizeof( pbChar ) );
    auto header = static_cast<int64_t>( sizeof( pbString ) );
    pbObj *obj = pb::createObject( header + capacity * unit, header, &pb___sort_PB_STRING );
    auto string = pb::own( reinterpret_cast<pbString *>( obj ) );
    string->capacity = capacity;
    string->ascii = ascii;
    return string;
}

pb::Ref<pbString> createAscii( const char *bytes, int64_t length )
{
    auto string = allocate( true, length );
    std::memcpy( string->bytes(), bytes, static_cast<size_t>( length ) );
    string->length = length;
    return string;
}

// CHS holds at least one code point that is not ASCII.
pb::Ref<pbString> createWide( const pbChar *chs, int64_t length )
{
    auto string = allocate( false, length );
    std::copy( chs, chs + length, string->chars() );
    string->length = length;
    return string;
}

pb::Ref<pbString> createFromUtf8( const uint8_t *bytes, int64_t length )
{
    auto string = allocate( false, length );
    for( int64_t offset = 0, read = 0; offset < length; offset += read )
        string->chars()[string->length++] = pb::readUtf8( bytes + offset, length - offset, &read );
    return string;
}

// A copy of the string in the wide form, with room for CAPACITY code points.
pb::Ref<pbString> widen( pbString *source, int64_t capacity )
{
    auto copy = allocate( false, capacity );
    for( ; copy->length < source->length; copy->length++ )
        copy->chars()[copy->length] = source->at( copy->length );
    return copy;
}

void forgetWidened( pbString *string )
{
    std::free( string->widened.exchange( nullptr, std::memory_order_relaxed ) );
}

// Makes the string private, in the byte form if it is so and the suffix is, with room for LENGTH more characters.
pbString *mutate( pbString **string, int64_t length, bool asciiSuffix )
{
    pbString *old = *string;
    bool ascii = old->ascii && asciiSuffix;
    int64_t needed = old->length + length;
    if( !pb::shared( old ) && old->ascii == ascii && needed <= old->capacity )
    {
        forgetWidened( old );
        return old;
    }
    int64_t capacity = std::max( needed, old->length * 2 );
    pb::Ref<pbString> grown;
    if( ascii )
    {
        grown = allocate( true, capacity );
        std::memcpy( grown->bytes(), old->bytes(), static_cast<size_t>( old->length ) );
        grown->length = old->length;
    }
    else
        grown = widen( old, capacity );
    *string = grown.give();
    pb::release( old->object );
    return *string;
}

void append( pbString **string, pbString *suffix, int64_t offset = 0 )
{
    // The suffix may be the string itself, which the change may move or free.
    pb::Ref<pbString> kept = pb::share( suffix );
    int64_t length = suffix->length - offset;
    if( length == 0 )
        return;
    pbString *changed = mutate( string, length, suffix->ascii );
    if( changed->ascii )
        std::memcpy( changed->bytes() + changed->length, suffix->bytes() + offset, static_cast<size_t>( length ) );
    else
        for( int64_t index = 0; index < length; index++ )
            changed->chars()[changed->length + index] = suffix->at( offset + index );
    changed->length += length;
}

int64_t compare( pbString *thisString, pbString *thatString )
{
    int64_t common = std::min( thisString->length, thatString->length );
    if( thisString->ascii && thatString->ascii )
    {
        if( int order = std::memcmp( thisString->bytes(), thatString->bytes(), static_cast<size_t>( common ) ) )
            return order < 0 ? -1 : 1;
    }
    else
    {
        for( int64_t index = 0; index < common; index++ )
            if( thisString->at( index ) != thatString->at( index ) )
                return thisString->at( index ) < thatString->at( index ) ? -1 : 1;
    }
    return thisString->length == thatString->length ? 0 : thisString->length < thatString->length ? -1 : 1;
}

} // namespace

static int64_t pb___StringCompFunc( pbObj *thisObj, pbObj *thatObj )
{
    pbString *thisString = pbStringFrom( thisObj );
    PB_ASSERT( thisString );
    pbString *thatString = pbStringFrom( thatObj );
    PB_ASSERT( thatString );
    return compare( thisString, thatString );
}

static pbString *pb___StringToStringFunc( pbObj *obj )
{
    return pbStringRetain( pbStringFrom( obj ) );
}

bool pb::isAscii( const char *bytes, int64_t length )
{
    unsigned char all = 0;
    for( int64_t index = 0; index < length; index++ )
        all |= static_cast<unsigned char>( bytes[index] );
    return all < 0x80;
}

int64_t pb::cstrLength( const char *text, int64_t length )
{
    PB_ASSERT( text || length == 0 );
    PB_ASSERT( length >= -1 );
    return length >= 0 ? length : static_cast<int64_t>( std::strlen( text ) );
}

pbString *pbStringCreate()
{
    return &emptyString;
}

pbString *pbStringCreateFromCstr( const char *text, int64_t length )
{
    return pbStringCreateFromUtf8( reinterpret_cast<const uint8_t *>( text ), pb::cstrLength( text, length ) );
}

pbString *pbStringCreateFromUtf8( const uint8_t *bytes, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( bytes || length == 0 );
    if( length == 0 )
        return pbStringCreate();
    auto text = reinterpret_cast<const char *>( bytes );
    return ( pb::isAscii( text, length ) ? createAscii( text, length ) : createFromUtf8( bytes, length ) ).give();
}

pbString *pbStringCreateFromChars( const pbChar *chs, int64_t length )
{
    PB_ASSERT( length >= 0 );
    PB_ASSERT( chs || length == 0 );
    pbChar all = 0;
    for( int64_t index = 0; index < length; index++ )
    {
        PB_ASSERT( PB_CHAR_OK( chs[index] ) );
        all |= chs[index];
    }
    if( length == 0 )
        return pbStringCreate();
    if( all >= 0x80 )
        return createWide( chs, length ).give();
    auto string = allocate( true, length );
    std::copy( chs, chs + length, string->bytes() );
    string->length = length;
    return string.give();
}

pbString *pbStringCreateFromSlice( pbString *source, int64_t offset, int64_t count )
{
    PB_ASSERT( source );
    PB_ASSERT( offset >= 0 && count >= 0 && offset <= source->length - count );
    if( count == 0 )
        return pbStringCreate();
    if( source->ascii )
        return createAscii( source->bytes() + offset, count ).give();
    return pbStringCreateFromChars( source->chars() + offset, count );
}

int64_t pbStringLength( pbString *string )
{
    PB_ASSERT( string );
    return string->length;
}

const pbChar *pbStringBacking( pbString *string )
{
    PB_ASSERT( string );
    if( !string->ascii )
        return string->chars();
    pbChar *widened = string->widened.load( std::memory_order_acquire );
    if( widened )
        return widened;
    static constexpr pbChar none = 0;
    if( string->length == 0 )
        return &none;
    widened = static_cast<pbChar *>( std::malloc( static_cast<size_t>( string->length ) * sizeof( pbChar ) ) );
    PB_ASSERT( widened );
    auto bytes = reinterpret_cast<const unsigned char *>( string->bytes() );
    std::copy( bytes, bytes + string->length, widened );
    pbChar *other = nullptr;
    if( string->widened.compare_exchange_strong( other, widened, std::memory_order_acq_rel ) )
        return widened;
    std::free( widened );
    return other;
}

const char *pbStringAscii( pbString *string )
{
    PB_ASSERT( string );
    return string->ascii ? string->bytes() : nullptr;
}

pbChar pbStringCharAt( pbString *string, int64_t index )
{
    PB_ASSERT( string );
    PB_ASSERT( index >= 0 && index < string->length );
    return string->at( index );
}

uint8_t *pbStringConvertToUtf8( pbString *string, int64_t *length )
{
    PB_ASSERT( string );
    PB_ASSERT( length );
    int64_t capacity = ( string->ascii ? string->length : string->length * pb::maxUtf8 ) + 1;
    auto bytes = static_cast<char *>( std::malloc( static_cast<size_t>( capacity ) ) );
    PB_ASSERT( bytes );
    *length = 0;
    for( int64_t index = 0; index < string->length; index++ )
        *length += pb::writeUtf8( string->at( index ), bytes + *length );
    bytes[*length] = 0;
    return reinterpret_cast<uint8_t *>( bytes );
}

void pbMemFree( void *block )
{
    std::free( block );
}

pbBool pbStringEqualsCstr( pbString *string, const char *text, int64_t length )
{
    PB_ASSERT( string );
    int64_t textLength = pb::cstrLength( text, length );
    if( !string->ascii )
        return compare( string, pb::own( pbStringCreateFromCstr( text, textLength ) ) ) == 0;
    return string->length == textLength && std::memcmp( string->bytes(), text, static_cast<size_t>( textLength ) ) == 0;
}

pbBool pbStringEqualsCaseFold( pbString *stringA, pbString *stringB )
{
    PB_ASSERT( stringA );
    PB_ASSERT( stringB );
    if( stringA->length != stringB->length )
        return 0;
    for( int64_t index = 0; index < stringA->length; index++ )
        if( pb::foldAscii( stringA->at( index ) ) != pb::foldAscii( stringB->at( index ) ) )
            return 0;
    return 1;
}

pbBool pbStringEqualsCaseFoldCstr( pbString *string, const char *text, int64_t length )
{
    PB_ASSERT( string );
    int64_t textLength = pb::cstrLength( text, length );
    if( !string->ascii )
        return pbStringEqualsCaseFold( string, pb::own( pbStringCreateFromCstr( text, textLength ) ) );
    if( string->length != textLength )
        return 0;
    for( int64_t index = 0; index < textLength; index++ )
        if( pb::foldAscii( string->at( index ) ) != pb::foldAscii( static_cast<unsigned char>( text[index] ) ) )
            return 0;
    return 1;
}

pbBool pbStringEqualsConstantTime( pbString *stringA, pbString *stringB )
{
    PB_ASSERT( stringA );
    PB_ASSERT( stringB );
    if( stringA->length != stringB->length )
        return 0;
    // Of two forms one has a character that is not ASCII, and the other none.
    if( stringA->ascii != stringB->ascii )
        return 0;
    auto unit = stringA->ascii ? sizeof( char ) : sizeof( pbChar );
    return CRYPTO_memcmp( stringA->bytes(), stringB->bytes(), static_cast<size_t>( stringA->length ) * unit ) == 0;
}

void pbStringAppend( pbString **string, pbString *suffix )
{
    PB_ASSERT( string );
    PB_ASSERT( *string );
    PB_ASSERT( suffix );
    append( string, suffix );
}

void pbStringAppendChar( pbString **string, pbChar ch )
{
    PB_ASSERT( string );
    PB_ASSERT( *string );
    PB_ASSERT( PB_CHAR_OK( ch ) );
    pbString *changed = mutate( string, 1, ch < 0x80 );
    if( changed->ascii )
        changed->bytes()[changed->length++] = static_cast<char>( ch );
    else
        changed->chars()[changed->length++] = ch;
}

void pbStringAppendCstr( pbString **string, const char *text, int64_t length )
{
    PB_ASSERT( string );
    PB_ASSERT( *string );
    append( string, pb::own( pbStringCreateFromCstr( text, length ) ) );
}

void pbStringDelimitedAppendCstrDelimiter( pbString **string, pbString *item, const char *delimiter,
                                           int64_t delimiterLength )
{
    PB_ASSERT( string );
    PB_ASSERT( *string );
    PB_ASSERT( item );
    // The item may be the string itself.
    pb::Ref<pbString> kept = pb::share( item );
    if( ( *string )->length > 0 )
        pbStringAppendCstr( string, delimiter, delimiterLength );
    append( string, kept );
}

void pbStringDelimitedAppendCharDelimiter( pbString **string, pbString *item, pbChar delimiter )
{
    PB_ASSERT( string );
    PB_ASSERT( *string );
    PB_ASSERT( item );
    pb::Ref<pbString> kept = pb::share( item );
    if( ( *string )->length > 0 )
        pbStringAppendChar( string, delimiter );
    append( string, kept );
}
