// Stores.
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_store.h>

namespace
{

using pb::own;
using support::string;
using support::text;
using support::textOf;

pb::Ref<pbStore> sample()
{
    auto inner = own( pbStoreCreate() );
    pbStoreSetValueIntCstr( inner.inout(), "depth", -1, 2 );
    auto store = own( pbStoreCreate() );
    pbStoreSetValueCstr( store.inout(), "name", -1, string( "alice" ) );
    pbStoreSetValueIntCstr( store.inout(), "count", -1, -3 );
    pbStoreSetValueBoolCstr( store.inout(), "on", -1, 7 );
    pbStoreSetStoreCstr( store.inout(), "inner", -1, inner );
    return store;
}

std::string keys( pbStore *store )
{
    std::string joined;
    for( int64_t index = 0; index < pbStoreLength( store ); index++ )
        joined += textOf( pbStoreKeyAt( store, index ) ) + " ";
    return joined;
}

TEST( Store, IsEmptyWhenCreated )
{
    auto store = own( pbStoreCreate() );
    EXPECT_EQ( pbStoreLength( store ), 0 );
    EXPECT_EQ( pbStoreValueTypeCstr( store, "a", -1 ), PB_STORE_TYPE_INVALID );
    EXPECT_EQ( pbStoreValueCstr( store, "a", -1 ), nullptr );
    EXPECT_EQ( pbStoreStoreCstr( store, "a", -1 ), nullptr );
}

TEST( Store, KeepsValuesOfEachType )
{
    auto store = sample();
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "name", -1 ) ), "alice" );
    int64_t count = 0;
    EXPECT_TRUE( pbStoreValueIntCstr( store, "count", -1, &count ) );
    EXPECT_EQ( count, -3 );
    pbBool on = 0;
    EXPECT_TRUE( pbStoreValueBoolCstr( store, "on", -1, &on ) );
    EXPECT_EQ( on, 1 );
    auto inner = own( pbStoreStoreCstr( store, "inner", -1 ) );
    EXPECT_TRUE( pbStoreValueInt( inner, string( "depth" ), &count ) );
    EXPECT_EQ( count, 2 );
    EXPECT_EQ( pbStoreValueType( store, string( "name" ) ), PB_STORE_TYPE_STRING );
    EXPECT_EQ( pbStoreValueTypeCstr( store, "counter", 5 ), PB_STORE_TYPE_INT );
    EXPECT_EQ( pbStoreValueTypeCstr( store, "on", -1 ), PB_STORE_TYPE_BOOL );
    EXPECT_EQ( pbStoreValueTypeCstr( store, "inner", -1 ), PB_STORE_TYPE_STORE );
}

TEST( Store, GivesNoValueOfAnotherType )
{
    auto store = own( pbStoreCreate() );
    pbStoreSetValueCstr( store.inout(), "text", -1, string( "true" ) );
    pbStoreSetValueIntCstr( store.inout(), "int", -1, 1 );
    pbBool on = 5;
    EXPECT_FALSE( pbStoreValueBoolCstr( store, "text", -1, &on ) );
    EXPECT_FALSE( pbStoreValueBoolCstr( store, "int", -1, &on ) );
    EXPECT_EQ( on, 5 );
    int64_t number = 9;
    EXPECT_FALSE( pbStoreValueIntCstr( store, "text", -1, &number ) );
    EXPECT_EQ( number, 9 );
    EXPECT_EQ( pbStoreValueCstr( store, "int", -1 ), nullptr );
    EXPECT_EQ( pbStoreStoreCstr( store, "text", -1 ), nullptr );
}

TEST( Store, KeepsTheOrderInWhichKeysWereFirstSet )
{
    auto store = sample();
    pbStoreSetValueBoolCstr( store.inout(), "name", -1, 0 );
    EXPECT_EQ( keys( store ), "name count on inner " );
    EXPECT_EQ( pbStoreValueTypeCstr( store, "name", -1 ), PB_STORE_TYPE_BOOL );
    pbStoreDelKeyCstr( store.inout(), "count", -1 );
    pbStoreDelKeyCstr( store.inout(), "count", -1 );
    pbStoreSetValueIntCstr( store.inout(), "count", -1, 1 );
    EXPECT_EQ( keys( store ), "name on inner count " );
}

TEST( Store, LeavesTheOtherHolderAloneWhenItChanges )
{
    auto store = sample();
    auto other = store;
    pbStoreSetValueIntCstr( store.inout(), "count", -1, 5 );
    pbStoreDelKey( store.inout(), string( "name" ) );
    EXPECT_TRUE( pbStoreEquals( other, sample() ) );
    EXPECT_EQ( keys( store ), "count on inner " );
    EXPECT_EQ( own( pbStoreStoreCstr( store, "inner", -1 ) ).get(),
               own( pbStoreStoreCstr( other, "inner", -1 ) ).get() );
}

TEST( Store, ChangingAReturnedStoreLeavesItsParentAlone )
{
    auto store = sample();
    auto inner = own( pbStoreStoreCstr( store, "inner", -1 ) );
    pbStoreSetValueIntCstr( inner.inout(), "depth", -1, 9 );
    EXPECT_TRUE( pbStoreEquals( store, sample() ) );
}

TEST( Store, ChangesInPlaceWhenItHasOneHolder )
{
    auto store = sample();
    pbStore *before = store;
    pbStoreSetValueIntCstr( store.inout(), "count", -1, 5 );
    EXPECT_EQ( store.get(), before );
}

TEST( Store, StaysSharedWhenThereIsNothingToDelete )
{
    auto store = sample();
    auto other = store;
    pbStoreDelKeyCstr( store.inout(), "none", -1 );
    EXPECT_EQ( store.get(), other.get() );
}

TEST( Store, CanHoldItsFormerSelf )
{
    auto store = own( pbStoreCreate() );
    pbStoreSetValueIntCstr( store.inout(), "a", -1, 1 );
    pbStoreSetStoreCstr( store.inout(), "self", -1, store );
    EXPECT_EQ( textOf( pbStoreToString( store ) ), "{ a = 1, self = { a = 1 } }" );
}

TEST( Store, DeletesUnderAKeyThatItHoldsItself )
{
    auto store = own( pbStoreCreate() );
    pbStoreSetValueIntCstr( store.inout(), "only", -1, 1 );
    pbString *borrowed = own( pbStoreKeyAt( store, 0 ) );
    pbStoreDelKey( store.inout(), borrowed );
    EXPECT_EQ( pbStoreLength( store ), 0 );
}

TEST( Store, EqualsAStoreWithTheSameValuesInAnotherOrder )
{
    auto one = own( pbStoreCreate() );
    pbStoreSetValueIntCstr( one.inout(), "a", -1, 1 );
    pbStoreSetValueIntCstr( one.inout(), "b", -1, 2 );
    auto two = own( pbStoreCreate() );
    pbStoreSetValueIntCstr( two.inout(), "b", -1, 2 );
    pbStoreSetValueIntCstr( two.inout(), "a", -1, 1 );
    EXPECT_TRUE( pbStoreEquals( one, two ) );
    EXPECT_FALSE( pbStoreEquals( one, sample() ) );
    EXPECT_TRUE( pbStoreEquals( sample(), sample() ) );
}

TEST( Store, OrdersByKeysThenTypesThenValues )
{
    auto with = []( const char *key, auto set )
    {
        auto store = own( pbStoreCreate() );
        set( store.inout(), key );
        return store;
    };
    auto one = []( pbStore **store, const char *key ) { pbStoreSetValueIntCstr( store, key, -1, 1 ); };
    auto two = []( pbStore **store, const char *key ) { pbStoreSetValueIntCstr( store, key, -1, 2 ); };
    auto yes = []( pbStore **store, const char *key ) { pbStoreSetValueBoolCstr( store, key, -1, 1 ); };
    auto name = []( pbStore **store, const char *key ) { pbStoreSetValueCstr( store, key, -1, string( "1" ) ); };
    auto sub = []( pbStore **store, const char *key ) { pbStoreSetStoreCstr( store, key, -1, sample() ); };
    EXPECT_LT( pbStoreCompare( with( "a", two ), with( "b", one ) ), 0 );
    EXPECT_LT( pbStoreCompare( with( "a", one ), with( "a", two ) ), 0 );
    EXPECT_GT( pbStoreCompare( with( "a", yes ), with( "a", two ) ), 0 );
    EXPECT_LT( pbStoreCompare( with( "a", name ), with( "a", one ) ), 0 );
    EXPECT_GT( pbStoreCompare( with( "a", sub ), with( "a", yes ) ), 0 );
    EXPECT_EQ( pbStoreCompare( with( "a", sub ), with( "a", sub ) ), 0 );
    EXPECT_LT( pbStoreCompare( own( pbStoreCreate() ), with( "a", one ) ), 0 );
    auto both = with( "a", one );
    pbStoreSetValueIntCstr( both.inout(), "b", -1, 1 );
    EXPECT_GT( pbStoreCompare( both, with( "a", one ) ), 0 );
}

TEST( Store, PrintsItsValuesOnOneLine )
{
    EXPECT_EQ( textOf( pbStoreToString( sample() ) ),
               "{ name = \"alice\", count = -3, on = true, inner = { depth = 2 } }" );
    EXPECT_EQ( textOf( pbStoreToString( own( pbStoreCreate() ) ) ), "{}" );
}

TEST( Store, EscapesTextWhenItPrints )
{
    auto store = own( pbStoreCreate() );
    pbStoreSetValueCstr( store.inout(), "a b", -1, string( "\"\\\b\t\n\f\r\x01\x1f\x7f\xc3\xa4" ) );
    pbStoreSetValueBoolCstr( store.inout(), "", -1, 0 );
    EXPECT_EQ( textOf( pbStoreToString( store ) ),
               "{ \"a b\" = \"\\\"\\\\\\b\\t\\n\\f\\r\\u0001\\u001f\\u007f\xc3\xa4\", \"\" = false }" );
}

TEST( Store, FindsAThousandKeysThroughChangesAndCopies )
{
    auto key = []( int64_t number ) { return string( "key" + std::to_string( number ) ); };
    auto store = own( pbStoreCreate() );
    for( int64_t number = 0; number < 1000; number++ )
        pbStoreSetValueInt( store.inout(), key( number ), number );
    auto other = store;
    for( int64_t number = 0; number < 1000; number += 3 )
        pbStoreDelKey( store.inout(), key( number ) );
    EXPECT_EQ( pbStoreLength( store ), 666 );
    for( int64_t number = 0; number < 1000; number++ )
    {
        int64_t found = -1;
        EXPECT_EQ( pbStoreValueInt( store, key( number ), &found ), number % 3 != 0 );
        EXPECT_EQ( found, number % 3 ? number : -1 );
        EXPECT_TRUE( pbStoreValueInt( other, key( number ), &found ) );
        EXPECT_EQ( found, number );
    }
    for( int64_t number = 0; number < 1000; number++ )
        if( number > 3 )
            pbStoreDelKey( store.inout(), key( number ) );
    EXPECT_EQ( keys( store ), "key1 key2 " );
}

TEST( StoreDeathTest, RefusesNullAndIndicesOutside )
{
    auto store = sample();
    EXPECT_ABORT( pbStoreKeyAt( store, 4 ), "source/pb/pb_store", "index >= 0 && index < store->length" );
    EXPECT_ABORT( pbStoreSetValueCstr( store.inout(), "a", -1, nullptr ), "source/pb/pb_store", "value" );
    EXPECT_ABORT( pbStoreValue( store, nullptr ), "source/pb/pb_store", "key" );
    EXPECT_ABORT( pbStoreSetValueIntCstr( nullptr, "a", -1, 1 ), "source/pb/pb_store", "store" );
}

} // namespace
