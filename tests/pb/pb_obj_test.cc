// Objects and sorts.
#include "support/abort.h"
#include "support/text.h"

#include "pb/pb_object.h"

#include <pb/pb_dict.h>
#include <pb/pb_module.h>
#include <pb/pb_module_version.h>

#include <set>
#include <thread>
#include <vector>

namespace
{

using pb::own;
using support::buffer;
using support::string;
using support::textOf;

pb::Ref<pbModuleVersion> version()
{
    return own( pbModuleVersionCreate( 1, 2 ) );
}

int64_t liveVersions()
{
    return pbSortLiveObjects( pbModuleVersionSort() );
}

TEST( Obj, LivesAsLongAsItHasAReference )
{
    int64_t before = liveVersions();
    pbObj *obj = pbModuleVersionObj( pbModuleVersionCreate( 1, 2 ) );
    EXPECT_EQ( pbObjRetain( obj ), obj );
    pbObjRelease( obj );
    EXPECT_EQ( liveVersions(), before + 1 );
    pbObjRelease( obj );
    EXPECT_EQ( liveVersions(), before );
}

TEST( Obj, KnowsItsSort )
{
    auto obj = version();
    EXPECT_EQ( pbObjSort( pbModuleVersionObj( obj ) ), pbModuleVersionSort() );
    EXPECT_STREQ( pbSortName( pbModuleVersionSort() ), "PB_MODULE_VERSION" );
    EXPECT_EQ( pbSortModule( pbModuleVersionSort() ), pbBaseModule() );
}

TEST( Obj, IsOrderedByItsSortsCompareFunction )
{
    EXPECT_EQ( pbObjCompare( pbStringObj( string( "a" ) ), pbStringObj( string( "a" ) ) ), 0 );
    EXPECT_LT( pbObjCompare( pbStringObj( string( "a" ) ), pbStringObj( string( "b" ) ) ), 0 );
}

TEST( Obj, IsOrderedByIdentityWhenItsSortHasNoCompareFunction )
{
    auto a = own( pbDictCreate() );
    auto b = a;
    pbDictSetValue( a.inout(), string( "key" ), pbStringObj( string( "value" ) ) );
    pbDictSetValue( b.inout(), string( "key" ), pbStringObj( string( "value" ) ) );
    EXPECT_EQ( pbObjCompare( pbDictObj( a ), pbDictObj( a ) ), 0 );
    int64_t order = pbObjCompare( pbDictObj( a ), pbDictObj( b ) );
    EXPECT_NE( order, 0 );
    EXPECT_EQ( pbObjCompare( pbDictObj( b ), pbDictObj( a ) ), -order );
}

TEST( Obj, IsOrderedBySortFirst )
{
    auto text = string( "a" );
    auto bytes = buffer( "a" );
    int64_t order = pbObjCompare( pbStringObj( text ), pbBufferObj( bytes ) );
    EXPECT_NE( order, 0 );
    EXPECT_EQ( pbObjCompare( pbBufferObj( bytes ), pbStringObj( text ) ), -order );
    EXPECT_EQ( pbObjCompare( pbStringObj( string( "z" ) ), pbBufferObj( buffer( "z" ) ) ), order );
}

TEST( Obj, PrintsAsItsSortSaysOrAsTheNameOfTheSort )
{
    EXPECT_EQ( textOf( pbObjToString( pbStringObj( string( "a" ) ) ) ), "a" );
    EXPECT_EQ( textOf( pbObjToString( pbModuleVersionObj( version() ) ) ), "1.2" );
    EXPECT_EQ( textOf( pbObjToString( pbDictObj( own( pbDictCreate() ) ) ) ), "PB_DICT" );
}

TEST( Obj, IsCountedFromAnyThread )
{
    constexpr int threadsLength = 4;
    constexpr int rounds = 20000;
    int64_t before = liveVersions();
    auto shared = version();
    std::vector<std::thread> threads;
    for( int index = 0; index < threadsLength; index++ )
        threads.emplace_back(
            [shared]
            {
                for( int round = 0; round < rounds; round++ )
                {
                    auto another = shared;
                    auto fresh = version();
                }
            } );
    for( std::thread &thread : threads )
        thread.join();
    threads.clear();
    EXPECT_EQ( liveVersions(), before + 1 );
    auto *obj = pbModuleVersionObj( shared );
    EXPECT_EQ( obj->object.references.load(), 1 );
}

TEST( Sort, CountsObjectsThatOutliveTheirThread )
{
    int64_t before = liveVersions();
    int64_t allBefore = pbObjLiveObjects();
    std::vector<pb::Ref<pbModuleVersion>> made;
    std::thread( [&] { made = { version(), version(), version() }; } ).join();
    EXPECT_EQ( liveVersions(), before + 3 );
    EXPECT_EQ( pbObjLiveObjects(), allBefore + 3 );
    std::thread( [&] { made.pop_back(); } ).join();
    EXPECT_EQ( liveVersions(), before + 2 );
    made.clear();
    EXPECT_EQ( liveVersions(), before );
}

// Frees an object in the destructor of a thread variable, which runs late in the life of a thread.
struct LateRelease
{
    pb::Ref<pbModuleVersion> held;
};

TEST( Sort, CountsObjectsThatAnEndingThreadFrees )
{
    int64_t before = liveVersions();
    std::thread(
        []
        {
            // Set up before the thread's first object, so that it ends after the runtime's own record of the thread.
            static thread_local LateRelease late;
            late.held = nullptr;
            late.held = version();
        } )
        .join();
    EXPECT_EQ( liveVersions(), before );
}

TEST( Sort, IsListedOnceAfterItsFirstObject )
{
    auto obj = version();
    std::multiset<std::string> names;
    for( pbSort *sort = pbSortNext( nullptr ); sort; sort = pbSortNext( sort ) )
        names.insert( pbSortName( sort ) );
    EXPECT_EQ( names.count( "PB_MODULE_VERSION" ), 1u );
    for( const std::string &name : names )
        EXPECT_EQ( names.count( name ), 1u ) << name;
}

TEST( Sort, DoesNotCountStaticObjects )
{
    int64_t before = pbObjLiveObjects();
    auto empty = own( pbDictCreate() );
    auto again = empty;
    EXPECT_EQ( pbObjLiveObjects(), before );
}

TEST( ObjDeathTest, RefusesNull )
{
    EXPECT_ABORT( pbObjRetain( nullptr ), "source/pb/pb_obj", "obj" );
    EXPECT_ABORT( pbObjRelease( nullptr ), "source/pb/pb_obj", "obj" );
    EXPECT_ABORT( pbObjSort( nullptr ), "source/pb/pb_obj", "obj" );
    EXPECT_ABORT( pbObjToString( nullptr ), "source/pb/pb_obj", "obj" );
    EXPECT_ABORT( pbObjCompare( nullptr, nullptr ), "source/pb/pb_obj", "objA" );
    EXPECT_ABORT( pbSortName( nullptr ), "source/pb/pb_obj", "sort" );
}

} // namespace
