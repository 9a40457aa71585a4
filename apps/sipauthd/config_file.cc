// The configuration file as a whole.
#include "sipauthd/config_file.h"

#include "sipauth/options_file.h"
#include "sipauthd/config_object.h"

#include <cs/cs_file.h>
#include <cs/cs_object.h>
#include <cs_toml/cs_toml.h>
#include <pb/pb_std.hh>
#include <usr/usr_directory.h>

#include <set>

namespace sipauthd
{

namespace
{

// The file while it is looked at.
struct Inspection
{
    std::string path;
    pb::Ref<csUpdate> update;
    tool::TomlStore toml;

    // What is wrong at a key ("object.main.config.serverRealm"), or where it would stand.
    [[noreturn]] void refuse( std::string key, const std::string &what ) const
    {
        auto line = toml.lines.find( key );
        while( line == toml.lines.end() && key.find( '.' ) != std::string::npos )
        {
            key.resize( key.rfind( '.' ) );
            line = toml.lines.find( key );
        }
        std::string place = line == toml.lines.end() ? "" : std::to_string( line->second ) + ":";
        throw ConfigError( path + ":" + place + " " + what );
    }

    std::vector<std::string> names( pbSort *sort ) const
    {
        auto objects = pb::own( csUpdateObjectsBySort( update, sort ) );
        std::vector<std::string> found;
        for( int64_t index = 0; index < csUpdateObjectsLength( objects ); index++ )
            found.push_back( pb::textOf( csUpdateObjectsNameAt( objects, index ) ) );
        return found;
    }

    bool has( pbSort *sort, const std::string &name ) const
    {
        std::vector<std::string> found = names( sort );
        return std::find( found.begin(), found.end(), name ) != found.end();
    }

    pb::Ref<pbStore> config( const std::string &name ) const
    {
        return pb::own( csUpdateObjectConfig( update, pb::string( name ) ) );
    }
};

// The library ignores what it does not know in a stack's options; here that is most likely a mistake that matters.
void checkStack( const Inspection &file, const std::string &name )
{
    std::string prefix = "object." + name + ".config.";
    std::vector<tool::Finding> findings = tool::checkOptions( file.config( name ), file.toml.lines, prefix, file.path );
    if( findings.empty() )
        return;
    const tool::Finding &first = findings.front();
    throw ConfigError( first.file + ":" + std::to_string( first.line ) + ": object '" + name + "': " + first.what );
}

void findStack( const Inspection &file, ConfigFile &result )
{
    const std::string &stack = result.config.stack;
    if( !file.has( sipauthStackSort(), stack ) )
        file.refuse( "object." + result.object + ".config.stack",
                     "object '" + result.object + "': stack: there is no SIPAUTH_STACK \"" + stack + "\"" );
    result.options = pb::own( sipauthOptionsRestore( file.config( stack ) ) );
    std::string key = "object." + stack + ".config.";
    if( !sipauthOptionsHasServerRealm( result.options ) )
        file.refuse( key + "serverRealm", "object '" + stack + "': serverRealm: needed" );
    result.config.proxy.realm = pb::textOf( sipauthOptionsServerRealm( result.options ) );
    if( !sipauthOptionsHasServerUsrDirectoryName( result.options ) )
        file.refuse( key + "serverUsrDirectoryName", "object '" + stack + "': serverUsrDirectoryName: needed" );
    result.directory = pb::textOf( sipauthOptionsServerUsrDirectoryName( result.options ) );
    if( !file.has( usrDirectorySort(), result.directory ) )
        file.refuse( key + "serverUsrDirectoryName", "object '" + stack + "': serverUsrDirectoryName: there is no " +
                                                         "USR_DIRECTORY \"" + result.directory + "\"" );
    result.directoryConfig = file.config( result.directory );
}

// The bytes of the file are read a second time for the places of its keys.
Inspection open( const std::string &path, bool &migrated )
{
    pb::Ref<pbString> reason;
    auto file = pb::own( csFileTryRead( pb::own( csTomlFormatCreate() ), pb::string( path ), reason.inout() ) );
    if( !file )
        throw ConfigError( pb::text( reason ) );
    Inspection result;
    result.path = path;
    auto stored = pb::own( csFileUpdate( file ) );
    result.update = stored;
    csUpdateRun( result.update.inout() );
    migrated = !csUpdateEquals( stored, result.update );
    if( !pb::own( csFileTryNormalize( file, result.update, 0, reason.inout() ) ) )
        throw ConfigError( pb::text( reason ) );
    try
    {
        result.toml = tool::readToml( tool::readInput( path ), path );
    }
    catch( const tool::UsageError &error )
    {
        throw ConfigError( error.what() );
    }
    return result;
}

} // namespace

ConfigFile inspectFile( const std::string &path )
{
    ConfigFile result;
    result.path = path;
    Inspection file = open( path, result.migrated );
    std::vector<std::string> daemons = file.names( configSort() );
    if( daemons.size() != 1 )
        throw ConfigError( path + ": " + ( daemons.empty() ? "declares no object" : "declares several objects" ) +
                           " of the sort SIPAUTHD, and one is needed" );
    result.object = daemons.front();
    result.config = readConfig( file.config( result.object ) );
    for( const std::string &stack : file.names( sipauthStackSort() ) )
        checkStack( file, stack );
    findStack( file, result );
    return result;
}

LoadedFile::LoadedFile( const std::string &path ) : path_( path ), object_( inspectFile( path ).object )
{
    pb::Ref<pbString> reason;
    configuration_ = pb::own(
        csConfigurationTryLoad( pb::own( csTomlFormatCreate() ), pb::string( path ), nullptr, reason.inout() ) );
    if( !configuration_ )
        throw ConfigError( pb::text( reason ) );
}

LoadedFile::~LoadedFile()
{
    csConfigurationUnload( configuration_ );
}

void LoadedFile::reload()
{
    std::string object = inspectFile( path_ ).object;
    pb::Ref<pbString> reason;
    if( !csConfigurationTryReload( configuration_, reason.inout() ) )
        throw ConfigError( pb::text( reason ) );
    object_ = object;
}

const Config &LoadedFile::stored() const
{
    auto object = pb::own( csObject( pb::string( object_ ), configSort() ) );
    // The service keeps a reference for as long as the file is loaded.
    return configOf( object );
}

Config LoadedFile::config( sipauthStack *stack ) const
{
    Config result = stored();
    auto options = pb::own( sipauthStackOptions( stack ? stack : this->stack().get() ) );
    result.proxy.realm = pb::textOf( sipauthOptionsServerRealm( options ) );
    return result;
}

pb::Ref<sipauthStack> LoadedFile::stack() const
{
    return pb::own( sipauthStackFrom( csObject( pb::string( stored().stack ), sipauthStackSort() ) ) );
}

} // namespace sipauthd
