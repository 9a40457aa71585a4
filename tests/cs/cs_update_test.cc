// Updates: the stored form of configurations.
#include "cs_support.h"
#include "support/abort.h"

#include <cs/cs_object_record.h>
#include <cs/cs_update.h>
#include <tr/tr_stream.h>

namespace
{

using namespace cs_support;
using Update = pb::Ref<csUpdate>;

pb::Ref<pbStore> configOf( const char *id, int64_t size = 10 )
{
    auto config = own( pbStoreCreate() );
    pbStoreSetValueCstr( config.inout(), "id", -1, string( id ) );
    if( size != 10 )
        pbStoreSetValueIntCstr( config.inout(), "size", -1, size );
    return config;
}

Update updateOf( const std::vector<std::pair<const char *, pbSort *>> &objects )
{
    Update update = own( csUpdateCreate() );
    for( const auto &[name, sort] : objects )
        csUpdateSetObject( update.inout(), string( name ), sort, configOf( name ) );
    return update;
}

std::string namesOf( csUpdateObjects *objects )
{
    pb::Ref<csUpdateObjects> owned = own( objects );
    std::string names;
    for( int64_t index = 0; index < csUpdateObjectsLength( owned ); index++ )
        names += support::textOf( csUpdateObjectsNameAt( owned, index ) ) + " ";
    return names;
}

TEST( Update, HoldsNothingAtFirst )
{
    Update update = own( csUpdateCreate() );
    EXPECT_EQ( namesOf( csUpdateAllObjects( update ) ), "" );
    EXPECT_FALSE( own( csUpdateModuleVersion( update, csModule() ) ) );
    EXPECT_FALSE( own( csUpdateObjectSortName( update, string( "one" ) ) ) );
    EXPECT_FALSE( own( csUpdateObjectConfig( update, string( "one" ) ) ) );
}

TEST( Update, RecordsAVersionForEachModule )
{
    Update update = own( csUpdateCreate() );
    csUpdateSetModuleVersion( update.inout(), csModule(), own( pbModuleVersionCreate( 3, 1 ) ) );
    csUpdateSetModuleVersion( update.inout(), trModule(), own( pbModuleVersionCreate( 7, 0 ) ) );
    csUpdateSetModuleVersion( update.inout(), csModule(), own( pbModuleVersionCreate( 3, 2 ) ) );
    EXPECT_EQ( support::textOf( pbModuleVersionToString( own( csUpdateModuleVersion( update, csModule() ) ) ) ),
               "3.2" );
    EXPECT_EQ( support::textOf( pbStoreToString( own( csUpdateModuleVersions( update ) ) ) ),
               "{ cs = \"3.2\", tr = \"7.0\" }" );
}

TEST( Update, TakesWhatIsNoVersionForNone )
{
    auto versions = own( pbStoreCreate() );
    pbStoreSetValueCstr( versions.inout(), "cs", -1, string( "three" ) );
    pbStoreSetValueIntCstr( versions.inout(), "tr", -1, 3 );
    Update update = own( csUpdateCreate() );
    csUpdateSetModuleVersions( update.inout(), versions );
    EXPECT_FALSE( own( csUpdateModuleVersion( update, csModule() ) ) );
    EXPECT_FALSE( own( csUpdateModuleVersion( update, trModule() ) ) );
}

TEST( Update, ListsObjectsInStoredOrder )
{
    Update update = updateOf( { { "z", pbBufferSort() }, { "b", pbStringSort() }, { "a", pbBufferSort() } } );
    EXPECT_EQ( namesOf( csUpdateAllObjects( update ) ), "z b a " );
    EXPECT_EQ( namesOf( csUpdateObjectsBySort( update, pbBufferSort() ) ), "z a " );
    EXPECT_EQ( namesOf( csUpdateObjectsBySort( update, pbStoreSort() ) ), "" );
    csUpdateSetObject( update.inout(), string( "z" ), pbStringSort(), configOf( "z" ) );
    EXPECT_EQ( namesOf( csUpdateAllObjects( update ) ), "z b a " ) << "set in its place";
    EXPECT_EQ( namesOf( csUpdateObjectsBySort( update, pbStringSort() ) ), "z b " );
    csUpdateDelObject( update.inout(), string( "b" ) );
    csUpdateDelObject( update.inout(), string( "b" ) );
    EXPECT_EQ( namesOf( csUpdateAllObjects( update ) ), "z a " );
}

TEST( Update, GivesAndTakesConfigurations )
{
    Update update = updateOf( { { "one", pbBufferSort() } } );
    EXPECT_EQ( support::textOf( csUpdateObjectSortName( update, string( "one" ) ) ), "PB_BUFFER" );
    auto config = own( csUpdateObjectConfig( update, string( "one" ) ) );
    EXPECT_EQ( support::textOf( pbStoreToString( config ) ), "{ id = \"one\" }" );
    pbStoreSetValueCstr( config.inout(), "id", -1, string( "changed" ) );
    EXPECT_EQ( support::textOf( pbStoreToString( own( csUpdateObjectConfig( update, string( "one" ) ) ) ) ),
               "{ id = \"one\" }" )
        << "only what is set is changed";
    csUpdateSetObject( update.inout(), string( "one" ), pbBufferSort(), config );
    EXPECT_TRUE( pbStoreEquals( own( csUpdateObjectConfig( update, string( "one" ) ) ), config ) );
}

TEST( Update, IsAValueThatIsCopiedOnWrite )
{
    Update update = updateOf( { { "one", pbBufferSort() } } );
    Update copy = update;
    csUpdateSetObject( copy.inout(), string( "two" ), pbBufferSort(), configOf( "two" ) );
    csUpdateSetModuleVersion( copy.inout(), csModule(), own( pbModuleVersionCreate( 3, 1 ) ) );
    EXPECT_EQ( namesOf( csUpdateAllObjects( update ) ), "one " );
    EXPECT_EQ( namesOf( csUpdateAllObjects( copy ) ), "one two " );
    EXPECT_FALSE( own( csUpdateModuleVersion( update, csModule() ) ) );
}

TEST( Update, IsComparedByContent )
{
    Update update = updateOf( { { "one", pbBufferSort() }, { "two", pbBufferSort() } } );
    EXPECT_TRUE( csUpdateEquals( update, updateOf( { { "two", pbBufferSort() }, { "one", pbBufferSort() } } ) ) );
    EXPECT_FALSE( csUpdateEquals( update, updateOf( { { "one", pbBufferSort() } } ) ) );
    EXPECT_FALSE( csUpdateEquals( update, updateOf( { { "one", pbBufferSort() }, { "two", pbStringSort() } } ) ) );
    Update versioned = update;
    csUpdateSetModuleVersion( versioned.inout(), csModule(), own( pbModuleVersionCreate( 3, 1 ) ) );
    EXPECT_FALSE( csUpdateEquals( update, versioned ) );
    EXPECT_EQ( support::textOf( csUpdateToString( update ) ), "CS_UPDATE" );
}

TEST( Normalizing, GivesEachConfigurationItsCanonicalForm )
{
    Things things;
    Update update = own( csUpdateCreate() );
    csUpdateSetObject( update.inout(), string( "one" ), pbBufferSort(), configOf( "a" ) );
    csUpdateSetModuleVersion( update.inout(), csModule(), own( pbModuleVersionCreate( 3, 1 ) ) );
    Update full = own( csUpdateTryNormalize( update, 1, nullptr, nullptr ) );
    ASSERT_TRUE( full );
    EXPECT_EQ( support::textOf( pbStoreToString( own( csUpdateObjectConfig( full, string( "one" ) ) ) ) ),
               "{ id = \"a\", size = 10 }" );
    EXPECT_TRUE( csUpdateEquals( own( csUpdateTryNormalize( full, 0, nullptr, nullptr ) ), update ) );
    EXPECT_TRUE( csUpdateEquals( own( csUpdateTryNormalize( full, 1, nullptr, nullptr ) ), full ) );
    EXPECT_TRUE( things.takeLog().empty() ) << "no object is made";
}

std::string refusalOf( csUpdate *update )
{
    pb::Ref<pbString> object;
    pb::Ref<pbString> reason;
    EXPECT_FALSE( own( csUpdateTryNormalize( update, 0, object.inout(), reason.inout() ) ) );
    EXPECT_FALSE( own( csUpdateTryNormalize( update, 0, nullptr, nullptr ) ) );
    // What the references held before is given back.
    EXPECT_FALSE( own( csUpdateTryNormalize( update, 0, object.inout(), reason.inout() ) ) );
    return support::text( object ) + " | " + support::text( reason );
}

TEST( Normalizing, RefusesWhatCannotBeTaken )
{
    Things things;
    EXPECT_EQ( refusalOf( updateOf( { { "one", pbBufferSort() }, { "two", pbStringSort() } } ) ),
               "two | object 'two': its sort 'PB_STRING' is not known" );
    EXPECT_EQ( refusalOf( updateOf( { { "no name", pbBufferSort() } } ) ),
               "no name | 'no name' cannot be the name of an object: it must be 1 to 255 letters, digits, '_', '-' or "
               "'.'" );
    Update update = own( csUpdateCreate() );
    csUpdateSetObject( update.inout(), string( "one" ), pbBufferSort(), configOf( "a", -1 ) );
    EXPECT_EQ( refusalOf( update ), "one | object 'one': size: must not be below 0" );
}

TEST( UpdateDeathTest, RefusesNull )
{
    const char *path = "source/cs/cs_update";
    Update update = own( csUpdateCreate() );
    auto name = string( "one" );
    auto config = own( pbStoreCreate() );
    csUpdate *none = nullptr;
    EXPECT_ABORT( csUpdateModuleVersion( nullptr, csModule() ), path, "update" );
    EXPECT_ABORT( csUpdateModuleVersion( update, nullptr ), path, "module" );
    EXPECT_ABORT( csUpdateSetModuleVersion( nullptr, csModule(), nullptr ), path, "update" );
    EXPECT_ABORT( csUpdateSetModuleVersion( &none, csModule(), nullptr ), path, "*update" );
    EXPECT_ABORT( csUpdateSetModuleVersion( update.inout(), nullptr, nullptr ), path, "module" );
    EXPECT_ABORT( csUpdateSetModuleVersion( update.inout(), csModule(), nullptr ), path, "version" );
    EXPECT_ABORT( csUpdateSetModuleVersions( update.inout(), nullptr ), path, "versions" );
    EXPECT_ABORT( csUpdateObjectsBySort( update, nullptr ), path, "sort" );
    EXPECT_ABORT( csUpdateObjectConfig( update, nullptr ), path, "name" );
    EXPECT_ABORT( csUpdateSetObject( update.inout(), name, nullptr, config ), path, "sort" );
    EXPECT_ABORT( csUpdateSetObject( update.inout(), name, pbBufferSort(), nullptr ), path, "config" );
    EXPECT_ABORT( csUpdateSetObjectWithSortName( update.inout(), name, nullptr, config ), path, "sortName" );
    EXPECT_ABORT( csUpdateDelObject( update.inout(), nullptr ), path, "name" );
    EXPECT_ABORT( csUpdateTryNormalize( nullptr, 0, nullptr, nullptr ), path, "update" );
    EXPECT_ABORT( csUpdateObjectsLength( nullptr ), "source/cs/cs_update_objects", "objects" );
    EXPECT_ABORT( csUpdateObjectsNameAt( nullptr, 0 ), "source/cs/cs_update_objects", "objects" );
}

} // namespace
