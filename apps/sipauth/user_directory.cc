// User directories of configuration files.
#include "user_directory.h"

#include <cs_toml/cs_toml.h>

#include <fmt/format.h>

#include <algorithm>

namespace tool
{

namespace
{

std::vector<std::string> directoryNames( csUpdate *update )
{
    auto objects = pb::own( csUpdateObjectsBySort( update, usrDirectorySort() ) );
    std::vector<std::string> names;
    for( int64_t index = 0; index < csUpdateObjectsLength( objects ); index++ )
        names.push_back( pb::textOf( csUpdateObjectsNameAt( objects, index ) ) );
    return names;
}

// The name of the directory that is meant.
std::string choose( const std::vector<std::string> &names, const std::string &wanted, const std::string &path )
{
    if( names.empty() )
        throw UsageError( fmt::format( "{}: declares no user directory", path ) );
    if( wanted.empty() && names.size() == 1 )
        return names.front();
    if( std::find( names.begin(), names.end(), wanted ) != names.end() )
        return wanted;
    std::string listed = fmt::format( "{}", fmt::join( names, ", " ) );
    if( wanted.empty() )
        throw UsageError(
            fmt::format( "{}: declares several user directories: choose one with --directory: {}", path, listed ) );
    throw UsageError( fmt::format( "{}: declares no user directory \"{}\", but: {}", path, wanted, listed ) );
}

} // namespace

UserDirectory::UserDirectory( const std::string &path, const std::string &name )
{
    pb::Ref<pbString> reason;
    file_ = pb::own( csFileTryRead( pb::own( csTomlFormatCreate() ), pb::string( path ), reason.inout() ) );
    if( !file_ )
        throw UsageError( pb::text( reason ) );
    auto update = pb::own( csFileUpdate( file_ ) );
    name_ = choose( directoryNames( update ), name, path );
    auto config = pb::own( csUpdateObjectConfig( update, pb::string( name_ ) ) );
    directory_ = pb::own( usrDirectoryTryCreate( config, nullptr, reason.inout() ) );
    if( !directory_ )
        throw UsageError( fmt::format( "{}: {}: {}", path, name_, pb::text( reason ) ) );
    config_ = pb::own( usrDirectoryConfig( directory_, 0 ) );
}

bool UserDirectory::tryKeep( std::string &reason )
{
    auto config = pb::own( usrDirectoryConfig( directory_, 0 ) );
    if( pbStoreEquals( config, config_ ) )
        return true;
    auto update = pb::own( csFileUpdate( file_ ) );
    csUpdateSetObject( update.inout(), pb::string( name_ ), usrDirectorySort(), config );
    pb::Ref<pbString> why;
    if( csFileTryRewrite( file_, update, why.inout() ) )
        return true;
    reason = pb::text( why );
    return false;
}

} // namespace tool
