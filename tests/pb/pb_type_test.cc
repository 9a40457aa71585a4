// The rows that define a type, on a type of this test with one field of each kind.
#include "support/abort.h"
#include "support/text.h"

#include "pb/pb_module_private.h"
#include "pb/pb_type.h"

static constexpr pb___ModuleRecord testRecord = { "test", "Test", "1.0", "pb" };
static int64_t testStarts = 0;
static constexpr pbModule test___module = { &testRecord, nullptr, nullptr, nullptr, &testStarts };

#define TEST_KIND_OK( kind ) ( (uint64_t) ( kind ) <= 2 )

namespace
{

struct testThing
{
    pb::Object object;
    int64_t kind;
    pbBool lit;
    pb::Field<pbString> name;
    pb::Field<pbVector> words;
    pb::Field<pbVector> things;
};

bool wordOk( pbString *word )
{
    return pbStringLength( word ) > 0;
}

PB_TYPE( testThing, TEST_THING, test, test___ThingFreeFunc, nullptr );

PB_FIELD_ENUM( testThing, th, Kind, kind, kind, TEST_KIND_OK( kind ) );
PB_FIELD_BOOL( testThing, th, Lit, lit );
PB_FIELD_OBJECT( testThing, th, Name, name, pbString, name, wordOk( name ) );
PB_FIELD_STRINGS( testThing, th, Words, Word, words, word, wordOk( word ) );
PB_FIELD_OBJECTS( testThing, th, Things, Thing, things, testThing, thing, vec, pbVectorContainsOnly( vec, testThingSort() ) );

void test___ThingFreeFunc( pbObj *obj )
{
    testThing *thing = testThingFrom( obj );
    PB_ASSERT( thing );
    pb::poison( thing->name, thing->words, thing->things );
}

using pb::own;
using support::string;
using support::text;
using support::textOf;

pb::Ref<testThing> thing()
{
    auto made = pb::create<testThing>( &test___sort_TEST_THING );
    made->words = own( pbVectorCreate() );
    made->things = own( pbVectorCreate() );
    return made;
}

pb::Ref<testThing> named( const char *name )
{
    auto made = thing();
    testThingSetName( made.inout(), string( name ) );
    return made;
}

pb::Ref<pbVector> vectorOf( std::initializer_list<const char *> texts )
{
    auto vec = own( pbVectorCreate() );
    for( const char *item : texts )
        pbVectorAppendString( vec.inout(), string( item ) );
    return vec;
}

std::string words( testThing *th )
{
    std::string joined;
    for( int64_t index = 0; index < testThingWordsLength( th ); index++ )
        joined += textOf( testThingWordAt( th, index ) ) + " ";
    return joined;
}

TEST( Type, HasItsStandardFunctions )
{
    auto made = thing();
    EXPECT_EQ( testThingSort(), &test___sort_TEST_THING );
    EXPECT_STREQ( pbSortName( testThingSort() ), "TEST_THING" );
    EXPECT_EQ( pbSortModule( testThingSort() ), &test___module );
    EXPECT_EQ( testThingRetain( made ), made.get() );
    testThingRelease( made );
    EXPECT_EQ( testThingFrom( testThingObj( made ) ), made.get() );
    EXPECT_EQ( textOf( testThingToString( made ) ), "TEST_THING" );
    EXPECT_EQ( testThingCompare( made, made ), 0 );
    EXPECT_TRUE( testThingEquals( made, made ) );
    EXPECT_FALSE( testThingEquals( made, thing() ) );
}

TEST( Type, PassesNullThroughFrom )
{
    EXPECT_EQ( testThingFrom( nullptr ), nullptr );
    EXPECT_EQ( testThingObj( nullptr ), nullptr );
}

TEST( Type, SetterLeavesTheOtherHolderAlone )
{
    auto one = named( "alice" );
    testThingSetKind( one.inout(), 2 );
    testThingAppendWord( one.inout(), string( "w" ) );
    auto other = one;
    testThingSetName( one.inout(), string( "bob" ) );
    EXPECT_NE( one.get(), other.get() );
    EXPECT_EQ( textOf( testThingName( other ) ), "alice" );
    EXPECT_EQ( textOf( testThingName( one ) ), "bob" );
    EXPECT_EQ( testThingKind( one ), 2 );
    EXPECT_EQ( words( one ), "w " );
}

TEST( Type, SetterChangesASoleHoldersObjectInPlace )
{
    auto one = named( "alice" );
    testThing *before = one;
    testThingSetName( one.inout(), string( "bob" ) );
    testThingSetKind( one.inout(), 1 );
    testThingSetLit( one.inout(), 1 );
    testThingDelName( one.inout() );
    testThingAppendWord( one.inout(), string( "w" ) );
    testThingClearWords( one.inout() );
    EXPECT_EQ( one.get(), before );
}

TEST( EnumField, KeepsItsValue )
{
    auto made = thing();
    EXPECT_EQ( testThingKind( made ), 0 );
    testThingSetKind( made.inout(), 2 );
    EXPECT_EQ( testThingKind( made ), 2 );
}

TEST( BoolField, IsStoredAsZeroOrOne )
{
    auto made = thing();
    for( pbBool value : { 2, -1, 256, 1 } )
    {
        testThingSetLit( made.inout(), value );
        EXPECT_EQ( testThingLit( made ), 1 );
    }
    testThingSetLit( made.inout(), 0 );
    EXPECT_EQ( testThingLit( made ), 0 );
}

TEST( ObjectField, IsAbsentUntilItIsSet )
{
    auto made = thing();
    EXPECT_FALSE( testThingHasName( made ) );
    EXPECT_EQ( testThingName( made ), nullptr );
    testThingDelName( made.inout() );
    testThingSetName( made.inout(), string( "alice" ) );
    EXPECT_TRUE( testThingHasName( made ) );
    EXPECT_EQ( textOf( testThingName( made ) ), "alice" );
    testThingDelName( made.inout() );
    EXPECT_FALSE( testThingHasName( made ) );
}

TEST( ObjectField, CanBeSetToItsOwnValue )
{
    auto made = named( "alice" );
    pbString *borrowed = own( testThingName( made ) );
    testThingSetName( made.inout(), borrowed );
    EXPECT_EQ( textOf( testThingName( made ) ), "alice" );
}

TEST( StringsField, IsEmptyAndNotNullAtFirst )
{
    auto made = thing();
    EXPECT_EQ( testThingWordsLength( made ), 0 );
    EXPECT_TRUE( own( testThingWordsVector( made ) ) );
}

TEST( StringsField, TakesItemsAtAnyPlace )
{
    auto made = thing();
    testThingAppendWord( made.inout(), string( "b" ) );
    testThingPrependWord( made.inout(), string( "a" ) );
    testThingInsertWord( made.inout(), 2, string( "d" ) );
    testThingInsertWord( made.inout(), 2, string( "c" ) );
    EXPECT_EQ( words( made ), "a b c d " );
    testThingClearWords( made.inout() );
    EXPECT_EQ( testThingWordsLength( made ), 0 );
}

TEST( StringsField, ReturnedVectorIsIndependent )
{
    auto made = thing();
    testThingAppendWord( made.inout(), string( "a" ) );
    auto vec = own( testThingWordsVector( made ) );
    pbVectorAppendString( vec.inout(), string( "b" ) );
    EXPECT_EQ( words( made ), "a " );
    testThingAppendWord( made.inout(), string( "c" ) );
    EXPECT_EQ( pbVectorLength( vec ), 2 );
}

TEST( StringsField, IsSetFromAVectorOfAnyObjectsInTheirTextForm )
{
    auto made = thing();
    testThingAppendWord( made.inout(), string( "old" ) );
    auto vec = vectorOf( { "a", "b" } );
    pbVectorAppendObj( vec.inout(), testThingObj( made ) );
    testThingSetWordsVector( made.inout(), vec );
    EXPECT_EQ( words( made ), "a b TEST_THING " );
}

TEST( StringsField, CanBeSetFromItsOwnVector )
{
    auto made = thing();
    testThingSetWordsVector( made.inout(), vectorOf( { "a", "b" } ) );
    pbVector *borrowed = own( testThingWordsVector( made ) );
    testThingSetWordsVector( made.inout(), borrowed );
    EXPECT_EQ( words( made ), "a b " );
}

TEST( ObjectsField, TakesItemsAtAnyPlace )
{
    auto made = thing();
    testThingAppendThing( made.inout(), named( "b" ) );
    testThingPrependThing( made.inout(), named( "a" ) );
    testThingInsertThing( made.inout(), 1, named( "x" ) );
    ASSERT_EQ( testThingThingsLength( made ), 3 );
    EXPECT_EQ( textOf( testThingName( own( testThingThingAt( made, 1 ) ) ) ), "x" );
    testThingClearThings( made.inout() );
    EXPECT_EQ( testThingThingsLength( made ), 0 );
}

TEST( ObjectsField, SharesTheVectorThatItIsSetTo )
{
    auto made = thing();
    auto vec = own( pbVectorCreate() );
    pbVectorAppendObj( vec.inout(), testThingObj( named( "a" ) ) );
    testThingSetThingsVector( made.inout(), vec );
    EXPECT_EQ( own( testThingThingsVector( made ) ).get(), vec.get() );
}

TEST( TypeDeathTest, StandardFunctionsNameTheirContext )
{
    const char *path = "tests/pb/pb_type_test";
    auto made = thing();
    EXPECT_ABORT( testThingRetain( nullptr ), path, "stdfunc retain: obj" );
    EXPECT_ABORT( testThingRelease( nullptr ), path, "stdfunc release: obj" );
    EXPECT_ABORT( testThingToString( nullptr ), path, "stdfunc tostring: obj" );
    EXPECT_ABORT( testThingCompare( nullptr, made ), path, "stdfunc compare a: objA" );
    EXPECT_ABORT( testThingCompare( made, nullptr ), path, "stdfunc compare b: objB" );
    EXPECT_ABORT( testThingFrom( pbStringObj( string( "a" ) ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&test___sort_TEST_THING" );
}

TEST( TypeDeathTest, AccessorsAssertTheHolderAndTheObject )
{
    const char *path = "tests/pb/pb_type_test";
    testThing *none = nullptr;
    EXPECT_ABORT( testThingKind( nullptr ), path, "th" );
    EXPECT_ABORT( testThingSetKind( nullptr, 1 ), path, "th" );
    EXPECT_ABORT( testThingSetKind( &none, 1 ), path, "*th" );
    EXPECT_ABORT( testThingSetLit( &none, 1 ), path, "*th" );
    EXPECT_ABORT( testThingHasName( nullptr ), path, "th" );
    EXPECT_ABORT( testThingDelName( &none ), path, "*th" );
    EXPECT_ABORT( testThingWordsLength( nullptr ), path, "th" );
    EXPECT_ABORT( testThingClearWords( &none ), path, "*th" );
}

TEST( TypeDeathTest, SettersAssertTheCheckAsItIsWritten )
{
    const char *path = "tests/pb/pb_type_test";
    auto made = thing();
    auto empty = string( "" );
    EXPECT_ABORT( testThingSetKind( made.inout(), 3 ), path, "TEST_KIND_OK( kind )" );
    EXPECT_ABORT( testThingSetKind( made.inout(), -1 ), path, "TEST_KIND_OK( kind )" );
    EXPECT_ABORT( testThingSetName( made.inout(), empty ), path, "wordOk( name )" );
    EXPECT_ABORT( testThingAppendWord( made.inout(), empty ), path, "wordOk( word )" );
    EXPECT_ABORT( testThingPrependWord( made.inout(), empty ), path, "wordOk( word )" );
    EXPECT_ABORT( testThingInsertWord( made.inout(), 0, empty ), path, "wordOk( word )" );
    EXPECT_ABORT( testThingAppendThing( made.inout(), nullptr ), path, "thing" );
    EXPECT_ABORT( testThingSetThingsVector( made.inout(), vectorOf( { "a" } ) ), path,
                  "pbVectorContainsOnly( vec, testThingSort() )" );
    EXPECT_ABORT( testThingSetWordsVector( made.inout(), nullptr ), path, "vec" );
}

TEST( TypeDeathTest, VectorWithAnInvalidItemStopsAtThatItem )
{
    auto made = thing();
    EXPECT_ABORT( testThingSetWordsVector( made.inout(), vectorOf( { "a", "" } ) ), "tests/pb/pb_type_test",
                  "wordOk( word )" );
}

} // namespace
