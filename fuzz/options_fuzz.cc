// Options from any store: restoring never fails, and what they store restores to the same.
//
// The input is a store as text, one entry a line: "key=btrue" (a boolean), "key=i5000" (an integer), "key=stext" (a
// string), "key{" (the lines up to "}" are a store).
#include "fuzz_sipauth.h"

#include <pb/pb_store.h>
#include <sipauth/sipauth_defaults.h>
#include <sipauth/sipauth_options.h>

#include <charconv>

namespace
{

using pb::own;
using pb::Ref;

constexpr int maxDepth = 8;

std::string_view takeLine( std::string_view &text )
{
    std::string_view line = text.substr( 0, text.find( '\n' ) );
    text.remove_prefix( std::min( text.size(), line.size() + 1 ) );
    return line;
}

// The number at the start of a text, 0 for none.
int64_t number( std::string_view text )
{
    int64_t value = 0;
    std::from_chars( text.data(), text.data() + text.size(), value );
    return value;
}

void setValue( Ref<pbStore> &store, pbString *key, std::string_view value )
{
    if( value.starts_with( "b" ) )
        pbStoreSetValueBool( store.inout(), key, value == "btrue" );
    else if( value.starts_with( "i" ) )
        pbStoreSetValueInt( store.inout(), key, number( value.substr( 1 ) ) );
    else
        pbStoreSetValue( store.inout(), key, pb::string( value.substr( value.starts_with( "s" ) ) ) );
}

Ref<pbStore> takeStore( std::string_view &text, int depth )
{
    auto store = own( pbStoreCreate() );
    while( !text.empty() )
    {
        std::string_view line = takeLine( text );
        if( line == "}" )
            break;
        if( line.ends_with( '{' ) && depth < maxDepth )
        {
            Ref<pbStore> nested = takeStore( text, depth + 1 );
            pbStoreSetStore( store.inout(), pb::string( line.substr( 0, line.size() - 1 ) ), nested );
        }
        else if( size_t equals = line.find( '=' ); equals < line.size() )
            setValue( store, pb::string( line.substr( 0, equals ) ), line.substr( equals + 1 ) );
    }
    return store;
}

Ref<pbStore> storeOf( sipauthOptions *options, bool full )
{
    return own( sipauthOptionsStore( options, full ) );
}

void checkFollowsPreset( sipauthOptions *options )
{
    Ref<pbStore> small = storeOf( options, false );
    Ref<pbStore> full = storeOf( options, true );
    auto changed = pb::share( options );
    for( int64_t preset = 0; SIPAUTH_DEFAULTS_OK( preset ); preset++ )
    {
        sipauthOptionsSetDefaults( changed.inout(), preset );
        FUZZ_CHECK( sipauthOptionsDefaults( changed ) == preset );
        Ref<pbStore> other = storeOf( changed, false );
        // Only the preset itself stands there in another way.
        pbStoreDelKeyCstr( other.inout(), "defaults", -1 );
        auto rest = small;
        pbStoreDelKeyCstr( rest.inout(), "defaults", -1 );
        FUZZ_CHECK( pbStoreEquals( other, rest ) );
    }
    sipauthOptionsSetDefaults( changed.inout(), sipauthOptionsDefaults( options ) );
    FUZZ_CHECK( pbStoreEquals( storeOf( changed, false ), small ) );
    FUZZ_CHECK( pbStoreEquals( storeOf( changed, true ), full ) );
    FUZZ_CHECK( pbStoreEquals( storeOf( options, true ), full ) );
}

// A full store says everything explicitly, so that nothing follows the preset any more.
void checkExplicit( sipauthOptions *options )
{
    FUZZ_CHECK( !sipauthOptionsSchemesDefault( options ) && !sipauthOptionsDigestAlgorithmsDefault( options ) );
    FUZZ_CHECK( !sipauthOptionsDigestQopsDefault( options ) && !sipauthOptionsRfcBaseOptionsDefault( options ) );
    FUZZ_CHECK( !sipauthOptionsDigestLowQualityRandomnessDefault( options ) );
    FUZZ_CHECK( !sipauthOptionsServerChallengeExpirationDefault( options ) );
    FUZZ_CHECK( !sipauthOptionsServerRechallengeDefault( options ) );
    FUZZ_CHECK( !sipauthOptionsServerRechallengeInvalidAuthorizationDefault( options ) );
    FUZZ_CHECK( !sipauthOptionsServerAcceptAuthorizationReuseDefault( options ) );
    FUZZ_CHECK( !sipauthOptionsServerDigestAcceptNonceReuseDefault( options ) );
    FUZZ_CHECK( !sipauthOptionsServerDigestOmitOpaqueDefault( options ) );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::startLibrary();
    fuzz::LiveObjectCheck check;
    std::string_view text( reinterpret_cast<const char *>( data ), size );
    Ref<pbStore> store = takeStore( text, 0 );
    auto options = own( sipauthOptionsRestore( store ) );
    FUZZ_CHECK( sipauthOptionsServerChallengeExpiration( options ) >= 0 );

    Ref<pbStore> small = storeOf( options, false );
    Ref<pbStore> full = storeOf( options, true );
    auto fromSmall = own( sipauthOptionsRestore( small ) );
    FUZZ_CHECK( pbStoreEquals( storeOf( fromSmall, false ), small ) );
    FUZZ_CHECK( pbStoreEquals( storeOf( fromSmall, true ), full ) );
    auto fromFull = own( sipauthOptionsRestore( full ) );
    FUZZ_CHECK( pbStoreEquals( storeOf( fromFull, true ), full ) );
    checkExplicit( fromFull );
    checkFollowsPreset( options );
    return 0;
}
