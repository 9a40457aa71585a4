// Secrets in a recorded trace, covered up: what a recorder covers up by the same code, and, since a recording may come
// from anyone's configuration, every value whose key says that it is secret.
#include "trace_secrets.h"

#include "tr/tr_mask.h"

#include <tr/tr_line.h>

#include <algorithm>
#include <vector>

namespace tool
{

namespace
{

constexpr std::string_view mask = "(masked)";

constexpr std::string_view secretWords[] = { "password", "passwd", "secret", "ha1" };

std::string maskedHeaders( const std::string &bytes )
{
    pb::Text result;
    if( !tr::maskHeaders( bytes, result ) )
        return bytes;
    return std::string( result.bytes(), static_cast<size_t>( result.length() ) );
}

std::string maskedText( const std::string &text )
{
    pb::Text result;
    if( !tr::maskText( text, result ) )
        return text;
    return std::string( result.bytes(), static_cast<size_t>( result.length() ) );
}

bool namesSecret( std::string_view key )
{
    std::string lower( key );
    std::transform( lower.begin(), lower.end(), lower.begin(),
                    []( char ch ) { return ch >= 'A' && ch <= 'Z' ? static_cast<char>( ch | 0x20 ) : ch; } );
    return std::any_of( std::begin( secretWords ), std::end( secretWords ),
                        [&]( std::string_view word ) { return lower.find( word ) != std::string::npos; } );
}

// The place after the quoted text that begins at AT; the end when no quote ends it.
size_t quotedEnd( const std::string &text, size_t at )
{
    for( at++; at < text.size() && text[at] != '"'; at++ )
        at += text[at] == '\\';
    return std::min( at + 1, text.size() );
}

// A store's text form, { key = "value", "other key" = 1, inner = { ... } }, without what stands under secret keys.
std::string maskedStore( const std::string &text )
{
    constexpr std::string_view signs = " \t\r\n={},";
    std::string result;
    std::string_view word;
    std::vector<bool> secretTables; // of the tables that are open, whether all in them is secret
    bool secret = false;            // whether the value that follows is
    bool atValue = false;
    for( size_t at = 0; at < text.size(); )
    {
        char sign = text[at];
        if( signs.find( sign ) == std::string_view::npos )
        {
            size_t start = at;
            at = sign == '"' ? quotedEnd( text, at ) : std::min( text.find_first_of( signs, at ), text.size() );
            word = std::string_view( text ).substr( start, at - start );
            result += atValue && secret ? mask : word;
            continue;
        }
        if( sign == '=' )
            secret = namesSecret( word ) || ( !secretTables.empty() && secretTables.back() );
        if( sign == '{' )
            secretTables.push_back( atValue && secret );
        if( sign == '}' && !secretTables.empty() )
            secretTables.pop_back();
        if( sign == '=' || sign == ',' || sign == '{' || sign == '}' )
            atValue = sign == '=';
        result += sign;
        at++;
    }
    return result;
}

} // namespace

void maskSecrets( TraceLine &line )
{
    bool value = line.kind == TR_LINE_KIND_PROPERTY || line.kind == TR_LINE_KIND_CONFIGURATION;
    if( line.text && namesSecret( line.property ) )
        line.text = mask;
    else if( line.text && value && line.text->starts_with( '{' ) )
        line.text = maskedStore( maskedText( *line.text ) );
    else if( line.text )
        line.text = maskedText( *line.text );
    if( line.payload && namesSecret( line.property ) )
        line.payload = mask;
    else if( line.payload )
        line.payload = maskedHeaders( *line.payload );
}

} // namespace tool
