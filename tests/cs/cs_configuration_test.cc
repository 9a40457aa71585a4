// Configurations in force.
#include "cs_files.h"
#include "support/abort.h"
#include "tr/recorded.h"

#include <cs/cs_configuration.h>
#include <cs/cs_object_observer.h>
#include <cs/cs_object_record.h>
#include <cs/cs_update_backend.h>

namespace
{

using namespace cs_support;
using Log = std::vector<std::string>;

class Configuration : public testing::Test
{
protected:
    ~Configuration() override
    {
        configuration.clear();
        EXPECT_FALSE( object( "one" ) );
    }

    std::string path() { return folder.file( "main" ); }

    // Writes a file and loads it, or loads it again. The reason when it is refused, without the path.
    std::string load( const std::string &text )
    {
        writeText( path(), text );
        pb::Ref<pbString> reason;
        if( configuration )
            return csConfigurationTryReload( configuration, reason.inout() ) ? "" : withoutPath( reason );
        configuration = own( csConfigurationTryLoad( linesFormat(), string( path() ), nullptr, reason.inout() ) );
        return configuration ? "" : withoutPath( reason );
    }

    std::string withoutPath( pbString *reason )
    {
        std::string text = support::text( reason );
        EXPECT_TRUE( text.starts_with( path() + ":" ) ) << text;
        return text.substr( path().size() + 1 );
    }

    static pb::Ref<pbObj> object( const char *name ) { return own( csObject( string( name ), pbBufferSort() ) ); }

    std::string read( const char *name, int64_t flags )
    {
        auto update = own( csConfigurationRead( configuration, flags ) );
        auto config = own( csUpdateObjectConfig( update, string( name ) ) );
        return config ? support::textOf( pbStoreToString( config ) ) : "none";
    }

    Folder folder;
    Things things;
    pb::Ref<csConfiguration> configuration;
};

TEST_F( Configuration, MakesItsObjectsInTheOrderOfTheFile )
{
    EXPECT_EQ( load( "two PB_BUFFER id b\none PB_BUFFER id a\n" ), "" );
    EXPECT_EQ( things.takeLog(), ( Log{ "create b", "create a" } ) );
    EXPECT_EQ( things.configOf( object( "one" ) ), "{ id = \"a\" }" );
    EXPECT_EQ( things.configOf( object( "two" ) ), "{ id = \"b\" }" );
    EXPECT_EQ( support::textOf( csConfigurationToString( configuration ) ), "CS_CONFIGURATION" );
}

TEST_F( Configuration, MayHaveNoObject )
{
    EXPECT_EQ( load( "" ), "" );
    EXPECT_EQ( load( "one PB_BUFFER id a\n" ), "" );
    EXPECT_EQ( load( "" ), "" );
    EXPECT_EQ( things.takeLog(), ( Log{ "create a", "end a" } ) );
}

TEST_F( Configuration, TakesItsObjectsAwayInReverseOrder )
{
    load( "two PB_BUFFER id b\none PB_BUFFER id a\n" );
    things.takeLog();
    csConfigurationUnload( configuration );
    EXPECT_EQ( things.takeLog(), ( Log{ "end a", "end b" } ) );
    EXPECT_FALSE( object( "one" ) );
    csConfigurationUnload( configuration );
    EXPECT_EQ( things.takeLog(), Log{} );
    EXPECT_EQ( load( "one PB_BUFFER id a\n" ), "" ) << "it may be loaded again";
    configuration.clear();
    EXPECT_EQ( things.takeLog(), ( Log{ "create a", "end a" } ) ) << "its end does the same";
}

TEST_F( Configuration, AppliesOnlyWhatChanged )
{
    load( "one PB_BUFFER id a\ntwo PB_BUFFER id b\nthree PB_BUFFER id c\n" );
    things.takeLog();
    auto one = object( "one" );
    auto two = object( "two" );
    EXPECT_EQ( load( "four PB_BUFFER id d\ntwo PB_BUFFER id b\ntwo PB_BUFFER size 20\none PB_BUFFER id a\n" ), "" );
    EXPECT_EQ( things.takeLog(), ( Log{ "create d", "set b", "end c" } ) );
    EXPECT_EQ( object( "one" ).get(), one.get() );
    EXPECT_EQ( object( "two" ).get(), two.get() );
    EXPECT_EQ( things.configOf( two ), "{ id = \"b\", size = 20 }" );
    EXPECT_FALSE( object( "three" ) );
    EXPECT_TRUE( object( "four" ) );
}

TEST_F( Configuration, TouchesNothingWhenNothingChanged )
{
    load( "one PB_BUFFER id a\n" );
    things.takeLog();
    auto one = object( "one" );
    EXPECT_EQ( load( "one PB_BUFFER id a\n" ), "" );
    EXPECT_EQ( load( "one PB_BUFFER size 10\none PB_BUFFER id a\n" ), "" ) << "another way to say the same";
    EXPECT_EQ( load( "one PB_BUFFER ignored yes\none PB_BUFFER id a\n" ), "" );
    EXPECT_EQ( things.takeLog(), Log{} );
    EXPECT_EQ( object( "one" ).get(), one.get() );
    EXPECT_EQ( folder.names(), "main" ) << "the file is not rewritten";
}

TEST_F( Configuration, ComparesWithTheLastLoadNotWithTheFirst )
{
    load( "one PB_BUFFER id a\n" );
    load( "one PB_BUFFER id b\n" );
    things.takeLog();
    load( "one PB_BUFFER id b\n" );
    EXPECT_EQ( things.takeLog(), Log{} );
    load( "one PB_BUFFER id a\n" );
    EXPECT_EQ( things.takeLog(), Log{ "set a" } );
}

TEST_F( Configuration, ReplacesAnObjectOfAnotherSort )
{
    pb::Ref<pbObj> other = stringObject( "other" );
    static pbObj *made;
    made = other;
    auto strings = own( csSortBackendCreate(
        pbStringSort(), []( pbStore *, trAnchor * ) { return pbObjRetain( made ); },
        []( pbObj *, int64_t ) { return pbStoreCreate(); }, []( pbObj *, pbStore * ) {},
        []( pbStore *, int64_t ) { return pbStoreCreate(); }, nullptr, []( pbObj *, trAnchor * ) {}, nullptr ) );
    load( "one PB_BUFFER id a\n" );
    things.takeLog();
    EXPECT_EQ( load( "one PB_STRING id a\n" ), "" );
    EXPECT_EQ( things.takeLog(), Log{ "end a" } );
    EXPECT_FALSE( object( "one" ) );
    EXPECT_EQ( own( csObject( string( "one" ), pbStringSort() ) ).get(), other.get() );
    EXPECT_EQ( load( "one PB_BUFFER id b\n" ), "" ) << "a sort without end function";
    EXPECT_EQ( things.configOf( object( "one" ) ), "{ id = \"b\" }" );
    configuration.clear();
}

TEST_F( Configuration, ReadsBackWhatItsObjectsSay )
{
    load( "version cs 4.2\none PB_BUFFER ignored yes\none PB_BUFFER id a\n" );
    EXPECT_EQ( read( "one", 0 ), "{ id = \"a\" }" );
    EXPECT_EQ( read( "one", 1 ), "{ id = \"a\", size = 10 }" );
    EXPECT_EQ( read( "two", 1 ), "none" );
    auto update = own( csConfigurationRead( configuration, 0 ) );
    EXPECT_EQ( support::textOf( pbStoreToString( own( csUpdateModuleVersions( update ) ) ) ), "{ cs = \"4.2\" }" );
    load( "one PB_BUFFER id a\none PB_BUFFER size 7\n" );
    EXPECT_EQ( read( "one", 0 ), "{ id = \"a\", size = 7 }" );
    csConfigurationUnload( configuration );
    EXPECT_EQ( read( "one", 0 ), "none" );
}

TEST_F( Configuration, IsNotLoadedWhenItIsRefused )
{
    EXPECT_EQ( load( "one PB_BUFFER id a\none PB_BUFFER size -1\n" ), "2: object 'one': size: must not be below 0" );
    EXPECT_EQ( load( "one PB_BUFFER id a\ntwo NOTHING\n" ), "2: object 'two': its sort 'NOTHING' is not known" );
    EXPECT_EQ( load( "! broken" ), "1:3: broken" );
    EXPECT_EQ( things.takeLog(), Log{} ) << "nothing is made before everything is checked";
    EXPECT_FALSE( object( "one" ) );
    EXPECT_FALSE( own( csConfigurationTryLoad( linesFormat(), string( path() ), nullptr, nullptr ) ) );
}

TEST_F( Configuration, EndsWhatItMadeWhenAnotherObjectCannotBeMade )
{
    const char *text = "one PB_BUFFER id a\ntwo PB_BUFFER id b\ntwo PB_BUFFER size 13\nthree PB_BUFFER id c\n";
    EXPECT_EQ( load( text ), " object 'two' cannot be made" );
    EXPECT_EQ( things.takeLog(), ( Log{ "create a", "create b", "end a" } ) );
    EXPECT_FALSE( object( "one" ) );
}

TEST_F( Configuration, StaysWhenAReloadIsRefused )
{
    load( "one PB_BUFFER id a\ntwo PB_BUFFER id b\n" );
    things.takeLog();
    auto one = object( "one" );
    auto two = object( "two" );
    EXPECT_NE( load( "! broken" ), "" );
    EXPECT_NE( load( "one PB_BUFFER id changed\nthree PB_BUFFER size -1\n" ), "" );
    EXPECT_EQ( things.takeLog(), Log{} );
    EXPECT_NE( load( "one PB_BUFFER id changed\nfour PB_BUFFER id d\nthree PB_BUFFER size 13\n" ), "" );
    EXPECT_EQ( things.takeLog(), ( Log{ "create d", "create ?", "end d" } ) ) << "the changed one is not set";
    std::filesystem::remove( path() );
    EXPECT_FALSE( csConfigurationTryReload( configuration, nullptr ) );
    EXPECT_EQ( object( "one" ).get(), one.get() );
    EXPECT_EQ( object( "two" ).get(), two.get() );
    EXPECT_FALSE( object( "four" ) );
    EXPECT_EQ( read( "one", 0 ), "{ id = \"a\" }" );
    EXPECT_EQ( load( "one PB_BUFFER id a\ntwo PB_BUFFER id b\n" ), "" );
    EXPECT_EQ( things.takeLog(), Log{} ) << "and a good file changes no more than it would have";
}

// Renames the key "name" to "id" below version 2.0.
void renameKey( csUpdateBackend *, csUpdate **update )
{
    auto version = own( csUpdateModuleVersion( *update, csModule() ) );
    if( version && pbModuleVersionMajor( version ) >= 2 )
        return;
    auto objects = own( csUpdateObjectsBySort( *update, pbBufferSort() ) );
    for( int64_t index = 0; index < csUpdateObjectsLength( objects ); index++ )
    {
        auto name = own( csUpdateObjectsNameAt( objects, index ) );
        auto config = own( csUpdateObjectConfig( *update, name ) );
        auto id = own( pbStoreValueCstr( config, "name", -1 ) );
        if( !id )
            continue;
        pbStoreDelKeyCstr( config.inout(), "name", -1 );
        pbStoreSetValueCstr( config.inout(), "id", -1, id );
        csUpdateSetObject( update, name, pbBufferSort(), config );
    }
    csUpdateSetModuleVersion( update, csModule(), own( pbModuleVersionCreate( 2, 0 ) ) );
}

class Migration : public Configuration
{
protected:
    pb::Ref<csUpdateBackend> backend = own( csUpdateBackendCreateCstr( "rename", -1, renameKey ) );
};

TEST_F( Migration, RewritesTheFileOnceAndKeepsTheOldOne )
{
    const char *before = "one PB_BUFFER name a\n";
    const char *after = "version cs 2.0\none PB_BUFFER id a\n";
    EXPECT_EQ( load( before ), "" );
    EXPECT_EQ( things.takeLog(), Log{ "create a" } );
    EXPECT_EQ( readText( path() ), after );
    EXPECT_EQ( readText( path() + ".bak" ), before );
    std::filesystem::remove( path() + ".bak" );
    auto inode = [&]
    {
        struct stat status = {};
        ::stat( path().c_str(), &status );
        return status.st_ino;
    };
    ino_t first = inode();
    EXPECT_TRUE( csConfigurationTryReload( configuration, nullptr ) );
    EXPECT_EQ( inode(), first );
    EXPECT_EQ( folder.names(), "main" ) << "the second time there is nothing to do";
    EXPECT_EQ( things.takeLog(), Log{} );
}

TEST_F( Migration, LeavesANewerFileAlone )
{
    const char *text = "version cs 2.0\none PB_BUFFER name a\n";
    EXPECT_EQ( load( text ), "" );
    EXPECT_EQ( things.takeLog(), Log{ "create ?" } );
    EXPECT_EQ( readText( path() ), text );
    EXPECT_EQ( folder.names(), "main" );
}

TEST_F( Migration, LeavesTheFileAloneWhenTheConfigurationIsRefused )
{
    const char *text = "one PB_BUFFER name a\none PB_BUFFER size -1\n";
    EXPECT_EQ( load( text ), "2: object 'one': size: must not be below 0" );
    const char *unmade = "one PB_BUFFER name a\none PB_BUFFER size 13\n";
    EXPECT_EQ( load( unmade ), " object 'one' cannot be made" );
    EXPECT_EQ( readText( path() ), unmade );
    EXPECT_EQ( folder.names(), "main" );
}

TEST_F( Migration, RefusesTheConfigurationWhenTheFileCannotBeWritten )
{
    load( "version cs 2.0\none PB_BUFFER id a\n" );
    things.takeLog();
    std::filesystem::create_directory( path() + ".bak" );
    EXPECT_EQ( load( "one PB_BUFFER name b\ntwo PB_BUFFER name c\n" ),
               " its copy '" + path() + ".bak' cannot be replaced: Is a directory" );
    EXPECT_EQ( things.takeLog(), ( Log{ "create c", "end c" } ) );
    EXPECT_EQ( read( "one", 0 ), "{ id = \"a\" }" );
    EXPECT_FALSE( object( "two" ) );
}

using ConfigurationTrace = recorded::Recorded;

TEST_F( ConfigurationTrace, TellsWhatWasLoadedAndWhatWasRefused )
{
    Folder folder;
    Things things;
    writeText( folder.file( "main" ), "one PB_BUFFER\n" );
    auto stream = recorded::stream();
    auto anchor = own( trAnchorCreate( stream, 1 ) );
    auto configuration =
        own( csConfigurationTryLoad( linesFormat(), string( folder.file( "main" ) ), anchor, nullptr ) );
    EXPECT_EQ( recorded::textOf( lineAt( -1 ) ), "loaded" );
    writeText( folder.file( "main" ), "! broken" );
    EXPECT_FALSE( csConfigurationTryReload( configuration, nullptr ) );
    EXPECT_EQ( recorded::textOf( lineAt( -1 ) ), "refused: " + folder.file( "main" ) + ":1:3: broken" );
    configuration.clear();
}

using ConfigurationObserved = Scheduled;

TEST_F( ConfigurationObserved, TellsObserversWhenAnObjectComesAndGoes )
{
    Folder folder;
    Things things;
    Waiter waiter;
    auto signalable = waiter.signalable();
    auto observer = own( csObjectObserverCreateWithRequiredSort( pbBufferSort() ) );
    csObjectObserverConfigure( observer, string( "one" ), nullptr );
    csObjectObserverUpdateAddSignalable( observer, signalable );
    writeText( folder.file( "main" ), "one PB_BUFFER id a\n" );
    auto configuration =
        own( csConfigurationTryLoad( linesFormat(), string( folder.file( "main" ) ), nullptr, nullptr ) );
    run();
    EXPECT_EQ( waiter.runs, 1 );
    EXPECT_TRUE( own( csObjectObserverObject( observer ) ) );
    csObjectObserverUpdateAddSignalable( observer, signalable );
    writeText( folder.file( "main" ), "one PB_BUFFER id b\n" );
    EXPECT_TRUE( csConfigurationTryReload( configuration, nullptr ) );
    run();
    EXPECT_EQ( waiter.runs, 1 ) << "it is the same object";
    csConfigurationUnload( configuration );
    run();
    EXPECT_EQ( waiter.runs, 2 );
    EXPECT_FALSE( own( csObjectObserverObject( observer ) ) );
}

TEST( ConfigurationDeathTest, RefusesNull )
{
    const char *where = "source/cs/cs_configuration";
    EXPECT_ABORT( csConfigurationTryLoad( nullptr, nullptr, nullptr, nullptr ), where, "format" );
    EXPECT_ABORT( csConfigurationTryLoad( linesFormat(), nullptr, nullptr, nullptr ), where, "path" );
    EXPECT_ABORT( csConfigurationTryReload( nullptr, nullptr ), where, "configuration" );
    EXPECT_ABORT( csConfigurationRead( nullptr, 0 ), where, "configuration" );
    EXPECT_ABORT( csConfigurationUnload( nullptr ), where, "configuration" );
}

} // namespace
