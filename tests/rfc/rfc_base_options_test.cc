// Options of the base encodings.
#include "support/abort.h"
#include "support/text.h"

#include <rfc/rfc_base_options.h>

#include <gtest/gtest.h>

namespace
{

using pb::own;
using support::string;

void setValue( pb::Ref<pbStore> &store, const char *key, const char *value )
{
    pbStoreSetValueCstr( store.inout(), key, -1, string( value ) );
}

TEST( BaseOptions, HasDefaults )
{
    auto options = own( rfcBaseOptionsCreate() );
    EXPECT_EQ( rfcBaseOptionsAlphabet( options ), RFC_BASE_ALPHABET_STANDARD );
    EXPECT_EQ( rfcBaseOptionsPadding( options ), 1 );
    EXPECT_EQ( rfcBaseOptionsLineLength( options ), 0 );
}

TEST( BaseOptions, KeepsWhatIsSet )
{
    auto options = own( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetAlphabet( options.inout(), RFC_BASE_ALPHABET_ALTERNATE );
    rfcBaseOptionsSetPadding( options.inout(), 0 );
    rfcBaseOptionsSetLineLength( options.inout(), 76 );
    EXPECT_EQ( rfcBaseOptionsAlphabet( options ), RFC_BASE_ALPHABET_ALTERNATE );
    EXPECT_EQ( rfcBaseOptionsPadding( options ), 0 );
    EXPECT_EQ( rfcBaseOptionsLineLength( options ), 76 );
    rfcBaseOptionsSetPadding( options.inout(), 7 );
    EXPECT_EQ( rfcBaseOptionsPadding( options ), 1 );
}

TEST( BaseOptions, LeavesTheDefaultsAndOtherHoldersAlone )
{
    auto options = own( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetLineLength( options.inout(), 76 );
    auto other = options;
    rfcBaseOptionsSetLineLength( options.inout(), 64 );
    EXPECT_EQ( rfcBaseOptionsLineLength( other ), 76 );
    EXPECT_EQ( rfcBaseOptionsLineLength( options ), 64 );
    EXPECT_EQ( rfcBaseOptionsLineLength( own( rfcBaseOptionsCreate() ) ), 0 );
}

TEST( BaseOptions, ChangesInPlaceWhenItHasOneHolder )
{
    auto options = own( rfcBaseOptionsCreateFrom( own( rfcBaseOptionsCreate() ) ) );
    rfcBaseOptions *before = options;
    rfcBaseOptionsSetLineLength( options.inout(), 64 );
    EXPECT_EQ( options.get(), before );
}

TEST( BaseOptions, CopiesEveryField )
{
    auto options = own( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetAlphabet( options.inout(), RFC_BASE_ALPHABET_ALTERNATE );
    rfcBaseOptionsSetPadding( options.inout(), 0 );
    rfcBaseOptionsSetLineLength( options.inout(), 76 );
    auto copy = own( rfcBaseOptionsCreateFrom( options ) );
    EXPECT_NE( copy.get(), options.get() );
    EXPECT_EQ( rfcBaseOptionsAlphabet( copy ), RFC_BASE_ALPHABET_ALTERNATE );
    EXPECT_EQ( rfcBaseOptionsPadding( copy ), 0 );
    EXPECT_EQ( rfcBaseOptionsLineLength( copy ), 76 );
    EXPECT_FALSE( rfcBaseOptionsEquals( copy, options ) );
}

TEST( BaseOptions, StoresWhatDiffersFromTheDefaults )
{
    auto options = own( rfcBaseOptionsCreate() );
    EXPECT_EQ( pbStoreLength( own( rfcBaseOptionsStore( options, 0 ) ) ), 0 );
    rfcBaseOptionsSetPadding( options.inout(), 0 );
    auto store = own( rfcBaseOptionsStore( options, 0 ) );
    pbBool padding = 1;
    EXPECT_EQ( pbStoreLength( store ), 1 );
    EXPECT_TRUE( pbStoreValueBoolCstr( store, "padding", -1, &padding ) );
    EXPECT_EQ( padding, 0 );
}

TEST( BaseOptions, StoresEverythingWhenAsked )
{
    auto store = own( rfcBaseOptionsStore( own( rfcBaseOptionsCreate() ), 1 ) );
    pbBool padding = 0;
    int64_t lineLength = -1;
    EXPECT_EQ( pbStoreLength( store ), 3 );
    EXPECT_EQ( support::textOf( pbStoreValueCstr( store, "alphabet", -1 ) ), "RFC_BASE_ALPHABET_STANDARD" );
    EXPECT_TRUE( pbStoreValueBoolCstr( store, "padding", -1, &padding ) );
    EXPECT_EQ( padding, 1 );
    EXPECT_TRUE( pbStoreValueIntCstr( store, "lineLength", -1, &lineLength ) );
    EXPECT_EQ( lineLength, 0 );
}

TEST( BaseOptions, RestoresWhatItStored )
{
    auto options = own( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetAlphabet( options.inout(), RFC_BASE_ALPHABET_ALTERNATE );
    rfcBaseOptionsSetPadding( options.inout(), 0 );
    rfcBaseOptionsSetLineLength( options.inout(), 76 );
    for( pbBool full : { 0, 1 } )
    {
        auto restored = own( rfcBaseOptionsRestore( own( rfcBaseOptionsStore( options, full ) ) ) );
        EXPECT_EQ( rfcBaseOptionsAlphabet( restored ), RFC_BASE_ALPHABET_ALTERNATE );
        EXPECT_EQ( rfcBaseOptionsPadding( restored ), 0 );
        EXPECT_EQ( rfcBaseOptionsLineLength( restored ), 76 );
    }
}

TEST( BaseOptions, RestoresDefaultsForWhatIsMissingOrMalformed )
{
    auto malformed = own( pbStoreCreate() );
    setValue( malformed, "alphabet", "rfc_base_alphabet_alternate" );
    setValue( malformed, "padding", "false" );
    pbStoreSetValueIntCstr( malformed.inout(), "lineLength", -1, -1 );
    for( const auto &store : { own( pbStoreCreate() ), malformed } )
    {
        auto restored = own( rfcBaseOptionsRestore( store ) );
        EXPECT_EQ( rfcBaseOptionsAlphabet( restored ), RFC_BASE_ALPHABET_STANDARD );
        EXPECT_EQ( rfcBaseOptionsPadding( restored ), 1 );
        EXPECT_EQ( rfcBaseOptionsLineLength( restored ), 0 );
    }
}

TEST( BaseOptions, PrintsAsItsSort )
{
    EXPECT_EQ( support::textOf( rfcBaseOptionsToString( own( rfcBaseOptionsCreate() ) ) ), "RFC_BASE_OPTIONS" );
}

TEST( BaseOptionsDeathTest, RefusesValuesThatAreNone )
{
    const char *path = "source/rfc/rfc_base_options";
    auto options = own( rfcBaseOptionsCreate() );
    EXPECT_ABORT( rfcBaseOptionsSetAlphabet( options.inout(), 2 ), path, "RFC_BASE_ALPHABET_OK( alphabet )" );
    EXPECT_ABORT( rfcBaseOptionsSetAlphabet( options.inout(), -1 ), path, "RFC_BASE_ALPHABET_OK( alphabet )" );
    EXPECT_ABORT( rfcBaseOptionsSetLineLength( options.inout(), -1 ), path, "lineLength >= 0" );
}

TEST( BaseOptionsDeathTest, RefusesMissingArguments )
{
    const char *path = "source/rfc/rfc_base_options";
    rfcBaseOptions *none = nullptr;
    EXPECT_ABORT( rfcBaseOptionsAlphabet( nullptr ), path, "options" );
    EXPECT_ABORT( rfcBaseOptionsSetPadding( nullptr, 1 ), path, "options" );
    EXPECT_ABORT( rfcBaseOptionsSetPadding( &none, 1 ), path, "*options" );
    EXPECT_ABORT( rfcBaseOptionsCreateFrom( nullptr ), path, "source" );
    EXPECT_ABORT( rfcBaseOptionsStore( nullptr, 1 ), path, "options" );
    EXPECT_ABORT( rfcBaseOptionsRestore( nullptr ), path, "store" );
}

} // namespace
