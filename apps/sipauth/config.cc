// sipauth config: what a configuration file means, its canonical form, and bringing it up to date.
#include "commands.h"
#include "config_changes.h"
#include "options_file.h"

#include <cs/cs_file.h>
#include <cs_toml/cs_toml.h>
#include <nlohmann/json.hpp>
#include <sipauth/sipauth_stack.h>

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

// A file, and what it becomes when it is loaded.
struct Config
{
    pb::Ref<csFile> file;
    pb::Ref<csUpdate> stored;
    pb::Ref<csUpdate> update;

    bool migrated() const { return !csUpdateEquals( stored, update ); }
};

Config read( const std::string &path )
{
    pb::Ref<pbString> reason;
    Config config;
    config.file = pb::own( csFileTryRead( pb::own( csTomlFormatCreate() ), pb::string( path ), reason.inout() ) );
    if( !config.file )
        throw UsageError( pb::text( reason ) );
    config.stored = pb::own( csFileUpdate( config.file ) );
    config.update = config.stored;
    csUpdateRun( config.update.inout() );
    return config;
}

// The canonical form, or null when the configuration would be refused, which is told.
pb::Ref<pbStore> normalized( const Config &config, int64_t storeFlags )
{
    pb::Ref<pbString> reason;
    auto normal = pb::own( csFileTryNormalize( config.file, config.update, storeFlags, reason.inout() ) );
    if( normal )
        return pb::own( csTomlUpdateStore( normal ) );
    note( pb::text( reason ) );
    return nullptr;
}

Exit refused( const Arguments &arguments )
{
    if( arguments.json )
        printJson( { { "accepted", false } } );
    return exitNo;
}

// What the stacks of a file say and the library ignores.
std::vector<Finding> ignored( const Config &config, const std::string &path )
{
    std::vector<Finding> all;
    TomlStore toml = readToml( readInput( path ), path );
    auto names = pb::own( csUpdateObjectsBySort( config.stored, sipauthStackSort() ) );
    for( int64_t index = 0; index < csUpdateObjectsLength( names ); index++ )
    {
        auto name = pb::own( csUpdateObjectsNameAt( names, index ) );
        auto options = pb::own( csUpdateObjectConfig( config.update, name ) );
        std::string prefix = "object." + pb::text( name ) + ".config.";
        std::vector<Finding> found = checkOptions( options, toml.lines, prefix, path );
        all.insert( all.end(), found.begin(), found.end() );
    }
    return all;
}

pb::Ref<pbStore> withoutPasswords( pbStore *store )
{
    auto shown = pb::share( store );
    for( int64_t index = 0; index < pbStoreLength( store ); index++ )
    {
        auto key = pb::own( pbStoreKeyAt( store, index ) );
        if( auto nested = pb::own( pbStoreStore( store, key ) ) )
            pbStoreSetStore( shown.inout(), key, withoutPasswords( nested ) );
        else if( isSecret( pb::text( key ) ) )
            pbStoreSetValue( shown.inout(), key, pb::string( notShown ) );
    }
    return shown;
}

bool holds( const Json &object, const std::string &key )
{
    size_t dot = key.find( '.' );
    if( dot == std::string::npos )
        return object.contains( key );
    std::string head = key.substr( 0, dot );
    return object.contains( head ) && object[head].is_object() && holds( object[head], key.substr( dot + 1 ) );
}

Exit show( const Arguments &arguments )
{
    Config config = read( arguments.file );
    auto full = normalized( config, 1 );
    if( !full )
        return refused( arguments );
    auto explicitStore = normalized( config, 0 );
    Json said = toJson( explicitStore );
    std::vector<Finding> findings = ignored( config, arguments.file );
    for( const Finding &finding : findings )
        note( describe( finding ) );
    if( config.migrated() )
        note( arguments.file + ": is of an earlier version; shown is what 'sipauth config migrate' makes of it" );
    full = withoutPasswords( full );
    auto remark = [&]( const std::string &key ) -> std::string { return holds( said, key ) ? "" : "default"; };
    if( arguments.json )
        printJson( { { "accepted", true },
                     { "configuration", toJson( full ) },
                     { "explicit", toJson( withoutPasswords( explicitStore ) ) },
                     { "migrated", config.migrated() },
                     { "findings", toJson( findings ) } } );
    else
        print( writeToml( full, remark ) );
    return findings.empty() ? exitYes : exitNo;
}

Exit normalize( const Arguments &arguments )
{
    auto normal = normalized( read( arguments.file ), 0 );
    if( !normal )
        return refused( arguments );
    if( arguments.json )
        printJson( { { "accepted", true }, { "configuration", toJson( normal ) } } );
    else
        print( writeToml( normal, nullptr ) );
    return exitYes;
}

Exit migrate( const Arguments &arguments )
{
    Config config = read( arguments.file );
    if( !normalized( config, 0 ) )
        return refused( arguments );
    pb::Ref<pbString> reason;
    if( config.migrated() && !csFileTryRewrite( config.file, config.update, reason.inout() ) )
    {
        note( pb::text( reason ) );
        return refused( arguments );
    }
    std::vector<Change> changes = changesOf( toJson( pb::own( csTomlUpdateStore( config.stored ) ) ),
                                             toJson( pb::own( csTomlUpdateStore( config.update ) ) ) );
    if( arguments.json )
    {
        printJson( { { "accepted", true }, { "migrated", config.migrated() }, { "changes", toJson( changes ) } } );
        return exitYes;
    }
    for( const Change &change : changes )
        print( describe( change ) + "\n" );
    print( config.migrated() ? arguments.file + ": rewritten, the old one is " + arguments.file + ".bak\n"
                             : arguments.file + ": nothing to do\n" );
    return exitYes;
}

void addCommand( Command config, const char *name, const char *description, Exit ( *run )( const Arguments & ),
                 Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = config.add( name, description );
    command.option( "FILE", arguments->file, "A TOML file" ).required();
    addJson( command, arguments->json );
    command.onCall( [arguments, run, &result] { result = run( *arguments ); } );
}

} // namespace

void addConfig( Command app, Exit &result )
{
    Command config = app.add( "config", "Show what a configuration file means, and bring it up to date" );
    config.requireCommand();
    addCommand( config, "show", "Print every object with its whole configuration", show, result );
    addCommand( config, "normalize", "Print the file in its canonical form", normalize, result );
    addCommand( config, "migrate", "Bring a file of an earlier version up to date, once", migrate, result );
}

} // namespace tool
