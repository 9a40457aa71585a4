// sipauth settings: the effective options of a file, and what is wrong in it.
#include "commands.h"
#include "options_file.h"

#include <nlohmann/json.hpp>
#include <sipauth/sipauth_defaults.h>

#include <memory>

namespace tool
{

namespace
{

struct Arguments
{
    std::string file;
    bool json = false;
};

OptionsFile read( const std::string &path )
{
    if( path.empty() )
        return { pb::own( sipauthOptionsCreate() ), {} };
    return readOptionsFile( path );
}

// Prints a store form of the options; the answer is yes when nothing is wrong in the file.
Exit show( const Arguments &arguments, bool full )
{
    OptionsFile file = read( arguments.file );
    auto store = pb::own( sipauthOptionsStore( file.options, full ) );
    auto explicitStore = pb::own( sipauthOptionsStore( file.options, 0 ) );
    std::string preset = pb::textOf( sipauthDefaultsToString( sipauthOptionsDefaults( file.options ) ) );
    auto origin = [&]( const std::string &key ) -> std::string
    {
        if( !full || key == "defaults" || key.find( '.' ) != std::string::npos )
            return "";
        bool set = pbStoreValueTypeCstr( explicitStore, key.c_str(), -1 ) != PB_STORE_TYPE_INVALID;
        return set ? "explicit" : "default of " + preset;
    };
    for( const Finding &finding : file.findings )
        note( describe( finding ) );
    if( arguments.json )
        printJson( { { "options", toJson( store ) },
                     { "explicit", toJson( explicitStore ) },
                     { "findings", tool::toJson( file.findings ) } } );
    else
        print( writeToml( store, origin ) );
    return file.findings.empty() ? exitYes : exitNo;
}

void addShow( Command settings, const char *name, const char *description, bool full, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = settings.add( name, description );
    command.option( "FILE", arguments->file, "A TOML file, \"-\" for standard input; without one, the defaults" );
    addJson( command, arguments->json );
    command.onCall( [arguments, full, &result] { result = show( *arguments, full ); } );
}

} // namespace

void addSettings( Command app, Exit &result )
{
    Command settings = app.add( "settings", "Show the options of a file and what is wrong in it" );
    settings.requireCommand();
    addShow( settings, "show", "Print every option, with a word on whether it is explicit or a default", true, result );
    addShow( settings, "normalize", "Print just what differs from the defaults", false, result );
}

} // namespace tool
