// What differs between two configurations.
#include "config_changes.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace tool
{

namespace
{

Json valueOf( const Json &object, const std::string &name )
{
    return object.contains( name ) ? object.at( name ) : Json();
}

Json hidden( const Json &value )
{
    return value.is_null() ? value : Json( notShown );
}

void collect( const Json &before, const Json &after, const std::string &prefix, std::vector<Change> &changes );

void collectValue( const Json &before, const Json &after, const std::string &key, std::vector<Change> &changes )
{
    if( before == after )
        return;
    Json none = Json::object();
    if( before.is_object() && after.is_object() )
        collect( before, after, key + ".", changes );
    else if( before.is_null() && after.is_object() && !after.empty() )
        collect( none, after, key + ".", changes );
    else if( after.is_null() && before.is_object() && !before.empty() )
        collect( before, none, key + ".", changes );
    else if( isSecret( key ) )
        changes.push_back( { key, hidden( before ), hidden( after ) } );
    else
        changes.push_back( { key, before, after } );
}

void collect( const Json &before, const Json &after, const std::string &prefix, std::vector<Change> &changes )
{
    for( const auto &[name, value] : after.items() )
        collectValue( valueOf( before, name ), value, prefix + name, changes );
    for( const auto &[name, value] : before.items() )
        if( !after.contains( name ) )
            collectValue( value, Json(), prefix + name, changes );
}

std::string textOf( const Json &value )
{
    return value.is_null() ? "none" : value.dump( -1, ' ', false, Json::error_handler_t::replace );
}

} // namespace

bool isSecret( const std::string &key )
{
    // Of the last part: "password", "passwordBase64".
    return key.find( "assword", key.rfind( '.' ) + 1 ) != std::string::npos;
}

std::vector<Change> changesOf( const Json &before, const Json &after )
{
    std::vector<Change> changes;
    collect( before, after, "", changes );
    return changes;
}

std::string describe( const Change &change )
{
    return fmt::format( "{}: {} -> {}", change.key, textOf( change.before ), textOf( change.after ) );
}

Json toJson( const std::vector<Change> &changes )
{
    Json list = Json::array();
    for( const Change &change : changes )
        list.push_back( { { "key", change.key }, { "before", change.before }, { "after", change.after } } );
    return list;
}

} // namespace tool
