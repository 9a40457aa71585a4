// The registry of objects.
#include "cs_support.h"
#include "support/abort.h"

#include <cs/cs_object_record.h>

namespace
{

using namespace cs_support;

bool shows( const char *name, pbObj *object )
{
    return own( csObject( string( name ), pbStringSort() ) ).get() == object;
}

TEST( Object, IsFoundByItsName )
{
    auto first = stringObject( "first" );
    auto second = stringObject( "second" );
    Named one( "one", first );
    Named two( "two", second );
    EXPECT_TRUE( shows( "one", first ) );
    EXPECT_TRUE( shows( "two", second ) );
    EXPECT_TRUE( shows( "three", nullptr ) );
    EXPECT_TRUE( shows( "One", nullptr ) ) << "names are told apart by their case";
}

TEST( Object, IsNotFoundUnderAnotherSort )
{
    auto object = bufferObject();
    Named one( "one", object );
    EXPECT_TRUE( shows( "one", nullptr ) );
    EXPECT_EQ( own( csObject( string( "one" ), pbBufferSort() ) ).get(), object.get() );
}

TEST( Object, TakesThePlaceOfAnEarlierOne )
{
    auto first = stringObject( "first" );
    auto second = stringObject( "second" );
    Named one( "one", first );
    csSetObject( string( "one" ), second );
    EXPECT_TRUE( shows( "one", second ) );
    csSetObject( string( "one" ), second );
    EXPECT_TRUE( shows( "one", second ) );
}

TEST( Object, IsTakenAwayByNull )
{
    csSetObject( string( "none" ), nullptr );
    csSetObject( string( "one" ), stringObject( "first" ) );
    csSetObject( string( "one" ), nullptr );
    EXPECT_TRUE( shows( "one", nullptr ) );
}

TEST( Object, MayStandUnderSeveralNames )
{
    auto object = stringObject( "first" );
    Named one( "one", object );
    {
        Named two( "two", object );
        EXPECT_TRUE( shows( "two", object ) );
    }
    EXPECT_TRUE( shows( "one", object ) );
    EXPECT_TRUE( shows( "two", nullptr ) );
}

TEST( Object, IsDroppedWhenTheModuleStops )
{
    ASSERT_TRUE( pbModuleStart( csModule() ) );
    csSetObject( string( "one" ), stringObject( "first" ) );
    csSetObject( string( "two" ), stringObject( "second" ) );
    pbModuleStop( csModule() );
    EXPECT_TRUE( shows( "one", nullptr ) );
    ASSERT_TRUE( pbModuleStart( csModule() ) );
    EXPECT_TRUE( shows( "two", nullptr ) );
    pbModuleStop( csModule() );
}

TEST( ObjectDeathTest, RefusesWhatIsNoRecordName )
{
    EXPECT_ABORT( csSetObject( string( "no name" ), nullptr ), "source/cs/cs_object",
                  "csObjectRecordNameOk( name )" );
    EXPECT_ABORT( csSetObject( nullptr, nullptr ), "source/cs/cs_object_record", "name" );
    EXPECT_ABORT( csObject( nullptr, pbStringSort() ), "source/cs/cs_object", "name" );
    EXPECT_ABORT( csObject( string( "one" ), nullptr ), "source/cs/cs_object", "requiredSort" );
}

} // namespace
