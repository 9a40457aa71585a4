// Configurations of drivers.
#include "support/text.h"
#include "usr_seal/usr_seal_config.h"

#include <pb/pb_ref.hh>

#include <gtest/gtest.h>

namespace
{

using pb::own;
using support::string;

pb::Ref<pbStore> store()
{
    auto values = own( pbStoreCreate() );
    pbStoreSetValueCstr( values.inout(), "text", -1, string( "value" ) );
    pbStoreSetValueCstr( values.inout(), "empty", -1, string( "" ) );
    pbStoreSetValueCstr( values.inout(), "nul", -1, string( std::string_view( "a\0b", 3 ) ) );
    pbStoreSetValueIntCstr( values.inout(), "number", -1, 7 );
    return values;
}

TEST( Config, GivesWhatIsThereOrItsDefault )
{
    auto values = store();
    usr_seal::Config config( values );
    EXPECT_EQ( config.text( "text", nullptr ), "value" );
    EXPECT_EQ( config.text( "other", "default" ), "default" );
    EXPECT_EQ( config.integer( "number", 1, 1, 7 ), 7 );
    EXPECT_EQ( config.integer( "other", 3, 1, 7 ), 3 );
    EXPECT_TRUE( config.good() );
}

TEST( Config, SaysWhatIsWrongWithWhichKey )
{
    auto values = store();
    auto reasonOfText = [&]( const char *key )
    {
        usr_seal::Config config( values );
        config.text( key, nullptr );
        return config.reason();
    };
    EXPECT_EQ( reasonOfText( "other" ), "other: is missing" );
    EXPECT_EQ( reasonOfText( "empty" ), "empty: is to be a text that is not empty" );
    EXPECT_EQ( reasonOfText( "nul" ), "nul: is to be a text that is not empty" );
    EXPECT_EQ( reasonOfText( "number" ), "number: is to be a text that is not empty" );
    auto reasonOfInteger = [&]( const char *key, int64_t low, int64_t high )
    {
        usr_seal::Config config( values );
        config.integer( key, 5, low, high );
        return config.reason();
    };
    EXPECT_EQ( reasonOfInteger( "number", 8, 9 ), "number: is to be an integer from 8 to 9" );
    EXPECT_EQ( reasonOfInteger( "number", 1, 6 ), "number: is to be an integer from 1 to 6" );
    EXPECT_EQ( reasonOfInteger( "text", 1, 9 ), "text: is to be an integer from 1 to 9" );
}

TEST( Config, RefusesKeysThatNobodyAskedFor )
{
    auto values = own( pbStoreCreate() );
    pbStoreSetValueCstr( values.inout(), "path", -1, string( "value" ) );
    pbStoreSetValueIntCstr( values.inout(), "reader", -1, 1 );
    usr_seal::Config config( values );
    config.text( "path", nullptr );
    config.integer( "readers", 2, 1, 9 );
    EXPECT_TRUE( config.good() );
    config.end();
    EXPECT_EQ( config.reason(), "reader: is unknown" );
}

TEST( Config, KeepsTheFirstFailure )
{
    auto values = store();
    usr_seal::Config config( values );
    config.text( "one", nullptr );
    config.text( "two", nullptr );
    EXPECT_FALSE( config.good() );
    EXPECT_EQ( config.reason(), "one: is missing" );
}

} // namespace
