// Looks for the tag of a From or To:
//
//   ( name-addr / addr-spec ) *( SEMI ( tag-param / generic-param ) )     (RFC 3261 section 25.1)
//
// What stands in the quotes of a display name or within "<" and ">" is no parameter of the header. An address without
// "<" and ">" ends at the first ";", so that all parameters belong to the header (section 20.10).
#include "sipbn/sipbn_tag_private.h"

#include <cstddef>

namespace
{

constexpr size_t unreadable = std::string_view::npos;

constexpr std::string_view white = " \t\r\n";

constexpr std::string_view tokenChars = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-.!%*_+`'~";

// The place from AT on that is not white space, or the end.
size_t skipWhite( std::string_view value, size_t at )
{
    size_t found = value.find_first_not_of( white, at );
    return found == std::string_view::npos ? value.size() : found;
}

// The place after the quoted string that begins at AT.
size_t skipQuoted( std::string_view value, size_t at )
{
    for( at++; at < value.size(); at++ )
    {
        if( value[at] == '"' )
            return at + 1;
        if( value[at] == '\\' )
            at++;
    }
    return unreadable;
}

// The place after the address, where the parameters begin.
size_t skipAddress( std::string_view value )
{
    if( value.empty() || value[0] == ';' )
        return unreadable;
    size_t at = value.find_first_of( "\"<;" );
    bool quoted = at != std::string_view::npos && value[at] == '"';
    if( quoted )
    {
        at = skipQuoted( value, at );
        if( at == unreadable )
            return unreadable;
        at = value.find_first_of( "\"<;", at );
    }
    if( at != std::string_view::npos && value[at] == '<' )
    {
        at = value.find( '>', at );
        return at == std::string_view::npos ? unreadable : at + 1;
    }
    // Only a display name has quotes, and only an address in "<" and ">" has a display name.
    if( quoted )
        return unreadable;
    return at == std::string_view::npos ? value.size() : at;
}

bool isTag( std::string_view name )
{
    auto is = []( char ch, char lower ) { return ( ch | 0x20 ) == lower; };
    return name.size() == 3 && is( name[0], 't' ) && is( name[1], 'a' ) && is( name[2], 'g' );
}

// The place after the value of a parameter, whose "=" stands before AT, and the white space around it.
size_t skipParameterValue( std::string_view value, size_t at )
{
    at = skipWhite( value, at );
    if( at == value.size() )
        return unreadable;
    size_t end = 0;
    if( value[at] == '"' )
        end = skipQuoted( value, at );
    else
        end = value.find_first_of( "; \t\r\n\"", at );
    if( end == at )
        return unreadable;
    if( end == std::string_view::npos )
        return value[at] == '"' ? unreadable : value.size();
    return skipWhite( value, end );
}

} // namespace

bool sipbn::lacksTag( std::string_view value )
{
    size_t at = skipAddress( value );
    if( at == unreadable )
        return false;
    at = skipWhite( value, at );
    while( at < value.size() )
    {
        if( value[at] != ';' )
            return false;
        at = skipWhite( value, at + 1 );
        size_t end = value.find_first_not_of( tokenChars, at );
        if( end == std::string_view::npos )
            end = value.size();
        std::string_view name = value.substr( at, end - at );
        if( name.empty() || isTag( name ) )
            return false;
        at = skipWhite( value, end );
        if( at < value.size() && value[at] == '=' )
            at = skipParameterValue( value, at + 1 );
        if( at == unreadable )
            return false;
    }
    return true;
}
