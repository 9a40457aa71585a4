// Options.
#include "sipauth/started.h"
#include "support/abort.h"
#include "support/text.h"

#include <sipauth/sipauth_options.h>

#include <set>
#include <string>
#include <vector>

namespace
{

using pb::own;
using support::string;
using support::textOf;

class Options : public Started
{
};

class OptionsDeathTest : public Started
{
};

using Values = std::set<int64_t>;

Values schemes( sipauthOptions *opt )
{
    Values values;
    for( int64_t scheme = 0; SIPAUTH_SCHEME_OK( scheme ); scheme++ )
        if( sipauthOptionsHasScheme( opt, scheme ) )
            values.insert( scheme );
    return values;
}

Values algorithms( sipauthOptions *opt )
{
    Values values;
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
        if( sipauthOptionsHasDigestAlgorithm( opt, algorithm ) )
            values.insert( algorithm );
    return values;
}

Values qops( sipauthOptions *opt )
{
    Values values;
    for( int64_t qop = 0; SIPAUTH_DIGEST_QOP_OK( qop ); qop++ )
        if( sipauthOptionsHasDigestQop( opt, qop ) )
            values.insert( qop );
    return values;
}

pb::Ref<sipauthOptions> preset( int64_t dflt )
{
    auto opt = own( sipauthOptionsCreate() );
    sipauthOptionsSetDefaults( opt.inout(), dflt );
    return opt;
}

std::vector<std::string> keys( pbStore *store )
{
    std::vector<std::string> result;
    for( int64_t index = 0; index < pbStoreLength( store ); index++ )
        result.push_back( textOf( pbStoreKeyAt( store, index ) ) );
    return result;
}

const std::vector<std::string> keysWithDefault = {
    "defaults",
    "schemes",
    "digestAlgorithms",
    "digestQops",
    "digestLowQualityRandomness",
    "serverChallengeExpiration",
    "serverRechallenge",
    "serverRechallengeInvalidAuthorization",
    "serverAcceptAuthorizationReuse",
    "serverDigestAcceptNonceReuse",
    "serverDigestOmitOpaque",
    "rfcBaseOptions",
};

// The booleans that follow the preset, with their four functions.
struct Bool
{
    const char *key;
    pbBool ( *get )( sipauthOptions *opt );
    void ( *set )( sipauthOptions **opt, pbBool value );
    pbBool ( *isDefault )( sipauthOptions *opt );
    void ( *setDefault )( sipauthOptions **opt );
    Values trueIn; // presets
};

const Bool bools[] = {
    { "digestLowQualityRandomness",
      sipauthOptionsDigestLowQualityRandomness,
      sipauthOptionsSetDigestLowQualityRandomness,
      sipauthOptionsDigestLowQualityRandomnessDefault,
      sipauthOptionsSetDigestLowQualityRandomnessDefault,
      {} },
    { "serverRechallenge",
      sipauthOptionsServerRechallenge,
      sipauthOptionsSetServerRechallenge,
      sipauthOptionsServerRechallengeDefault,
      sipauthOptionsSetServerRechallengeDefault,
      { SIPAUTH_DEFAULTS_STANDARD } },
    { "serverRechallengeInvalidAuthorization",
      sipauthOptionsServerRechallengeInvalidAuthorization,
      sipauthOptionsSetServerRechallengeInvalidAuthorization,
      sipauthOptionsServerRechallengeInvalidAuthorizationDefault,
      sipauthOptionsSetServerRechallengeInvalidAuthorizationDefault,
      { SIPAUTH_DEFAULTS_COMPATIBLE } },
    { "serverAcceptAuthorizationReuse",
      sipauthOptionsServerAcceptAuthorizationReuse,
      sipauthOptionsSetServerAcceptAuthorizationReuse,
      sipauthOptionsServerAcceptAuthorizationReuseDefault,
      sipauthOptionsSetServerAcceptAuthorizationReuseDefault,
      { SIPAUTH_DEFAULTS_SWYX } },
    { "serverDigestAcceptNonceReuse",
      sipauthOptionsServerDigestAcceptNonceReuse,
      sipauthOptionsSetServerDigestAcceptNonceReuse,
      sipauthOptionsServerDigestAcceptNonceReuseDefault,
      sipauthOptionsSetServerDigestAcceptNonceReuseDefault,
      {} },
    { "serverDigestOmitOpaque",
      sipauthOptionsServerDigestOmitOpaque,
      sipauthOptionsSetServerDigestOmitOpaque,
      sipauthOptionsServerDigestOmitOpaqueDefault,
      sipauthOptionsSetServerDigestOmitOpaqueDefault,
      {} },
};

const Values sha2 = { SIPAUTH_DIGEST_ALGORITHM_SHA224, SIPAUTH_DIGEST_ALGORITHM_SHA224_SESS,
                      SIPAUTH_DIGEST_ALGORITHM_SHA256, SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS,
                      SIPAUTH_DIGEST_ALGORITHM_SHA384, SIPAUTH_DIGEST_ALGORITHM_SHA384_SESS,
                      SIPAUTH_DIGEST_ALGORITHM_SHA512, SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS };

Values with( Values values, std::initializer_list<int64_t> more )
{
    values.insert( more );
    return values;
}

TEST_F( Options, AreTheStandardPresetWhenCreated )
{
    auto opt = own( sipauthOptionsCreate() );
    EXPECT_EQ( sipauthOptionsDefaults( opt ), SIPAUTH_DEFAULTS_STANDARD );
    EXPECT_FALSE( sipauthOptionsHasClientUsrReference( opt ) );
    EXPECT_FALSE( sipauthOptionsHasServerRealm( opt ) );
    EXPECT_FALSE( sipauthOptionsHasServerUsrDirectory( opt ) );
    EXPECT_FALSE( sipauthOptionsHasServerUsrDirectoryName( opt ) );
    EXPECT_TRUE( sipauthOptionsSchemesDefault( opt ) );
    EXPECT_TRUE( sipauthOptionsDigestAlgorithmsDefault( opt ) );
    EXPECT_TRUE( sipauthOptionsDigestQopsDefault( opt ) );
    EXPECT_TRUE( sipauthOptionsServerChallengeExpirationDefault( opt ) );
    EXPECT_TRUE( sipauthOptionsRfcBaseOptionsDefault( opt ) );
    for( const Bool &field : bools )
        EXPECT_TRUE( field.isDefault( opt ) ) << field.key;
}

TEST_F( Options, HaveTheSetsOfEachPreset )
{
    const Values digestOnly = { SIPAUTH_SCHEME_DIGEST };
    for( int64_t dflt = 0; SIPAUTH_DEFAULTS_OK( dflt ); dflt++ )
        EXPECT_EQ( schemes( preset( dflt ) ), digestOnly ) << dflt;
    const Values md5 = { SIPAUTH_DIGEST_ALGORITHM_MD5 };
    EXPECT_EQ( algorithms( preset( SIPAUTH_DEFAULTS_STANDARD ) ), sha2 );
    EXPECT_EQ( algorithms( preset( SIPAUTH_DEFAULTS_COMPATIBLE ) ),
               with( sha2, { SIPAUTH_DIGEST_ALGORITHM_MD5, SIPAUTH_DIGEST_ALGORITHM_MD5_SESS } ) );
    EXPECT_EQ( algorithms( preset( SIPAUTH_DEFAULTS_MINIMAL ) ), md5 );
    EXPECT_EQ( algorithms( preset( SIPAUTH_DEFAULTS_SWYX ) ), md5 );
    const Values noQop = { SIPAUTH_DIGEST_QOP_NONE };
    const Values anyQop = { SIPAUTH_DIGEST_QOP_NONE, SIPAUTH_DIGEST_QOP_AUTH, SIPAUTH_DIGEST_QOP_AUTH_INT };
    const Values someQop = { SIPAUTH_DIGEST_QOP_AUTH, SIPAUTH_DIGEST_QOP_AUTH_INT };
    EXPECT_EQ( qops( preset( SIPAUTH_DEFAULTS_STANDARD ) ), someQop );
    EXPECT_EQ( qops( preset( SIPAUTH_DEFAULTS_COMPATIBLE ) ), anyQop );
    EXPECT_EQ( qops( preset( SIPAUTH_DEFAULTS_MINIMAL ) ), noQop );
    EXPECT_EQ( qops( preset( SIPAUTH_DEFAULTS_SWYX ) ), noQop );
}

TEST_F( Options, HaveTheValuesOfEachPreset )
{
    for( int64_t dflt = 0; SIPAUTH_DEFAULTS_OK( dflt ); dflt++ )
    {
        auto opt = preset( dflt );
        EXPECT_EQ( sipauthOptionsDefaults( opt ), dflt );
        EXPECT_EQ( sipauthOptionsServerChallengeExpiration( opt ), 5000 );
        for( const Bool &field : bools )
            EXPECT_EQ( field.get( opt ), field.trueIn.count( dflt ) ) << field.key << " " << dflt;
    }
}

TEST_F( Options, AllowNoBasicAndNoSha1InAnyPreset )
{
    for( int64_t dflt = 0; SIPAUTH_DEFAULTS_OK( dflt ); dflt++ )
    {
        auto opt = preset( dflt );
        EXPECT_FALSE( sipauthOptionsHasScheme( opt, SIPAUTH_SCHEME_BASIC ) );
        EXPECT_FALSE( sipauthOptionsHasDigestAlgorithm( opt, SIPAUTH_DIGEST_ALGORITHM_SHA1 ) );
        EXPECT_FALSE( sipauthOptionsHasDigestAlgorithm( opt, SIPAUTH_DIGEST_ALGORITHM_SHA1_SESS ) );
    }
}

TEST_F( Options, KeepAnExplicitSetWhenThePresetChanges )
{
    auto opt = own( sipauthOptionsCreate() );
    sipauthOptionsSetDigestAlgorithm( opt.inout(), SIPAUTH_DIGEST_ALGORITHM_SHA1 );
    Values expected = with( sha2, { SIPAUTH_DIGEST_ALGORITHM_SHA1 } );
    EXPECT_EQ( algorithms( opt ), expected );
    EXPECT_FALSE( sipauthOptionsDigestAlgorithmsDefault( opt ) );
    sipauthOptionsSetDefaults( opt.inout(), SIPAUTH_DEFAULTS_MINIMAL );
    EXPECT_EQ( algorithms( opt ), expected );
    EXPECT_EQ( qops( opt ), Values{ SIPAUTH_DIGEST_QOP_NONE } );
    sipauthOptionsSetDigestAlgorithmsDefault( opt.inout() );
    EXPECT_EQ( algorithms( opt ), Values{ SIPAUTH_DIGEST_ALGORITHM_MD5 } );
    EXPECT_TRUE( sipauthOptionsDigestAlgorithmsDefault( opt ) );
}

TEST_F( Options, MakeASetExplicitByAnyChange )
{
    auto opt = own( sipauthOptionsCreate() );
    sipauthOptionsDelScheme( opt.inout(), SIPAUTH_SCHEME_BASIC );
    EXPECT_FALSE( sipauthOptionsSchemesDefault( opt ) );
    EXPECT_EQ( schemes( opt ), Values{ SIPAUTH_SCHEME_DIGEST } );
    sipauthOptionsSetScheme( opt.inout(), SIPAUTH_SCHEME_BASIC );
    EXPECT_EQ( schemes( opt ), ( Values{ SIPAUTH_SCHEME_BASIC, SIPAUTH_SCHEME_DIGEST } ) );
    sipauthOptionsClearSchemes( opt.inout() );
    EXPECT_EQ( schemes( opt ), Values{} );
    sipauthOptionsSetSchemesDefault( opt.inout() );
    EXPECT_EQ( schemes( opt ), Values{ SIPAUTH_SCHEME_DIGEST } );

    sipauthOptionsDelDigestAlgorithm( opt.inout(), SIPAUTH_DIGEST_ALGORITHM_SHA224 );
    EXPECT_FALSE( sipauthOptionsDigestAlgorithmsDefault( opt ) );
    EXPECT_EQ( algorithms( opt ).size(), sha2.size() - 1 );
    sipauthOptionsClearDigestAlgorithms( opt.inout() );
    EXPECT_EQ( algorithms( opt ), Values{} );

    sipauthOptionsDelDigestQop( opt.inout(), SIPAUTH_DIGEST_QOP_AUTH );
    EXPECT_FALSE( sipauthOptionsDigestQopsDefault( opt ) );
    EXPECT_EQ( qops( opt ), Values{ SIPAUTH_DIGEST_QOP_AUTH_INT } );
    sipauthOptionsSetDigestQop( opt.inout(), SIPAUTH_DIGEST_QOP_NONE );
    EXPECT_EQ( qops( opt ), ( Values{ SIPAUTH_DIGEST_QOP_NONE, SIPAUTH_DIGEST_QOP_AUTH_INT } ) );
    sipauthOptionsClearDigestQops( opt.inout() );
    EXPECT_EQ( qops( opt ), Values{} );
    sipauthOptionsSetDigestQopsDefault( opt.inout() );
    EXPECT_TRUE( sipauthOptionsDigestQopsDefault( opt ) );
    EXPECT_EQ( qops( opt ).size(), 2u );
}

TEST_F( Options, KeepAnExplicitBooleanWhenThePresetChanges )
{
    for( const Bool &field : bools )
    {
        for( int64_t dflt = 0; SIPAUTH_DEFAULTS_OK( dflt ); dflt++ )
        {
            auto opt = own( sipauthOptionsCreate() );
            field.set( opt.inout(), 7 );
            EXPECT_EQ( field.get( opt ), 1 ) << field.key;
            EXPECT_FALSE( field.isDefault( opt ) ) << field.key;
            sipauthOptionsSetDefaults( opt.inout(), dflt );
            EXPECT_EQ( field.get( opt ), 1 ) << field.key;
            field.setDefault( opt.inout() );
            EXPECT_TRUE( field.isDefault( opt ) ) << field.key;
            EXPECT_EQ( field.get( opt ), field.trueIn.count( dflt ) ) << field.key << " " << dflt;
        }
    }
}

TEST_F( Options, KeepAnExplicitExpirationWhenThePresetChanges )
{
    auto opt = own( sipauthOptionsCreate() );
    sipauthOptionsSetServerChallengeExpiration( opt.inout(), 0 );
    sipauthOptionsSetDefaults( opt.inout(), SIPAUTH_DEFAULTS_COMPATIBLE );
    EXPECT_EQ( sipauthOptionsServerChallengeExpiration( opt ), 0 );
    EXPECT_FALSE( sipauthOptionsServerChallengeExpirationDefault( opt ) );
    sipauthOptionsSetServerChallengeExpirationDefault( opt.inout() );
    EXPECT_EQ( sipauthOptionsServerChallengeExpiration( opt ), 5000 );
    EXPECT_TRUE( sipauthOptionsServerChallengeExpirationDefault( opt ) );
}

TEST_F( Options, KeepTheBaseEncodingOptions )
{
    auto opt = own( sipauthOptionsCreate() );
    auto baseOptions = own( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetPadding( baseOptions.inout(), 0 );
    sipauthOptionsSetRfcBaseOptions( opt.inout(), baseOptions );
    EXPECT_FALSE( sipauthOptionsRfcBaseOptionsDefault( opt ) );
    EXPECT_EQ( own( sipauthOptionsRfcBaseOptions( opt ) ).get(), baseOptions.get() );
    sipauthOptionsSetRfcBaseOptionsDefault( opt.inout() );
    EXPECT_TRUE( sipauthOptionsRfcBaseOptionsDefault( opt ) );
    EXPECT_TRUE( rfcBaseOptionsPadding( own( sipauthOptionsRfcBaseOptions( opt ) ) ) );
}

TEST_F( Options, KeepTheBaseEncodingOptionsWhenThePresetChanges )
{
    auto opt = own( sipauthOptionsCreate() );
    auto before = own( sipauthOptionsRfcBaseOptions( opt ) );
    sipauthOptionsSetDefaults( opt.inout(), SIPAUTH_DEFAULTS_SWYX );
    EXPECT_EQ( own( sipauthOptionsRfcBaseOptions( opt ) ).get(), before.get() );
}

TEST_F( Options, KeepTheReferences )
{
    auto opt = own( sipauthOptionsCreate() );
    auto reference = own( usrReferenceCreate( string( "users" ), string( "17" ) ) );
    auto directory = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    sipauthOptionsSetClientUsrReference( opt.inout(), reference );
    sipauthOptionsSetServerRealm( opt.inout(), string( "example.org" ) );
    sipauthOptionsSetServerUsrDirectory( opt.inout(), directory );
    sipauthOptionsSetServerUsrDirectoryName( opt.inout(), string( "users" ) );
    EXPECT_EQ( own( sipauthOptionsClientUsrReference( opt ) ).get(), reference.get() );
    EXPECT_EQ( textOf( sipauthOptionsServerRealm( opt ) ), "example.org" );
    EXPECT_EQ( own( sipauthOptionsServerUsrDirectory( opt ) ).get(), directory.get() );
    EXPECT_EQ( textOf( sipauthOptionsServerUsrDirectoryName( opt ) ), "users" );
    sipauthOptionsDelClientUsrReference( opt.inout() );
    sipauthOptionsDelServerRealm( opt.inout() );
    sipauthOptionsDelServerUsrDirectory( opt.inout() );
    sipauthOptionsDelServerUsrDirectoryName( opt.inout() );
    EXPECT_FALSE( sipauthOptionsHasClientUsrReference( opt ) );
    EXPECT_FALSE( sipauthOptionsHasServerRealm( opt ) );
    EXPECT_FALSE( sipauthOptionsHasServerUsrDirectory( opt ) );
    EXPECT_FALSE( sipauthOptionsHasServerUsrDirectoryName( opt ) );
}

// One change for each kind of field, on options that have another holder.
TEST_F( Options, LeaveTheOtherHolderAloneWhenTheyChange )
{
    const auto full = []( sipauthOptions *opt ) { return own( sipauthOptionsStore( opt, 1 ) ); };
    void ( *changes[] )( sipauthOptions ** ) = {
        []( sipauthOptions **opt ) { sipauthOptionsSetDefaults( opt, SIPAUTH_DEFAULTS_SWYX ); },
        []( sipauthOptions **opt ) { sipauthOptionsSetScheme( opt, SIPAUTH_SCHEME_BASIC ); },
        []( sipauthOptions **opt ) { sipauthOptionsClearDigestQops( opt ); },
        []( sipauthOptions **opt ) { sipauthOptionsSetServerRechallenge( opt, 0 ); },
        []( sipauthOptions **opt ) { sipauthOptionsSetServerChallengeExpiration( opt, 1 ); },
        []( sipauthOptions **opt ) { sipauthOptionsSetServerRealm( opt, string( "other" ) ); },
    };
    for( auto change : changes )
    {
        auto opt = own( sipauthOptionsCreate() );
        auto other = opt;
        auto before = full( other );
        change( opt.inout() );
        EXPECT_NE( opt.get(), other.get() );
        EXPECT_TRUE( pbStoreEquals( full( other ), before ) );
        EXPECT_FALSE( pbStoreEquals( full( opt ), before ) );
    }
}

TEST_F( Options, ChangeInPlaceWhenTheyHaveOneHolder )
{
    auto opt = own( sipauthOptionsCreate() );
    sipauthOptions *before = opt;
    sipauthOptionsSetScheme( opt.inout(), SIPAUTH_SCHEME_BASIC );
    sipauthOptionsSetDefaults( opt.inout(), SIPAUTH_DEFAULTS_MINIMAL );
    sipauthOptionsSetServerRealm( opt.inout(), string( "r" ) );
    EXPECT_EQ( opt.get(), before );
}

TEST_F( Options, AreCopiedWhole )
{
    auto opt = preset( SIPAUTH_DEFAULTS_COMPATIBLE );
    sipauthOptionsSetServerRealm( opt.inout(), string( "example.org" ) );
    sipauthOptionsSetServerDigestOmitOpaque( opt.inout(), 1 );
    auto copy = own( sipauthOptionsCreateFrom( opt ) );
    EXPECT_NE( copy.get(), opt.get() );
    EXPECT_TRUE( pbStoreEquals( own( sipauthOptionsStore( copy, 0 ) ), own( sipauthOptionsStore( opt, 0 ) ) ) );
    EXPECT_TRUE( pbStoreEquals( own( sipauthOptionsStore( copy, 1 ) ), own( sipauthOptionsStore( opt, 1 ) ) ) );
}

TEST_F( Options, HaveTheStandardFunctions )
{
    auto opt = own( sipauthOptionsCreate() );
    auto other = own( sipauthOptionsCreate() );
    EXPECT_EQ( sipauthOptionsFrom( sipauthOptionsObj( opt ) ), opt.get() );
    EXPECT_EQ( sipauthOptionsFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauthOptionsToString( opt ) ), "SIPAUTH_OPTIONS" );
    EXPECT_TRUE( sipauthOptionsEquals( opt, opt ) );
    EXPECT_FALSE( sipauthOptionsEquals( opt, other ) );
    EXPECT_EQ( own( sipauthOptionsRetain( opt ) ).get(), opt.get() );
}

TEST_F( Options, StoreNothingWhenFresh )
{
    EXPECT_EQ( pbStoreLength( own( sipauthOptionsStore( own( sipauthOptionsCreate() ), 0 ) ) ), 0 );
}

TEST_F( Options, StoreEveryKeyButTheReferencesWhenFull )
{
    auto store = own( sipauthOptionsStore( own( sipauthOptionsCreate() ), 1 ) );
    EXPECT_EQ( keys( store ), keysWithDefault );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "defaults", -1 ) ), "SIPAUTH_DEFAULTS_STANDARD" );
    int64_t milliseconds = 0;
    EXPECT_TRUE( pbStoreValueIntCstr( store, "serverChallengeExpiration", -1, &milliseconds ) );
    EXPECT_EQ( milliseconds, 5000 );
    EXPECT_GT( pbStoreLength( own( pbStoreStoreCstr( store, "rfcBaseOptions", -1 ) ) ), 0 );
}

TEST_F( Options, StoreTheReferencesInTheirPlacesWheneverSet )
{
    auto opt = own( sipauthOptionsCreate() );
    sipauthOptionsSetClientUsrReference( opt.inout(), own( usrReferenceCreate( string( "users" ), string( "17" ) ) ) );
    sipauthOptionsSetServerRealm( opt.inout(), string( "example.org" ) );
    sipauthOptionsSetServerUsrDirectory( opt.inout(), own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) ) );
    sipauthOptionsSetServerUsrDirectoryName( opt.inout(), string( "users" ) );
    const std::vector<std::string> references = { "clientUsrReference", "serverRealm", "serverUsrDirectoryName" };
    EXPECT_EQ( keys( own( sipauthOptionsStore( opt, 0 ) ) ), references );
    std::vector<std::string> all = keysWithDefault;
    all.insert( all.begin() + 5, references.begin(), references.end() );
    EXPECT_EQ( keys( own( sipauthOptionsStore( opt, 1 ) ) ), all );
}

TEST_F( Options, StoreASetWithEveryNameOfItsEnumeration )
{
    auto opt = own( sipauthOptionsCreate() );
    sipauthOptionsClearDigestAlgorithms( opt.inout() );
    sipauthOptionsSetDigestAlgorithm( opt.inout(), SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS );
    auto store = own( sipauthOptionsStore( opt, 0 ) );
    EXPECT_EQ( keys( store ), std::vector<std::string>{ "digestAlgorithms" } );
    auto elements = own( pbStoreStoreCstr( store, "digestAlgorithms", -1 ) );
    ASSERT_EQ( pbStoreLength( elements ), 12 );
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
    {
        auto name = own( sipauthDigestAlgorithmToString( algorithm ) );
        EXPECT_TRUE( pbStringEquals( own( pbStoreKeyAt( elements, algorithm ) ), name ) );
        pbBool value = -1;
        EXPECT_TRUE( pbStoreValueBool( elements, name, &value ) );
        EXPECT_EQ( value, algorithm == SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS );
    }
}

TEST_F( Options, StoreThePresetWhenItIsNotTheStandardOne )
{
    auto store = own( sipauthOptionsStore( preset( SIPAUTH_DEFAULTS_COMPATIBLE ), 0 ) );
    EXPECT_EQ( keys( store ), std::vector<std::string>{ "defaults" } );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "defaults", -1 ) ), "SIPAUTH_DEFAULTS_COMPATIBLE" );
}

TEST_F( Options, SurviveStoreAndRestore )
{
    for( int64_t dflt = 0; SIPAUTH_DEFAULTS_OK( dflt ); dflt++ )
    {
        for( pbBool full : { 0, 1 } )
        {
            auto opt = preset( dflt );
            sipauthOptionsSetScheme( opt.inout(), SIPAUTH_SCHEME_BASIC );
            sipauthOptionsClearDigestQops( opt.inout() );
            sipauthOptionsSetServerRealm( opt.inout(), string( "example.org" ) );
            sipauthOptionsSetServerUsrDirectoryName( opt.inout(), string( "users-1.a_b" ) );
            sipauthOptionsSetClientUsrReference( opt.inout(),
                                                 own( usrReferenceCreate( string( "users" ), string( "17" ) ) ) );
            sipauthOptionsSetServerChallengeExpiration( opt.inout(), 1234 );
            for( const Bool &field : bools )
                field.set( opt.inout(), !field.get( opt ) );
            auto baseOptions = own( rfcBaseOptionsCreate() );
            rfcBaseOptionsSetPadding( baseOptions.inout(), 0 );
            sipauthOptionsSetRfcBaseOptions( opt.inout(), baseOptions );
            auto store = own( sipauthOptionsStore( opt, full ) );
            auto restored = own( sipauthOptionsRestore( store ) );
            EXPECT_TRUE( pbStoreEquals( own( sipauthOptionsStore( restored, full ) ), store ) );
            EXPECT_EQ( algorithms( restored ), algorithms( opt ) );
            EXPECT_FALSE( rfcBaseOptionsPadding( own( sipauthOptionsRfcBaseOptions( restored ) ) ) );
        }
    }
}

pb::Ref<sipauthOptions> restoredWith( void ( *fill )( pbStore ** ) )
{
    auto store = own( pbStoreCreate() );
    fill( store.inout() );
    return own( sipauthOptionsRestore( store ) );
}

TEST_F( Options, AreTheStandardPresetFromAnEmptyStore )
{
    auto opt = restoredWith( []( pbStore ** ) {} );
    EXPECT_EQ( pbStoreLength( own( sipauthOptionsStore( opt, 0 ) ) ), 0 );
}

TEST_F( Options, HaveAnEmptySetThatNoPresetRefillsFromAnEmptyNestedStore )
{
    auto opt = restoredWith( []( pbStore **store )
                             { pbStoreSetStoreCstr( store, "digestQops", -1, own( pbStoreCreate() ) ); } );
    EXPECT_EQ( qops( opt ), Values{} );
    for( int64_t dflt = 0; SIPAUTH_DEFAULTS_OK( dflt ); dflt++ )
    {
        sipauthOptionsSetDefaults( opt.inout(), dflt );
        EXPECT_EQ( qops( opt ), Values{} );
    }
}

TEST_F( Options, IgnoreANegativeExpirationInAStore )
{
    auto opt =
        restoredWith( []( pbStore **store ) { pbStoreSetValueIntCstr( store, "serverChallengeExpiration", -1, -1 ); } );
    EXPECT_EQ( sipauthOptionsServerChallengeExpiration( opt ), 5000 );
    EXPECT_TRUE( sipauthOptionsServerChallengeExpirationDefault( opt ) );
}

TEST_F( Options, SkipUnknownNamesAndOtherTypesInASet )
{
    auto opt = restoredWith(
        []( pbStore **store )
        {
            auto elements = own( pbStoreCreate() );
            pbStoreSetValueBoolCstr( elements.inout(), "SIPAUTH_SCHEME_NTLM", -1, 1 );
            pbStoreSetValueCstr( elements.inout(), "SIPAUTH_SCHEME_DIGEST", -1, string( "true" ) );
            pbStoreSetValueBoolCstr( elements.inout(), "SIPAUTH_SCHEME_BASIC", -1, 1 );
            pbStoreSetStoreCstr( store, "schemes", -1, elements );
        } );
    EXPECT_EQ( schemes( opt ), Values{ SIPAUTH_SCHEME_BASIC } );
    EXPECT_FALSE( sipauthOptionsSchemesDefault( opt ) );
}

TEST_F( Options, TakeAFalseElementOfASetAsAbsent )
{
    auto opt = restoredWith(
        []( pbStore **store )
        {
            auto elements = own( pbStoreCreate() );
            pbStoreSetValueBoolCstr( elements.inout(), "SIPAUTH_DIGEST_ALGORITHM_MD5", -1, 1 );
            pbStoreSetValueBoolCstr( elements.inout(), "SIPAUTH_DIGEST_ALGORITHM_SHA256", -1, 0 );
            pbStoreSetStoreCstr( store, "digestAlgorithms", -1, elements );
        } );
    EXPECT_EQ( algorithms( opt ), Values{ SIPAUTH_DIGEST_ALGORITHM_MD5 } );
}

TEST_F( Options, IgnoreAnUnknownPresetInAStore )
{
    auto opt = restoredWith(
        []( pbStore **store )
        {
            pbStoreSetValueCstr( store, "defaults", -1, string( "SIPAUTH_DEFAULTS_NEWEST" ) );
            pbStoreSetValueBoolCstr( store, "serverRechallenge", -1, 0 );
        } );
    EXPECT_EQ( sipauthOptionsDefaults( opt ), SIPAUTH_DEFAULTS_STANDARD );
    EXPECT_FALSE( sipauthOptionsServerRechallenge( opt ) );
}

TEST_F( Options, IgnoreADirectoryNameThatIsNoRecordName )
{
    for( const char *name : { "", "with blank", "slash/", "n\xC3\xA4me" } )
    {
        auto store = own( pbStoreCreate() );
        pbStoreSetValueCstr( store.inout(), "serverUsrDirectoryName", -1, string( name ) );
        EXPECT_FALSE( sipauthOptionsHasServerUsrDirectoryName( own( sipauthOptionsRestore( store ) ) ) ) << name;
    }
}

TEST_F( Options, IgnoreValuesOfAnotherTypeInAStore )
{
    auto store = own( pbStoreCreate() );
    for( const std::string &key : keysWithDefault )
        pbStoreSetValueCstr( store.inout(), key.c_str(), -1, string( "true" ) );
    for( const char *key : { "clientUsrReference", "serverRealm", "serverUsrDirectoryName" } )
        pbStoreSetValueIntCstr( store.inout(), key, -1, 1 );
    auto opt = own( sipauthOptionsRestore( store ) );
    EXPECT_EQ( pbStoreLength( own( sipauthOptionsStore( opt, 0 ) ) ), 0 );
}

constexpr const char *path = "source/sipauth/base/sipauth_options";

TEST_F( OptionsDeathTest, RefuseValuesOutsideTheirEnumerations )
{
    auto opt = own( sipauthOptionsCreate() );
    EXPECT_ABORT( sipauthOptionsSetDefaults( opt.inout(), 4 ), path, "SIPAUTH_DEFAULTS_OK( dflt )" );
    EXPECT_ABORT( sipauthOptionsHasScheme( opt, 2 ), path, "SIPAUTH_SCHEME_OK( scheme )" );
    EXPECT_ABORT( sipauthOptionsSetScheme( opt.inout(), -1 ), path, "SIPAUTH_SCHEME_OK( scheme )" );
    EXPECT_ABORT( sipauthOptionsDelScheme( opt.inout(), 2 ), path, "SIPAUTH_SCHEME_OK( scheme )" );
    EXPECT_ABORT( sipauthOptionsSetDigestAlgorithm( opt.inout(), 12 ), path,
                  "SIPAUTH_DIGEST_ALGORITHM_OK( digestAlgorithm )" );
    EXPECT_ABORT( sipauthOptionsHasDigestAlgorithm( opt, SIPAUTH_DIGEST_ALGORITHM_INVALID ), path,
                  "SIPAUTH_DIGEST_ALGORITHM_OK( digestAlgorithm )" );
    EXPECT_ABORT( sipauthOptionsDelDigestQop( opt.inout(), 3 ), path, "SIPAUTH_DIGEST_QOP_OK( digestQop )" );
}

TEST_F( OptionsDeathTest, RefuseOtherBadValues )
{
    auto opt = own( sipauthOptionsCreate() );
    EXPECT_ABORT( sipauthOptionsSetServerChallengeExpiration( opt.inout(), -1 ), path, "milliseconds >= 0" );
    EXPECT_ABORT( sipauthOptionsSetServerUsrDirectoryName( opt.inout(), string( "a b" ) ), path,
                  "csObjectRecordNameOk( dirName )" );
    EXPECT_ABORT( sipauthOptionsSetServerRealm( opt.inout(), nullptr ), path, "realm" );
    EXPECT_ABORT( sipauthOptionsSetClientUsrReference( opt.inout(), nullptr ), path, "reference" );
    EXPECT_ABORT( sipauthOptionsSetServerUsrDirectory( opt.inout(), nullptr ), path, "directory" );
    EXPECT_ABORT( sipauthOptionsSetRfcBaseOptions( opt.inout(), nullptr ), path, "options" );
}

TEST_F( OptionsDeathTest, RefuseNull )
{
    pb::Ref<sipauthOptions> empty;
    EXPECT_ABORT( sipauthOptionsDefaults( nullptr ), path, "opt" );
    EXPECT_ABORT( sipauthOptionsSetDefaults( empty.inout(), 0 ), path, "*opt" );
    EXPECT_ABORT( sipauthOptionsSetScheme( empty.inout(), 0 ), path, "*opt" );
    EXPECT_ABORT( sipauthOptionsClearDigestQops( nullptr ), path, "opt" );
    EXPECT_ABORT( sipauthOptionsSetServerRechallenge( empty.inout(), 1 ), path, "*opt" );
    EXPECT_ABORT( sipauthOptionsSetServerChallengeExpiration( empty.inout(), 1 ), path, "*opt" );
    EXPECT_ABORT( sipauthOptionsSetSchemesDefault( empty.inout() ), path, "*opt" );
    EXPECT_ABORT( sipauthOptionsRfcBaseOptions( nullptr ), path, "opt" );
    EXPECT_ABORT( sipauthOptionsCreateFrom( nullptr ), path, "source" );
    EXPECT_ABORT( sipauthOptionsStore( nullptr, 1 ), path, "opt" );
    EXPECT_ABORT( sipauthOptionsRestore( nullptr ), path, "store" );
}

} // namespace
