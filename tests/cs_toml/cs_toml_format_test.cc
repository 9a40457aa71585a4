// Configurations as TOML text, through the files in which they stand.
#include "cs/cs_files.h"

#include <cs/cs_file.h>
#include <cs/cs_object_record.h>
#include <cs_toml/cs_toml.h>

namespace
{

using namespace cs_support;
using Change = void ( * )( csUpdate ** );

class TomlFormat : public testing::Test
{
protected:
    std::string path() { return folder.file( "main.toml" ); }

    pb::Ref<csFile> file( const std::string &text )
    {
        writeText( path(), text );
        pb::Ref<pbString> reason;
        auto file = own( csFileTryRead( own( csTomlFormatCreate() ), string( path() ), reason.inout() ) );
        EXPECT_TRUE( file ) << support::text( reason );
        return file;
    }

    std::string refusal( const std::string &text )
    {
        writeText( path(), text );
        pb::Ref<pbString> reason;
        EXPECT_FALSE( own( csFileTryRead( own( csTomlFormatCreate() ), string( path() ), reason.inout() ) ) ) << text;
        return support::text( reason ).substr( path().size() );
    }

    // The text after a change.
    std::string changed( const std::string &text, Change change )
    {
        auto old = file( text );
        auto update = own( csFileUpdate( old ) );
        change( update.inout() );
        EXPECT_TRUE( csFileTryRewrite( old, update, nullptr ) );
        std::string result = readText( path() );
        EXPECT_TRUE( csUpdateEquals( own( csFileUpdate( file( result ) ) ), update ) ) << result;
        return result;
    }

    Folder folder;
};

constexpr char example[] = R"(# The phones' registrar.
[modules]
sipauth = "3.1"

[object.users]        # who may register
sort = "USR_DIRECTORY"

[object.main]
sort = "SIPAUTH_STACK"
[object.main.config]
serverRealm = "example.com"   # as on the phones
serverRechallenge = true
serverChallengeExpiration = 5_000
[object.main.config.schemes]
SIPAUTH_SCHEME_DIGEST = true
)";

TEST_F( TomlFormat, HoldsVersionsAndObjects )
{
    auto update = own( csFileUpdate( file( example ) ) );
    EXPECT_EQ( support::textOf( pbStoreToString( own( csUpdateModuleVersions( update ) ) ) ), "{ sipauth = \"3.1\" }" );
    auto names = own( csUpdateAllObjects( update ) );
    ASSERT_EQ( csUpdateObjectsLength( names ), 2 );
    auto users = own( csUpdateObjectsNameAt( names, 0 ) );
    auto main = own( csUpdateObjectsNameAt( names, 1 ) );
    EXPECT_EQ( support::text( users ), "users" );
    EXPECT_EQ( support::text( main ), "main" ) << "the order of the file";
    EXPECT_EQ( support::textOf( csUpdateObjectSortName( update, users ) ), "USR_DIRECTORY" );
    EXPECT_EQ( support::textOf( pbStoreToString( own( csUpdateObjectConfig( update, users ) ) ) ), "{}" );
    EXPECT_EQ( support::textOf( csUpdateObjectSortName( update, main ) ), "SIPAUTH_STACK" );
    EXPECT_EQ( support::textOf( pbStoreToString( own( csUpdateObjectConfig( update, main ) ) ) ),
               "{ serverRealm = \"example.com\", serverRechallenge = true, serverChallengeExpiration = 5000, schemes = "
               "{ SIPAUTH_SCHEME_DIGEST = true } }" );
}

TEST_F( TomlFormat, RefusesWhatItDoesNotKnow )
{
    EXPECT_EQ( refusal( "a = " ).substr( 0, 5 ), ":1:5:" );
    for( const char *broken : { "[[[", "[=", "[[ ]]", "[", "a.=1", "= 1", "[a.\n", "\"" } )
        EXPECT_EQ( refusal( broken ).substr( 0, 3 ), ":1:" ) << broken;
    EXPECT_EQ( refusal( "[objects.a]\n" ), ":1:2: 'objects' is not known here, only 'modules' and 'object' are" );
    EXPECT_EQ( refusal( "\nmodules = 1\n" ), ":2:1: 'modules' must be a table" );
    EXPECT_EQ( refusal( "[modules]\nsipauth = 3.1\n" ),
               ":2:11: 'modules.sipauth' is neither text, integer, boolean nor table" );
    EXPECT_EQ( refusal( "[modules]\nsipauth = 3\n" ),
               ":2:1: 'modules.sipauth' must be a version, for example \"3.1\"" );
    EXPECT_EQ( refusal( "[modules]\nsipauth = 'three'\n" ),
               ":2:1: 'modules.sipauth' must be a version, for example \"3.1\"" );
    EXPECT_EQ( refusal( "object = 'main'\n" ), ":1:1: 'object' must be a table" );
    EXPECT_EQ( refusal( "[object]\nmain = 'x'\n" ), ":2:1: 'object.main' must be a table" );
    EXPECT_EQ( refusal( "[object.main.config]\n" ),
               ":1:9: 'object.main' needs a 'sort', which is text, for example \"SIPAUTH_STACK\"" );
    EXPECT_EQ( refusal( "[object.main]\nsort = 1\n" ),
               ":1:9: 'object.main' needs a 'sort', which is text, for example \"SIPAUTH_STACK\"" );
    EXPECT_EQ( refusal( "[object.main]\nsort = 'X'\nconfig = 1\n" ), ":3:1: 'object.main.config' must be a table" );
    EXPECT_EQ( refusal( "[object.main]\nsort = 'X'\nserverRealm = 'r'\n" ),
               ":3:1: 'object.main.serverRealm' is not known here, only 'sort' and 'config' are" );
    EXPECT_EQ( refusal( "[object.main]\nsort = 'X'\n[object.main.config]\na = [ 1 ]\n" ),
               ":4:5: 'object.main.config.a' is neither text, integer, boolean nor table" );
    EXPECT_EQ( refusal( "[object.main]\nsort = 'X'\n[object.main]\nsort = 'X'\n" ).substr( 0, 2 ), ":3" )
        << "a name stands for one object";
}

TEST_F( TomlFormat, TellsTheLinesOfObjectsAndKeys )
{
    Things things;
    auto refusal = [&]( const std::string &text )
    {
        auto read = file( text );
        pb::Ref<pbString> reason;
        EXPECT_FALSE( own( csFileTryNormalize( read, own( csFileUpdate( read ) ), 0, reason.inout() ) ) );
        return support::text( reason ).substr( path().size() );
    };
    EXPECT_EQ( refusal( "[object.a]\nsort = 'PB_BUFFER'\n[object.a.config]\nid = 'x'\nsize = -1\n" ),
               ":5: object 'a': size: must not be below 0" );
    EXPECT_EQ( refusal( "[object.'a.b']\nsort = 'PB_BUFFER'\n[object.a]\nsort = 'PB_BUFFER'\n"
                        "[object.'a.b'.config]\nid = 'x'\n[object.'a.b'.config.more]\nsize = -1\n" ),
               ":8: object 'a.b': more.size: must not be below 0" );
    EXPECT_EQ( refusal( "[object.a]\nsort = 'PB_BUFFER'\n[object.a.config]\nid = 'x'\n[object.a.config.more]\n" ),
               ":5: object 'a': more.size.least: there must be one" )
        << "the table of a missing key";
    EXPECT_EQ( refusal( "\n[object.a]\nsort = 'NONE'\n" ), ":2: object 'a': its sort 'NONE' is not known" );
    EXPECT_EQ( refusal( "\n[object.'a b']\nsort = 'PB_BUFFER'\n" ).substr( 0, 10 ), ":2: 'a b' " );
}

pb::Ref<pbStore> mainConfig( csUpdate *update )
{
    return own( csUpdateObjectConfig( update, string( "main" ) ) );
}

void setMain( csUpdate **update, pbStore *config )
{
    csUpdateSetObjectWithSortName( update, string( "main" ), string( "SIPAUTH_STACK" ), config );
}

// TEXT with what stands for OLD replaced.
std::string with( std::string text, const std::string &old, const std::string &now )
{
    return text.replace( text.find( old ), old.size(), now );
}

TEST_F( TomlFormat, KeepsRemarksAndOrderWhenValuesChange )
{
    EXPECT_EQ( changed( example,
                        []( csUpdate **update )
                        {
                            auto config = mainConfig( *update );
                            pbStoreSetValueCstr( config.inout(), "serverRealm", -1, string( "other.example" ) );
                            pbStoreSetValueIntCstr( config.inout(), "serverChallengeExpiration", -1, 7 );
                            setMain( update, config );
                        } ),
               with( with( example, "\"example.com\"", "'other.example'" ), "5_000", "7" ) );
    EXPECT_EQ( changed( example,
                        []( csUpdate **update )
                        {
                            auto config = mainConfig( *update );
                            auto schemes = own( pbStoreStoreCstr( config, "schemes", -1 ) );
                            pbStoreSetValueBoolCstr( schemes.inout(), "SIPAUTH_SCHEME_DIGEST", -1, 0 );
                            pbStoreSetStoreCstr( config.inout(), "schemes", -1, schemes );
                            setMain( update, config );
                        } ),
               with( example, "SIPAUTH_SCHEME_DIGEST = true", "SIPAUTH_SCHEME_DIGEST = false" ) );
}

void recordVersions( csUpdate **update )
{
    csUpdateSetModuleVersion( update, csModule(), own( pbModuleVersionCreate( 3, 2 ) ) );
}

TEST_F( TomlFormat, KeepsRemarksWhenAVersionIsRecorded )
{
    EXPECT_EQ( changed( "# only a remark\n", recordVersions ), "# only a remark\n\n[modules]\ncs = '3.2'\n" );
    EXPECT_EQ( changed( "# without end of line", recordVersions ), "# without end of line\n\n[modules]\ncs = '3.2'\n" );
    EXPECT_EQ( changed( "", recordVersions ), "[modules]\ncs = '3.2'\n" );
    EXPECT_EQ( changed( example, recordVersions ), with( example, "[modules]\n", "[modules]\ncs = '3.2'\n" ) );
    EXPECT_EQ( changed( "[modules] # seen\ncs = '1.0' # old\n", recordVersions ),
               "[modules] # seen\ncs = '3.2' # old\n" );
    EXPECT_EQ( changed( "[modules]", recordVersions ), "[modules]\ncs = '3.2'\n" );
    EXPECT_EQ( changed( "# r\nmodules = { cs = '1.0' }\n", recordVersions ), "# r\nmodules = { cs = '3.2' }\n" );
}

TEST_F( TomlFormat, CountsColumnsInCharacters )
{
    EXPECT_EQ( changed( "modules = { \"stra\u00dfe\" = '1.0', \"\u4e2d\U0001F600\" = '1', cs = '1.0' } # \u00fc\n",
                        recordVersions ),
               "modules = { \"stra\u00dfe\" = '1.0', \"\u4e2d\U0001F600\" = '1', cs = '3.2' } # \u00fc\n" );
}

TEST_F( TomlFormat, AddsObjectsAtTheEnd )
{
    EXPECT_EQ( changed( example,
                        []( csUpdate **update )
                        {
                            auto config = own( pbStoreCreate() );
                            pbStoreSetValueIntCstr( config.inout(), "size", -1, 1 );
                            csUpdateSetObject( update, string( "a.b" ), pbBufferSort(), config );
                        } ),
               std::string( example ) + "\n[object.'a.b']\nsort = 'PB_BUFFER'\n\n[object.'a.b'.config]\nsize = 1\n" );
}

TEST_F( TomlFormat, IsWrittenFromNothingWhenItCannotBeKept )
{
    const char *written =
        "[modules]\nsipauth = '3.1'\n\n[object.users]\nsort = 'USR_DIRECTORY'\n\n[object.main]\nsort = "
        "'SIPAUTH_STACK'\n";
    EXPECT_EQ( changed( example, []( csUpdate **update ) { setMain( update, own( pbStoreCreate() ) ); } ), written );
    // A value that becomes a table.
    auto toTable = []( csUpdate **update )
    {
        auto config = own( pbStoreCreate() );
        auto nested = own( pbStoreCreate() );
        pbStoreSetValueIntCstr( nested.inout(), "x", -1, 1 );
        pbStoreSetStoreCstr( config.inout(), "a", -1, nested );
        setMain( update, config );
    };
    EXPECT_EQ( changed( "# gone\n[object.main]\nsort = 'SIPAUTH_STACK'\nconfig = { a = 1 }\n", toTable ),
               "[object.main]\nsort = 'SIPAUTH_STACK'\n\n[object.main.config.a]\nx = 1\n" );
    // An inline table that grows.
    auto grow = []( csUpdate **update )
    {
        auto config = mainConfig( *update );
        pbStoreSetValueIntCstr( config.inout(), "b", -1, 2 );
        setMain( update, config );
    };
    EXPECT_EQ( changed( "# gone\n[object.main]\nsort = 'SIPAUTH_STACK'\nconfig = { a = 1 }\n", grow ),
               "[object.main]\nsort = 'SIPAUTH_STACK'\n\n[object.main.config]\na = 1\nb = 2\n" );
}

TEST_F( TomlFormat, WritesNoEmptyTables )
{
    EXPECT_EQ( changed( "# x\n[modules]\na = '1'\n",
                        []( csUpdate **update ) { csUpdateSetModuleVersions( update, own( pbStoreCreate() ) ); } ),
               "" );
}

} // namespace
