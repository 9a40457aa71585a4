// Priority maps.
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_priority_map.h>

#include <algorithm>
#include <random>

namespace
{

using pb::own;
using support::string;
using support::textOf;

pb::Ref<pbObj> value( const std::string &text )
{
    return own( pbStringObj( string( text ).give() ) );
}

// The values in order, "(priority)" behind each.
std::string contents( pbPriorityMap *map )
{
    std::string text;
    for( int64_t index = 0; index < pbPriorityMapLength( map ); index++ )
        text += textOf( pbObjToString( own( pbPriorityMapValueAt( map, index ) ) ) ) + "(" +
                std::to_string( pbPriorityMapPriorityAt( map, index ) ) + ")";
    return text;
}

pb::Ref<pbPriorityMap> mapOf( std::initializer_list<std::pair<int64_t, const char *>> entries )
{
    auto map = own( pbPriorityMapCreate() );
    for( auto [priority, text] : entries )
        pbPriorityMapSetValue( map.inout(), priority, value( text ) );
    return map;
}

TEST( PriorityMap, IsEmptyWhenCreated )
{
    auto map = own( pbPriorityMapCreate() );
    EXPECT_EQ( pbPriorityMapLength( map ), 0 );
    EXPECT_FALSE( pbPriorityMapDelValue( map.inout(), value( "a" ) ) );
    EXPECT_EQ( pbVectorLength( own( pbPriorityMapValuesVector( map ) ) ), 0 );
}

TEST( PriorityMap, OrdersByPriority )
{
    auto map = mapOf( { { 3, "c" }, { INT64_MIN, "a" }, { 1, "b" }, { INT64_MAX, "d" } } );
    EXPECT_EQ( contents( map ), "a(-9223372036854775808)b(1)c(3)d(9223372036854775807)" );
}

TEST( PriorityMap, KeepsEqualPrioritiesInOrderOfInsertion )
{
    auto map = mapOf( { { 2, "c" }, { 1, "a" }, { 2, "d" }, { 1, "b" }, { 2, "e" } } );
    EXPECT_EQ( contents( map ), "a(1)b(1)c(2)d(2)e(2)" );
}

TEST( PriorityMap, RemovesOneGivenValueByIdentity )
{
    auto map = mapOf( { { 1, "a" }, { 1, "a" }, { 1, "b" } } );
    auto second = own( pbPriorityMapValueAt( map, 1 ) );
    auto first = own( pbPriorityMapValueAt( map, 0 ) );
    EXPECT_TRUE( pbPriorityMapDelValue( map.inout(), second ) );
    EXPECT_FALSE( pbPriorityMapDelValue( map.inout(), second ) );
    EXPECT_EQ( contents( map ), "a(1)b(1)" );
    EXPECT_EQ( own( pbPriorityMapValueAt( map, 0 ) ).get(), first.get() );
}

TEST( PriorityMap, RemovesTheFirstOfSeveralEntriesOfAValue )
{
    auto map = mapOf( { { 5, "x" } } );
    auto many = value( "m" );
    for( int64_t priority : { 7, 3, 9, 5, 3, 8 } )
        pbPriorityMapSetValue( map.inout(), priority, many );
    EXPECT_EQ( contents( map ), "m(3)m(3)x(5)m(5)m(7)m(8)m(9)" );
    EXPECT_TRUE( pbPriorityMapDelValue( map.inout(), many ) );
    EXPECT_EQ( contents( map ), "m(3)x(5)m(5)m(7)m(8)m(9)" );
    EXPECT_TRUE( pbPriorityMapDelValue( map.inout(), many ) );
    EXPECT_TRUE( pbPriorityMapDelValue( map.inout(), many ) );
    EXPECT_EQ( contents( map ), "x(5)m(7)m(8)m(9)" );
}

TEST( PriorityMap, GivesItsValuesAsAVector )
{
    auto map = mapOf( { { 2, "b" }, { 1, "a" }, { 3, "c" } } );
    auto values = own( pbPriorityMapValuesVector( map ) );
    ASSERT_EQ( pbVectorLength( values ), 3 );
    for( int64_t index = 0; index < 3; index++ )
        EXPECT_EQ( own( pbVectorObjAt( values, index ) ).get(), own( pbPriorityMapValueAt( map, index ) ).get() );
}

TEST( PriorityMap, LeavesTheOtherHolderAloneWhenItChanges )
{
    auto map = mapOf( { { 1, "a" }, { 2, "b" } } );
    auto other = map;
    pbPriorityMapDelValue( map.inout(), own( pbPriorityMapValueAt( map, 0 ) ) );
    pbPriorityMapSetValue( map.inout(), 3, value( "c" ) );
    EXPECT_EQ( contents( map ), "b(2)c(3)" );
    EXPECT_EQ( contents( other ), "a(1)b(2)" );
}

TEST( PriorityMap, ChangesInPlaceWhenItHasOneHolder )
{
    auto map = mapOf( { { 1, "a" } } );
    pbPriorityMap *before = map;
    pbPriorityMapSetValue( map.inout(), 2, value( "b" ) );
    pbPriorityMapDelValue( map.inout(), own( pbPriorityMapValueAt( map, 0 ) ) );
    EXPECT_EQ( map.get(), before );
    EXPECT_EQ( contents( map ), "b(2)" );
}

TEST( PriorityMap, StaysSharedWhenThereIsNothingToDelete )
{
    auto map = mapOf( { { 1, "a" } } );
    auto other = map;
    EXPECT_FALSE( pbPriorityMapDelValue( map.inout(), value( "a" ) ) );
    EXPECT_EQ( map.get(), other.get() );
}

TEST( PriorityMap, CanHoldItsFormerSelf )
{
    auto map = mapOf( { { 1, "a" } } );
    pbPriorityMapSetValue( map.inout(), 2, pbPriorityMapObj( map ) );
    EXPECT_EQ( pbPriorityMapLength( map ), 2 );
    EXPECT_EQ( pbPriorityMapLength( own( pbPriorityMapFrom( pbPriorityMapValueAt( map, 1 ) ) ) ), 1 );
}

TEST( PriorityMap, Clears )
{
    auto map = mapOf( { { 1, "a" } } );
    auto other = map;
    pbPriorityMapClear( map.inout() );
    EXPECT_EQ( pbPriorityMapLength( map ), 0 );
    EXPECT_EQ( contents( other ), "a(1)" );
}

// Does what a priority map does in the simplest way.
struct Model
{
    std::vector<std::pair<int64_t, size_t>> entries;

    void set( int64_t priority, size_t value )
    {
        auto after = std::upper_bound( entries.begin(), entries.end(), priority,
                                       []( int64_t limit, const auto &entry ) { return limit < entry.first; } );
        entries.insert( after, { priority, value } );
    }
    bool del( size_t value )
    {
        auto found = std::find_if( entries.begin(), entries.end(),
                                   [value]( const auto &entry ) { return entry.second == value; } );
        if( found == entries.end() )
            return false;
        entries.erase( found );
        return true;
    }
};

void expectSame( pbPriorityMap *map, const Model &model, const std::vector<pb::Ref<pbObj>> &values )
{
    ASSERT_EQ( pbPriorityMapLength( map ), static_cast<int64_t>( model.entries.size() ) );
    for( size_t index = 0; index < model.entries.size(); index++ )
    {
        auto place = static_cast<int64_t>( index );
        ASSERT_EQ( pbPriorityMapPriorityAt( map, place ), model.entries[index].first );
        ASSERT_EQ( own( pbPriorityMapValueAt( map, place ) ).get(), values[model.entries[index].second].get() );
    }
}

TEST( PriorityMap, DoesTheSameAsASimpleModelThroughManyRandomChanges )
{
    std::vector<pb::Ref<pbObj>> values;
    for( int index = 0; index < 60; index++ )
        values.push_back( value( std::to_string( index ) ) );
    std::mt19937 random( 11 );
    auto map = own( pbPriorityMapCreate() );
    Model model;
    pb::Ref<pbPriorityMap> snapshot;
    Model snapshotModel;
    for( int step = 0; step < 20000; step++ )
    {
        size_t chosen = random() % values.size();
        // Phases of growth and of decline.
        if( random() % 10 < ( step / 1000 % 2 ? 3u : 7u ) )
        {
            auto priority = static_cast<int64_t>( random() % 50 ) - 25;
            pbPriorityMapSetValue( map.inout(), priority, values[chosen] );
            model.set( priority, chosen );
        }
        else
            ASSERT_EQ( pbPriorityMapDelValue( map.inout(), values[chosen] ) != 0, model.del( chosen ) );
        if( step % 499 == 0 )
        {
            expectSame( map, model, values );
            if( snapshot )
                expectSame( snapshot, snapshotModel, values );
            snapshot = map;
            snapshotModel = model;
        }
    }
    expectSame( map, model, values );
}

TEST( PriorityMap, TakesAHundredThousandValuesFromTheLowestOn )
{
    constexpr int64_t count = 100000;
    auto map = own( pbPriorityMapCreate() );
    for( int round = 0; round < 2; round++ )
    {
        std::vector<pb::Ref<pbObj>> values;
        for( int64_t index = 0; index < count; index++ )
        {
            values.push_back( value( "v" ) );
            pbPriorityMapSetValue( map.inout(), index / 3, values.back() );
        }
        for( int64_t index = 0; index < count; index++ )
        {
            ASSERT_EQ( pbPriorityMapPriorityAt( map, 0 ), index / 3 );
            auto lowest = own( pbPriorityMapValueAt( map, 0 ) );
            ASSERT_EQ( lowest.get(), values[static_cast<size_t>( index )].get() );
            ASSERT_TRUE( pbPriorityMapDelValue( map.inout(), lowest ) );
        }
        EXPECT_EQ( pbPriorityMapLength( map ), 0 );
    }
}

TEST( PriorityMapDeathTest, RefusesIndicesOutside )
{
    auto map = mapOf( { { 1, "a" } } );
    EXPECT_ABORT( pbPriorityMapValueAt( map, 1 ), "source/pb/pb_priority_map",
                  "index >= 0 && index < map->entries.length()" );
    EXPECT_ABORT( pbPriorityMapPriorityAt( own( pbPriorityMapCreate() ), 0 ), "source/pb/pb_priority_map",
                  "index >= 0 && index < map->entries.length()" );
    EXPECT_ABORT( pbPriorityMapSetValue( map.inout(), 1, nullptr ), "source/pb/pb_priority_map", "value" );
}

} // namespace
