// TOML text, parsed and quoted by toml++. It is used as headers alone and without exceptions, so nothing of it is left
// to be found at run time.
#include "cs_toml/cs_toml_text_private.h"

#include <pb/pb_std.hh>

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
// Its parser asserts some of what it goes on to check and to report, as the key in "[[[": a file must never end a
// process.
#define TOML_ASSERT( expr ) static_assert( true )
#include <toml++/toml.h>

#include <algorithm>
#include <sstream>

namespace cs_toml
{

namespace
{

Place placeOf( const toml::source_position &position )
{
    return { static_cast<int64_t>( position.line ), static_cast<int64_t>( position.column ) };
}

class Reader
{
public:
    explicit Reader( Text &result ) : result_( result ) {}

    pb::Ref<pbStore> read( const toml::table &table, const Path &path )
    {
        auto store = pb::own( pbStoreCreate() );
        for( const Entry &entry : ordered( table ) )
        {
            Path below = path;
            below.emplace_back( entry.first->str() );
            const toml::source_region &region = entry.second->source();
            result_.items.push_back(
                { below, placeOf( entry.first->source().begin ), placeOf( region.begin ), placeOf( region.end ) } );
            set( store, below, *entry.second );
        }
        return store;
    }

private:
    using Entry = std::pair<const toml::key *, const toml::node *>;

    // The parser hands keys out in alphabetical order; configurations mean the order of their text.
    static std::vector<Entry> ordered( const toml::table &table )
    {
        std::vector<Entry> entries;
        for( auto item = table.cbegin(); item != table.cend(); ++item )
            entries.emplace_back( &item->first, &item->second );
        std::stable_sort( entries.begin(), entries.end(),
                          []( const Entry &a, const Entry &b )
                          {
                              const toml::source_position &left = a.first->source().begin;
                              const toml::source_position &right = b.first->source().begin;
                              return left < right;
                          } );
        return entries;
    }

    void set( pb::Ref<pbStore> &store, const Path &path, const toml::node &node )
    {
        auto name = pb::string( path.back() );
        if( const auto *text = node.as_string() )
            pbStoreSetValue( store.inout(), name, pb::string( text->get() ) );
        else if( const auto *integer = node.as_integer() )
            pbStoreSetValueInt( store.inout(), name, integer->get() );
        else if( const auto *boolean = node.as_boolean() )
            pbStoreSetValueBool( store.inout(), name, boolean->get() );
        else if( const auto *table = node.as_table() )
            pbStoreSetStore( store.inout(), name, read( *table, path ) );
        else
            result_.findings.push_back( { placeOf( node.source().begin ),
                                          "'" + joined( path ) + "' is neither text, integer, boolean nor table" } );
    }

    Text &result_;
};

bool isBare( char ch )
{
    return ( ch >= 'a' && ch <= 'z' ) || ( ch >= 'A' && ch <= 'Z' ) || ( ch >= '0' && ch <= '9' ) || ch == '_' ||
           ch == '-';
}

// What may not stand between single quotes.
bool needsEscape( char ch )
{
    return static_cast<uint8_t>( ch ) < ' ' || ch == 0x7F || ch == '\'';
}

std::string escaped( char ch )
{
    static constexpr char digits[] = "0123456789ABCDEF";
    return std::string( "\\u00" ) + digits[static_cast<uint8_t>( ch ) >> 4] + digits[ch & 15];
}

} // namespace

Text parse( std::string_view text )
{
    Text result;
    toml::parse_result parsed = toml::parse( text );
    if( parsed )
        result.store = Reader( result ).read( parsed.table(), {} );
    else
        result.findings.push_back(
            { placeOf( parsed.error().source().begin ), std::string( parsed.error().description() ) } );
    return result;
}

const Item *find( const Text &text, const Path &path )
{
    auto found =
        std::find_if( text.items.begin(), text.items.end(), [&]( const Item &item ) { return item.path == path; } );
    return found == text.items.end() ? nullptr : &*found;
}

std::string joined( const Path &path )
{
    std::string text;
    for( const std::string &name : path )
        text += ( text.empty() ? "" : "." ) + name;
    return text;
}

std::string quoted( const std::string &text )
{
    std::ostringstream out;
    out << toml::value<std::string>( text );
    return out.str();
}

std::string key( const std::string &name )
{
    if( !name.empty() && std::all_of( name.begin(), name.end(), isBare ) )
        return name;
    // A key stays on its line, unlike a value with line ends, so the library's way to write values will not do.
    if( std::none_of( name.begin(), name.end(), needsEscape ) )
        return "'" + name + "'";
    std::string text = "\"";
    for( char ch : name )
        text += needsEscape( ch ) || ch == '"' || ch == '\\' ? escaped( ch ) : std::string( 1, ch );
    return text + "\"";
}

} // namespace cs_toml
