// Dictionaries.
#include "pb/pb_dict_values.h"
#include "support/abort.h"
#include "support/text.h"

#include <map>
#include <random>
#include <vector>

namespace
{

using pb::own;
using support::bytes;
using support::string;
using support::textOf;

pb::Ref<pbObj> value( const char *text )
{
    return own( pbStringObj( string( text ).give() ) );
}

std::string at( pbDict *dict, const char *key )
{
    auto found = own( pbDictValue( dict, string( key ) ) );
    return found ? textOf( pbObjToString( found ) ) : "(none)";
}

TEST( Dict, IsEmptyWhenCreated )
{
    auto dict = own( pbDictCreate() );
    EXPECT_EQ( pbDictLength( dict ), 0 );
    EXPECT_FALSE( pbDictHasKey( dict, string( "a" ) ) );
    EXPECT_EQ( pbDictValue( dict, string( "a" ) ), nullptr );
    EXPECT_EQ( pbDictValueKeysLength( dict, value( "v" ) ), 0 );
}

TEST( Dict, FindsValuesByTheTextOfTheKey )
{
    auto dict = own( pbDictCreate() );
    pbDictSetValue( dict.inout(), string( "a" ), value( "1" ) );
    pbDictSetValue( dict.inout(), string( "\xc3\xa4" ), value( "2" ) );
    pbDictSetValue( dict.inout(), string( "" ), value( "3" ) );
    EXPECT_EQ( at( dict, "a" ), "1" );
    EXPECT_EQ( at( dict, "\xc3\xa4" ), "2" );
    EXPECT_EQ( at( dict, "" ), "3" );
    EXPECT_EQ( at( dict, "A" ), "(none)" );
    EXPECT_TRUE( pbDictHasKey( dict, string( "a" ) ) );
    EXPECT_EQ( pbDictLength( dict ), 3 );
}

TEST( Dict, ReplacesTheValueUnderAKey )
{
    auto dict = own( pbDictCreate() );
    auto first = value( "1" );
    pbDictSetValue( dict.inout(), string( "a" ), first );
    pbDictSetValue( dict.inout(), string( "b" ), first );
    pbDictSetValue( dict.inout(), string( "a" ), value( "2" ) );
    EXPECT_EQ( at( dict, "a" ), "2" );
    EXPECT_EQ( pbDictLength( dict ), 2 );
    EXPECT_EQ( pbDictValueKeysLength( dict, first ), 1 );
    pbDictSetValue( dict.inout(), string( "b" ), first );
    EXPECT_EQ( at( dict, "b" ), "1" );
    EXPECT_EQ( pbDictValueKeysLength( dict, first ), 1 );
}

TEST( Dict, DeletesByKey )
{
    auto dict = own( pbDictCreate() );
    pbDictSetValue( dict.inout(), string( "a" ), value( "1" ) );
    pbDictSetValue( dict.inout(), string( "b" ), value( "2" ) );
    pbDictDelKey( dict.inout(), string( "a" ) );
    pbDictDelKey( dict.inout(), string( "c" ) );
    EXPECT_EQ( at( dict, "a" ), "(none)" );
    EXPECT_EQ( at( dict, "b" ), "2" );
    EXPECT_EQ( pbDictLength( dict ), 1 );
}

TEST( Dict, DeletesEveryEntryOfAValueAndNoOther )
{
    auto dict = own( pbDictCreate() );
    auto shared = value( "1" );
    for( const char *key : { "a", "b", "c" } )
        pbDictSetValue( dict.inout(), string( key ), shared );
    pbDictSetValue( dict.inout(), string( "d" ), value( "1" ) );
    EXPECT_EQ( pbDictValueKeysLength( dict, shared ), 3 );
    pbDictDelValue( dict.inout(), shared );
    pbDictDelValue( dict.inout(), shared );
    EXPECT_EQ( pbDictLength( dict ), 1 );
    EXPECT_EQ( at( dict, "b" ), "(none)" );
    EXPECT_EQ( at( dict, "d" ), "1" ) << "an equal value that is another object stays";
}

TEST( Dict, DeletesAValueThatNothingElseHolds )
{
    auto dict = own( pbDictCreate() );
    pbDictSetValue( dict.inout(), string( "a" ), value( "1" ) );
    pbDictSetValue( dict.inout(), string( "b" ), own( pbDictValue( dict, string( "a" ) ) ) );
    pbObj *borrowed = own( pbDictValue( dict, string( "a" ) ) );
    pbDictDelValue( dict.inout(), borrowed );
    EXPECT_EQ( pbDictLength( dict ), 0 );
}

TEST( Dict, LeavesTheOtherHolderAloneWhenItChanges )
{
    auto dict = own( pbDictCreate() );
    auto one = value( "1" );
    pbDictSetValue( dict.inout(), string( "a" ), one );
    pbDictSetValue( dict.inout(), string( "b" ), one );
    auto other = dict;
    pbDictSetValue( dict.inout(), string( "a" ), value( "2" ) );
    pbDictDelKey( dict.inout(), string( "b" ) );
    EXPECT_EQ( at( other, "a" ), "1" );
    EXPECT_EQ( at( other, "b" ), "1" );
    auto third = other;
    pbDictDelValue( third.inout(), one );
    EXPECT_EQ( pbDictLength( third ), 0 );
    EXPECT_EQ( pbDictValueKeysLength( other, one ), 2 );
}

TEST( Dict, ChangesInPlaceWhenItHasOneHolder )
{
    auto dict = own( pbDictCreate() );
    pbDictSetValue( dict.inout(), string( "a" ), value( "1" ) );
    pbDict *before = dict;
    pbDictSetValue( dict.inout(), string( "b" ), value( "2" ) );
    pbDictDelKey( dict.inout(), string( "a" ) );
    EXPECT_EQ( dict.get(), before );
}

TEST( Dict, StaysSharedWhenThereIsNothingToDelete )
{
    auto dict = own( pbDictCreate() );
    pbDictSetValue( dict.inout(), string( "a" ), value( "1" ) );
    auto other = dict;
    pbDictDelKey( dict.inout(), string( "b" ) );
    pbDictDelValue( dict.inout(), value( "1" ) );
    EXPECT_EQ( dict.get(), other.get() );
}

TEST( Dict, CanHoldItsFormerSelf )
{
    auto dict = own( pbDictCreate() );
    pbDictSetValue( dict.inout(), string( "a" ), value( "1" ) );
    pbDictSetValue( dict.inout(), string( "self" ), pbDictObj( dict ) );
    EXPECT_EQ( pbDictLength( dict ), 2 );
    auto former = own( pbDictFrom( pbDictValue( dict, string( "self" ) ) ) );
    EXPECT_EQ( pbDictLength( former ), 1 );
}

TEST( Dict, Clears )
{
    auto dict = own( pbDictCreate() );
    pbDictSetValue( dict.inout(), string( "a" ), value( "1" ) );
    auto other = dict;
    pbDictClear( dict.inout() );
    EXPECT_EQ( pbDictLength( dict ), 0 );
    EXPECT_EQ( at( other, "a" ), "1" );
}

// Does what a dictionary does in the simplest way.
class Model
{
public:
    void set( int key, int value ) { values_[key] = value; }
    void delKey( int key ) { values_.erase( key ); }
    void delValue( int value )
    {
        std::erase_if( values_, [value]( const auto &entry ) { return entry.second == value; } );
    }
    int at( int key ) const
    {
        auto found = values_.find( key );
        return found == values_.end() ? -1 : found->second;
    }
    int64_t length() const { return static_cast<int64_t>( values_.size() ); }
    int64_t keysLength( int value ) const
    {
        return std::count_if( values_.begin(), values_.end(),
                              [value]( const auto &entry ) { return entry.second == value; } );
    }

private:
    std::map<int, int> values_;
};

struct Pool
{
    explicit Pool( int length )
    {
        for( int index = 0; index < length; index++ )
        {
            keys.push_back( string( "key " + std::to_string( index ) ) );
            values.push_back( value( std::to_string( index ).c_str() ) );
        }
    }
    std::vector<pb::Ref<pbString>> keys;
    std::vector<pb::Ref<pbObj>> values;
};

void expectSame( pbDict *dict, const Model &model, const Pool &pool )
{
    ASSERT_EQ( pbDictLength( dict ), model.length() );
    for( size_t key = 0; key < pool.keys.size(); key++ )
    {
        auto found = own( pbDictValue( dict, pool.keys[key] ) );
        int expected = model.at( static_cast<int>( key ) );
        ASSERT_EQ( found.get(), expected < 0 ? nullptr : pool.values[static_cast<size_t>( expected )].get() );
    }
    for( size_t index = 0; index < pool.values.size(); index++ )
        ASSERT_EQ( pbDictValueKeysLength( dict, pool.values[index] ), model.keysLength( static_cast<int>( index ) ) );
}

TEST( Dict, DoesTheSameAsASimpleModelThroughManyRandomChanges )
{
    Pool pool( 200 );
    std::mt19937 random( 7 );
    auto dict = own( pbDictCreate() );
    Model model;
    pb::Ref<pbDict> snapshot;
    Model snapshotModel;
    for( int step = 0; step < 20000; step++ )
    {
        auto key = static_cast<int>( random() % 200 );
        auto value = static_cast<int>( random() % 60 );
        unsigned what = random() % 10;
        // Phases of growth and of decline.
        if( what < ( step / 2000 % 2 ? 3u : 7u ) )
        {
            pbDictSetValue( dict.inout(), pool.keys[static_cast<size_t>( key )],
                            pool.values[static_cast<size_t>( value )] );
            model.set( key, value );
        }
        else if( what < 8 )
        {
            pbDictDelKey( dict.inout(), pool.keys[static_cast<size_t>( key )] );
            model.delKey( key );
        }
        else
        {
            pbDictDelValue( dict.inout(), pool.values[static_cast<size_t>( value )] );
            model.delValue( value );
        }
        if( step % 997 == 0 )
        {
            if( snapshot )
                expectSame( snapshot, snapshotModel, pool );
            snapshot = dict;
            snapshotModel = model;
            expectSame( dict, model, pool );
        }
    }
    expectSame( dict, model, pool );
}

TEST( Dict, HoldsAHundredThousandEntriesAndGivesThemBack )
{
    constexpr int records = 20000;
    constexpr int keysOfRecord = 8;
    auto key = []( int record, int index ) { return string( std::to_string( record * keysOfRecord + index ) ); };
    auto dict = own( pbDictCreate() );
    std::vector<pb::Ref<pbObj>> values;
    for( int round = 0; round < 2; round++ )
    {
        values.clear();
        for( int record = 0; record < records; record++ )
        {
            values.push_back( value( "record" ) );
            for( int index = 0; index < keysOfRecord; index++ )
                pbDictSetValue( dict.inout(), key( record, index ), values.back() );
        }
        EXPECT_EQ( pbDictLength( dict ), records * keysOfRecord );
        auto copy = dict;
        for( int record = 0; record < records; record++ )
        {
            auto found = own( pbDictValue( dict, key( record, record % keysOfRecord ) ) );
            ASSERT_EQ( found.get(), values[static_cast<size_t>( record )].get() );
            pbDictDelValue( dict.inout(), found );
        }
        EXPECT_EQ( pbDictLength( dict ), 0 );
        EXPECT_EQ( pbDictValueKeysLength( copy, values[1] ), keysOfRecord );
    }
}

// Sets a value under many keys at once.
void setAll( pbDict **dict, const std::vector<std::string> &keys, pbObj *value )
{
    std::vector<pb::Ref<pbString>> held;
    std::vector<pbString *> pointers;
    for( const std::string &key : keys )
    {
        held.push_back( string( key ) );
        pointers.push_back( held.back() );
    }
    pb___DictSetValues( dict, pointers.data(), static_cast<int64_t>( pointers.size() ), value );
}

TEST( Dict, SetsAValueUnderManyKeysAsUnderOneAfterTheOther )
{
    // Groups of the size of those that are loaded together, one less and one more; keys that come again, and others
    // that hold something else.
    for( int count : { 0, 1, 2, 15, 16, 17, 32, 100 } )
    {
        auto dict = own( pbDictCreate() );
        auto other = value( "other" );
        for( int number = 0; number < 200; number += 3 )
            pbDictSetValue( dict.inout(), string( std::to_string( number ) ), other );
        std::map<std::string, std::string> model;
        for( int number = 0; number < 200; number += 3 )
            model[std::to_string( number )] = "other";
        std::vector<std::string> keys;
        for( int number = 0; number < count; number++ )
            keys.push_back( std::to_string( number * 7 % 50 ) );
        auto set = value( "set" );
        setAll( dict.inout(), keys, set );
        for( const std::string &key : keys )
            model[key] = "set";
        ASSERT_EQ( pbDictLength( dict ), static_cast<int64_t>( model.size() ) );
        int64_t keysOfSet = 0;
        for( const auto &[key, text] : model )
        {
            EXPECT_EQ( at( dict, key.c_str() ), text );
            keysOfSet += text == "set";
        }
        EXPECT_EQ( pbDictValueKeysLength( dict, set ), keysOfSet );
        pbDictDelValue( dict.inout(), set );
        EXPECT_EQ( pbDictLength( dict ), static_cast<int64_t>( model.size() ) - keysOfSet );
    }
}

TEST( Dict, LeavesTheOtherHolderAloneWhenManyKeysAreSet )
{
    auto dict = own( pbDictCreate() );
    setAll( dict.inout(), { "a", "b" }, value( "1" ) );
    auto other = dict;
    setAll( dict.inout(), { "b", "c" }, value( "2" ) );
    EXPECT_EQ( at( dict, "b" ), "2" );
    EXPECT_EQ( at( other, "b" ), "1" );
    EXPECT_EQ( at( other, "c" ), "(none)" );
}

TEST( Dict, CanHoldItsFormerSelfUnderManyKeys )
{
    auto dict = own( pbDictCreate() );
    setAll( dict.inout(), { "a", "b" }, pbDictObj( dict ) );
    auto former = own( pbDictFrom( pbDictValue( dict, string( "b" ) ) ) );
    EXPECT_EQ( pbDictLength( former ), 0 );
    EXPECT_EQ( pbDictLength( dict ), 2 );
}

TEST( DictDeathTest, RefusesNull )
{
    auto dict = own( pbDictCreate() );
    EXPECT_ABORT( pbDictSetValue( dict.inout(), nullptr, value( "1" ) ), "source/pb/pb_dict", "key" );
    EXPECT_ABORT( pbDictSetValue( dict.inout(), string( "a" ), nullptr ), "source/pb/pb_dict", "value" );
    EXPECT_ABORT( pbDictDelValue( dict.inout(), nullptr ), "source/pb/pb_dict", "value" );
    EXPECT_ABORT( pbDictValue( nullptr, string( "a" ) ), "source/pb/pb_dict", "dict" );
    pbString *none = nullptr;
    pb::Ref<pbDict> empty;
    EXPECT_ABORT( pb___DictSetValues( nullptr, &none, 0, value( "1" ) ), "source/pb/pb_dict", "dict" );
    EXPECT_ABORT( pb___DictSetValues( empty.inout(), &none, 0, value( "1" ) ), "source/pb/pb_dict", "*dict" );
    EXPECT_ABORT( pb___DictSetValues( dict.inout(), nullptr, 1, value( "1" ) ), "source/pb/pb_dict", "keys || count == 0" );
    EXPECT_ABORT( pb___DictSetValues( dict.inout(), &none, -1, value( "1" ) ), "source/pb/pb_dict", "count >= 0" );
    EXPECT_ABORT( pb___DictSetValues( dict.inout(), &none, 1, value( "1" ) ), "source/pb/pb_dict", "keys[index]" );
    EXPECT_ABORT( pb___DictSetValues( dict.inout(), &none, 0, nullptr ), "source/pb/pb_dict", "value" );
}

} // namespace
