// What the tests of files share: a folder of their own, and a format without TOML.
#ifndef CS_FILES_H
#define CS_FILES_H

#include "cs_support.h"

#include <cs/cs_format.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace cs_support
{

/// A folder that goes with the test.
class Folder
{
public:
    Folder()
    {
        std::string name = std::filesystem::temp_directory_path() / "cs-XXXXXX";
        EXPECT_TRUE( ::mkdtemp( name.data() ) );
        path = name;
    }
    ~Folder()
    {
        std::error_code error;
        std::filesystem::permissions( path, std::filesystem::perms::owner_all, error );
        std::filesystem::remove_all( path, error );
    }
    Folder( const Folder & ) = delete;
    Folder &operator=( const Folder & ) = delete;

    std::string file( const char *name ) const { return path / name; }

    /// The names in the folder, in order.
    std::string names() const
    {
        std::vector<std::string> all;
        for( const auto &entry : std::filesystem::directory_iterator( path ) )
            all.push_back( entry.path().filename() );
        std::sort( all.begin(), all.end() );
        std::string text;
        for( const std::string &name : all )
            text += ( text.empty() ? "" : " " ) + name;
        return text;
    }

    std::filesystem::path path;
};

inline void writeText( const std::string &path, const std::string &text )
{
    std::ofstream( path, std::ios::binary | std::ios::trunc ) << text;
}

inline std::string readText( const std::string &path )
{
    std::ostringstream text;
    text << std::ifstream( path, std::ios::binary ).rdbuf();
    return text.str();
}

inline mode_t modeOf( const std::string &path )
{
    struct stat status = {};
    EXPECT_EQ( ::stat( path.c_str(), &status ), 0 ) << path;
    return status.st_mode & 07777;
}

/// Lines of "name sort key value", several for one name in a row or one with sort alone; "version module text"; and
/// "! reason" is refused with it. Values of digits are integers.
inline csUpdate *decodeLines( pbBuffer *bytes, pbStore **lines, pbString **reason )
{
    auto update = own( csUpdateCreate() );
    auto versions = own( pbStoreCreate() );
    auto places = own( pbStoreCreate() );
    std::istringstream in( support::bytes( bytes ) );
    std::string line;
    for( int64_t number = 1; std::getline( in, line ); number++ )
    {
        std::istringstream words( line );
        std::string name, sort, key, value;
        words >> name >> sort >> key >> value;
        if( name == "!" )
        {
            *reason = string( std::to_string( number ) + ":3: " + line.substr( 2 ) ).give();
            return nullptr;
        }
        if( name == "version" )
        {
            pbStoreSetValue( versions.inout(), string( sort ), string( key ) );
            continue;
        }
        auto config = own( csUpdateObjectConfig( update, string( name ) ) );
        auto place = own( pbStoreStore( places, string( name ) ) );
        if( !config )
        {
            config = own( pbStoreCreate() );
            place = own( pbStoreCreate() );
            pbStoreSetValueInt( place.inout(), string( "" ), number );
        }
        if( !key.empty() )
            pbStoreSetValueInt( place.inout(), string( key ), number );
        if( key.starts_with( "more." ) )
        {
            auto more = own( pbStoreCreate() );
            pbStoreSetValueInt( more.inout(), string( key.substr( 5 ) ), std::stoll( value ) );
            pbStoreSetStoreCstr( config.inout(), "more", -1, more );
        }
        else if( !key.empty() && value.find_first_not_of( "-0123456789" ) == std::string::npos )
            pbStoreSetValueInt( config.inout(), string( key ), std::stoll( value ) );
        else if( !key.empty() )
            pbStoreSetValue( config.inout(), string( key ), string( value ) );
        csUpdateSetObjectWithSortName( update.inout(), string( name ), string( sort ), config );
        pbStoreSetStore( places.inout(), string( name ), place );
    }
    csUpdateSetModuleVersions( update.inout(), versions );
    *lines = places.give();
    return update.give();
}

/// The same back, for texts and integers; a first line "version remark ..." of the old content stays.
inline pbBuffer *encodeLines( csUpdate *update, pbBuffer *old )
{
    std::string text = support::bytes( old );
    text = text.starts_with( "version remark " ) ? text.substr( 0, text.find( '\n' ) + 1 ) : "";
    auto versions = own( csUpdateModuleVersions( update ) );
    for( int64_t index = 0; index < pbStoreLength( versions ); index++ )
    {
        auto module = own( pbStoreKeyAt( versions, index ) );
        if( !pbStringEqualsCstr( module, "remark", -1 ) )
            text +=
                "version " + support::text( module ) + " " + support::textOf( pbStoreValue( versions, module ) ) + "\n";
    }
    auto names = own( csUpdateAllObjects( update ) );
    for( int64_t index = 0; index < csUpdateObjectsLength( names ); index++ )
    {
        auto name = own( csUpdateObjectsNameAt( names, index ) );
        std::string begin = support::text( name ) + " " + support::textOf( csUpdateObjectSortName( update, name ) );
        auto config = own( csUpdateObjectConfig( update, name ) );
        if( pbStoreLength( config ) == 0 )
            text += begin + "\n";
        for( int64_t at = 0; at < pbStoreLength( config ); at++ )
        {
            auto key = own( pbStoreKeyAt( config, at ) );
            int64_t number = 0;
            std::string value = pbStoreValueInt( config, key, &number )
                                    ? std::to_string( number )
                                    : support::textOf( pbStoreValue( config, key ) );
            text += begin + " " + support::text( key ) + " " + value + "\n";
        }
    }
    return support::buffer( text ).give();
}

inline pb::Ref<csFormat> linesFormat()
{
    return own( csFormatCreate( decodeLines, encodeLines ) );
}

} // namespace cs_support

#endif
