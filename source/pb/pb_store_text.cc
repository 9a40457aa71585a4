// The text form of a store: its values on one line, as an inline table of TOML v1.0 writes them.
#include "pb/pb_store_private.h"
#include "pb/pb_text.h"

#include <algorithm>

namespace
{

bool isBare( pbChar ch )
{
    return ( ch >= 'a' && ch <= 'z' ) || ( ch >= 'A' && ch <= 'Z' ) || ( ch >= '0' && ch <= '9' ) || ch == '_' ||
           ch == '-';
}

void appendEscaped( pb::Text &text, pbChar ch )
{
    static constexpr char digits[] = "0123456789abcdef";
    static constexpr pbChar controls[] = { '\b', '\t', '\n', '\f', '\r' };
    static constexpr char letters[] = "btnfr";
    static_assert( std::size( controls ) == std::size( letters ) - 1 );
    const pbChar *control = std::find( std::begin( controls ), std::end( controls ), ch );
    if( ch == '"' || ch == '\\' )
    {
        text.appendChar( '\\' );
        text.appendChar( ch );
    }
    else if( control != std::end( controls ) )
    {
        text.appendChar( '\\' );
        text.appendChar( static_cast<pbChar>( letters[control - controls] ) );
    }
    else if( ch < ' ' || ch == 0x7F )
    {
        text.append( "\\u00" );
        text.appendChar( static_cast<pbChar>( digits[ch >> 4] ) );
        text.appendChar( static_cast<pbChar>( digits[ch & 15] ) );
    }
    else
        text.appendChar( ch );
}

void appendQuoted( pb::Text &text, pbString *string )
{
    text.append( "\"" );
    for( int64_t index = 0; index < pbStringLength( string ); index++ )
        appendEscaped( text, pbStringCharAt( string, index ) );
    text.append( "\"" );
}

void appendKey( pb::Text &text, pbString *key )
{
    bool bare = pbStringLength( key ) > 0;
    for( int64_t index = 0; index < pbStringLength( key ); index++ )
        bare = bare && isBare( pbStringCharAt( key, index ) );
    if( bare )
        text.append( key );
    else
        appendQuoted( text, key );
}

void appendStore( pb::Text &text, pbStore *store );

void appendValue( pb::Text &text, const pb___StoreEntry &entry )
{
    switch( entry.type )
    {
    case PB_STORE_TYPE_STRING:
        return appendQuoted( text, pbStringFrom( entry.value ) );
    case PB_STORE_TYPE_INT:
        return text.format( "%i", entry.number );
    case PB_STORE_TYPE_BOOL:
        return entry.number ? text.append( "true" ) : text.append( "false" );
    default:
        return appendStore( text, pbStoreFrom( entry.value ) );
    }
}

void appendStore( pb::Text &text, pbStore *store )
{
    text.append( "{" );
    for( int64_t index = 0; index < store->length; index++ )
    {
        if( index == 0 )
            text.append( " " );
        else
            text.append( ", " );
        appendKey( text, store->entries()[index].key );
        text.append( " = " );
        appendValue( text, store->entries()[index] );
    }
    if( store->length > 0 )
        text.append( " " );
    text.append( "}" );
}

} // namespace

pbString *pb___StoreToStringFunc( pbObj *obj )
{
    pbStore *store = pbStoreFrom( obj );
    PB_ASSERT( store );
    pb::Text text;
    appendStore( text, store );
    return text.toString().give();
}
