// Options: the settings of both sides. A field that can follow the preset says whether it does; setting it ends that,
// and a change of the preset moves only those that still do.
#include "pb/pb_type.h"
#include "sipauth/sipauth_private.h"

#include <cs/cs_object_record.h>
#include <sipauth/sipauth_options.h>

#include <iterator>

namespace
{

// A value that follows the preset until it is set.
template<class T>
struct Defaultable
{
    T value;
    pbBool isDefault;
};

// A set of values of an enumeration, one bit for each.
using Set = uint64_t;

constexpr Set bit( int64_t element )
{
    return Set{ 1 } << element;
}

} // namespace

struct sipauthOptions
{
    pb::Object object;
    int64_t defaults;
    Defaultable<Set> schemes;
    Defaultable<Set> digestAlgorithms;
    Defaultable<Set> digestQops;
    Defaultable<pbBool> digestLowQualityRandomness;
    pb::Field<usrReference> clientUsrReference;
    pb::Field<pbString> serverRealm;
    pb::Field<usrDirectory> serverUsrDirectory;
    pb::Field<pbString> serverUsrDirectoryName;
    Defaultable<int64_t> serverChallengeExpiration; // milliseconds
    Defaultable<pbBool> serverRechallenge;
    Defaultable<pbBool> serverRechallengeInvalidAuthorization;
    Defaultable<pbBool> serverAcceptAuthorizationReuse;
    Defaultable<pbBool> serverDigestAcceptNonceReuse;
    Defaultable<pbBool> serverDigestOmitOpaque;
    Defaultable<pb::Field<::rfcBaseOptions>> rfcBaseOptions; // never null; the same in every preset
};

namespace
{

// What a preset says of each field.
struct Preset
{
    Set schemes;
    Set digestAlgorithms;
    Set digestQops;
    pbBool digestLowQualityRandomness;
    int64_t serverChallengeExpiration;
    pbBool serverRechallenge;
    pbBool serverRechallengeInvalidAuthorization;
    pbBool serverAcceptAuthorizationReuse;
    pbBool serverDigestAcceptNonceReuse;
    pbBool serverDigestOmitOpaque;
};

// No preset has Basic or SHA-1; they are for explicit configuration only.
constexpr Set digest = bit( SIPAUTH_SCHEME_DIGEST );
constexpr Set md5 = bit( SIPAUTH_DIGEST_ALGORITHM_MD5 );
constexpr Set md5Both = md5 | bit( SIPAUTH_DIGEST_ALGORITHM_MD5_SESS );
constexpr Set sha2 = bit( SIPAUTH_DIGEST_ALGORITHM_SHA224 ) | bit( SIPAUTH_DIGEST_ALGORITHM_SHA224_SESS ) |
                     bit( SIPAUTH_DIGEST_ALGORITHM_SHA256 ) | bit( SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS ) |
                     bit( SIPAUTH_DIGEST_ALGORITHM_SHA384 ) | bit( SIPAUTH_DIGEST_ALGORITHM_SHA384_SESS ) |
                     bit( SIPAUTH_DIGEST_ALGORITHM_SHA512 ) | bit( SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS );
constexpr Set none = bit( SIPAUTH_DIGEST_QOP_NONE );
constexpr Set auth = bit( SIPAUTH_DIGEST_QOP_AUTH ) | bit( SIPAUTH_DIGEST_QOP_AUTH_INT );

// clang-format off
constexpr Preset presets[] = {
    //                 schemes algorithms      qops         low  expires  rechallenge  ~invalid  reuse  ~nonce  no opaque
    /* STANDARD   */ { digest, sha2,           auth,        0,   5000,    1,           0,        0,     0,      0 },
    /* COMPATIBLE */ { digest, md5Both | sha2, none | auth, 0,   5000,    0,           1,        0,     0,      0 },
    /* MINIMAL    */ { digest, md5,            none,        0,   5000,    0,           0,        0,     0,      0 },
    /* SWYX       */ { digest, md5,            none,        0,   5000,    0,           0,        1,     0,      0 },
};
// clang-format on
static_assert( std::size( presets ) == SIPAUTH_DEFAULTS_SWYX + 1 );

// Gives every field that follows the preset, or all, the value that the preset says.
void applyPreset( sipauthOptions *opt, bool all )
{
    const Preset &preset = presets[opt->defaults];
    auto apply = [all]<class T>( Defaultable<T> &field, T value )
    {
        if( all || field.isDefault )
            field = { value, 1 };
    };
    apply( opt->schemes, preset.schemes );
    apply( opt->digestAlgorithms, preset.digestAlgorithms );
    apply( opt->digestQops, preset.digestQops );
    apply( opt->digestLowQualityRandomness, preset.digestLowQualityRandomness );
    apply( opt->serverChallengeExpiration, preset.serverChallengeExpiration );
    apply( opt->serverRechallenge, preset.serverRechallenge );
    apply( opt->serverRechallengeInvalidAuthorization, preset.serverRechallengeInvalidAuthorization );
    apply( opt->serverAcceptAuthorizationReuse, preset.serverAcceptAuthorizationReuse );
    apply( opt->serverDigestAcceptNonceReuse, preset.serverDigestAcceptNonceReuse );
    apply( opt->serverDigestOmitOpaque, preset.serverDigestOmitOpaque );
}

// Sets a field explicitly.
template<class T>
void set( sipauthOptions **opt, Defaultable<T> sipauthOptions::*field, T value )
{
    pb::mutate( opt )->*field = { value, 0 };
}

// Gives a field back to the preset.
template<class T>
void setDefault( sipauthOptions **opt, Defaultable<T> sipauthOptions::*field, T Preset::*preset )
{
    sipauthOptions *changed = pb::mutate( opt );
    changed->*field = { presets[changed->defaults].*preset, 1 };
}

} // namespace

PB_TYPE( sipauthOptions, SIPAUTH_OPTIONS, sipauth, sipauth___OptionsFreeFunc, nullptr );

sipauthOptions *sipauthOptionsCreate()
{
    auto opt = pb::create<sipauthOptions>( sipauthOptionsSort() );
    opt->defaults = SIPAUTH_DEFAULTS_STANDARD;
    applyPreset( opt, true );
    sipauthOptionsSetRfcBaseOptionsDefault( opt.inout() );
    return opt.give();
}

sipauthOptions *sipauthOptionsCreateFrom( sipauthOptions *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

static void sipauth___OptionsFreeFunc( pbObj *obj )
{
    sipauthOptions *opt = sipauthOptionsFrom( obj );
    PB_ASSERT( opt );
    pb::poison( opt->clientUsrReference, opt->serverRealm, opt->serverUsrDirectory, opt->serverUsrDirectoryName,
                opt->rfcBaseOptions.value );
}

int64_t sipauthOptionsDefaults( sipauthOptions *opt )
{
    PB_ASSERT( opt );
    return opt->defaults;
}

void sipauthOptionsSetDefaults( sipauthOptions **opt, int64_t dflt )
{
    PB_ASSERT( opt );
    PB_ASSERT( *opt );
    PB_ASSERT( SIPAUTH_DEFAULTS_OK( dflt ) );
    sipauthOptions *changed = pb::mutate( opt );
    changed->defaults = dflt;
    applyPreset( changed, false );
}

// A set that can follow the preset: sipauthOptionsHas<One>, Set<One>, Del<One>, Clear<Many>, <Many>Default,
// Set<Many>Default.
#define SIPAUTH_OPTIONS_SET( One, Many, field, element, check )                                                        \
    pbBool sipauthOptionsHas##One( sipauthOptions *opt, int64_t element )                                              \
    {                                                                                                                  \
        PB_ASSERT( opt );                                                                                              \
        PB_ASSERT_TEXT( check, #check );                                                                               \
        return ( opt->field.value & bit( element ) ) != 0;                                                             \
    }                                                                                                                  \
    void sipauthOptionsSet##One( sipauthOptions **opt, int64_t element )                                               \
    {                                                                                                                  \
        PB_ASSERT( opt );                                                                                              \
        PB_ASSERT( *opt );                                                                                             \
        PB_ASSERT_TEXT( check, #check );                                                                               \
        set( opt, &sipauthOptions::field, ( *opt )->field.value | bit( element ) );                                    \
    }                                                                                                                  \
    void sipauthOptionsDel##One( sipauthOptions **opt, int64_t element )                                               \
    {                                                                                                                  \
        PB_ASSERT( opt );                                                                                              \
        PB_ASSERT( *opt );                                                                                             \
        PB_ASSERT_TEXT( check, #check );                                                                               \
        set( opt, &sipauthOptions::field, ( *opt )->field.value & ~bit( element ) );                                   \
    }                                                                                                                  \
    void sipauthOptionsClear##Many( sipauthOptions **opt )                                                             \
    {                                                                                                                  \
        PB_ASSERT( opt );                                                                                              \
        PB_ASSERT( *opt );                                                                                             \
        set( opt, &sipauthOptions::field, Set{ 0 } );                                                                  \
    }                                                                                                                  \
    SIPAUTH_OPTIONS_DEFAULT( Many, field )

// A boolean that can follow the preset: sipauthOptions<Name>, Set<Name>, <Name>Default, Set<Name>Default.
#define SIPAUTH_OPTIONS_BOOL( Name, field )                                                                            \
    pbBool sipauthOptions##Name( sipauthOptions *opt )                                                                 \
    {                                                                                                                  \
        PB_ASSERT( opt );                                                                                              \
        return opt->field.value;                                                                                       \
    }                                                                                                                  \
    void sipauthOptionsSet##Name( sipauthOptions **opt, pbBool value )                                                 \
    {                                                                                                                  \
        PB_ASSERT( opt );                                                                                              \
        PB_ASSERT( *opt );                                                                                             \
        set<pbBool>( opt, &sipauthOptions::field, value != 0 );                                                        \
    }                                                                                                                  \
    SIPAUTH_OPTIONS_DEFAULT( Name, field )

// The half of either that is about the preset.
#define SIPAUTH_OPTIONS_DEFAULT( Name, field )                                                                         \
    pbBool sipauthOptions##Name##Default( sipauthOptions *opt )                                                        \
    {                                                                                                                  \
        PB_ASSERT( opt );                                                                                              \
        return opt->field.isDefault;                                                                                   \
    }                                                                                                                  \
    void sipauthOptionsSet##Name##Default( sipauthOptions **opt )                                                      \
    {                                                                                                                  \
        PB_ASSERT( opt );                                                                                              \
        PB_ASSERT( *opt );                                                                                             \
        setDefault( opt, &sipauthOptions::field, &Preset::field );                                                     \
    }                                                                                                                  \
    static_assert( true )

SIPAUTH_OPTIONS_SET( Scheme, Schemes, schemes, scheme, SIPAUTH_SCHEME_OK( scheme ) );
SIPAUTH_OPTIONS_SET( DigestAlgorithm, DigestAlgorithms, digestAlgorithms, digestAlgorithm,
                     SIPAUTH_DIGEST_ALGORITHM_OK( digestAlgorithm ) );
SIPAUTH_OPTIONS_SET( DigestQop, DigestQops, digestQops, digestQop, SIPAUTH_DIGEST_QOP_OK( digestQop ) );
SIPAUTH_OPTIONS_BOOL( DigestLowQualityRandomness, digestLowQualityRandomness );
PB_FIELD_OBJECT( sipauthOptions, opt, ClientUsrReference, clientUsrReference, usrReference, reference, reference );
PB_FIELD_OBJECT( sipauthOptions, opt, ServerRealm, serverRealm, pbString, realm, realm );
PB_FIELD_OBJECT( sipauthOptions, opt, ServerUsrDirectory, serverUsrDirectory, usrDirectory, directory, directory );
PB_FIELD_OBJECT( sipauthOptions, opt, ServerUsrDirectoryName, serverUsrDirectoryName, pbString, dirName,
                 csObjectRecordNameOk( dirName ) );
SIPAUTH_OPTIONS_BOOL( ServerRechallenge, serverRechallenge );
SIPAUTH_OPTIONS_BOOL( ServerRechallengeInvalidAuthorization, serverRechallengeInvalidAuthorization );
SIPAUTH_OPTIONS_BOOL( ServerAcceptAuthorizationReuse, serverAcceptAuthorizationReuse );
SIPAUTH_OPTIONS_BOOL( ServerDigestAcceptNonceReuse, serverDigestAcceptNonceReuse );
SIPAUTH_OPTIONS_BOOL( ServerDigestOmitOpaque, serverDigestOmitOpaque );

int64_t sipauthOptionsServerChallengeExpiration( sipauthOptions *opt )
{
    PB_ASSERT( opt );
    return opt->serverChallengeExpiration.value;
}

void sipauthOptionsSetServerChallengeExpiration( sipauthOptions **opt, int64_t milliseconds )
{
    PB_ASSERT( opt );
    PB_ASSERT( *opt );
    PB_ASSERT( milliseconds >= 0 );
    set( opt, &sipauthOptions::serverChallengeExpiration, milliseconds );
}

SIPAUTH_OPTIONS_DEFAULT( ServerChallengeExpiration, serverChallengeExpiration );

rfcBaseOptions *sipauthOptionsRfcBaseOptions( sipauthOptions *opt )
{
    PB_ASSERT( opt );
    return opt->rfcBaseOptions.value.shareOut();
}

void sipauthOptionsSetRfcBaseOptions( sipauthOptions **opt, rfcBaseOptions *options )
{
    PB_ASSERT( opt );
    PB_ASSERT( *opt );
    PB_ASSERT( options );
    sipauthOptions *changed = pb::mutate( opt );
    changed->rfcBaseOptions.value = pb::share( options );
    changed->rfcBaseOptions.isDefault = 0;
}

pbBool sipauthOptionsRfcBaseOptionsDefault( sipauthOptions *opt )
{
    PB_ASSERT( opt );
    return opt->rfcBaseOptions.isDefault;
}

void sipauthOptionsSetRfcBaseOptionsDefault( sipauthOptions **opt )
{
    PB_ASSERT( opt );
    PB_ASSERT( *opt );
    sipauthOptions *changed = pb::mutate( opt );
    changed->rfcBaseOptions.value = pb::own( rfcBaseOptionsCreate() );
    changed->rfcBaseOptions.isDefault = 1;
}

namespace
{

// How a set stands in a store: under a key, a nested store with one boolean for each name of its enumeration.
struct StoredSet
{
    const char *key;
    Defaultable<Set> sipauthOptions::*field;
    int64_t count;
    pbString *( *toString )( int64_t element );
    int64_t ( *fromString )( pbString *name );
};

constexpr StoredSet storedSets[] = {
    { "schemes", &sipauthOptions::schemes, SIPAUTH_SCHEME_DIGEST + 1, sipauthSchemeToString, sipauthSchemeFromString },
    { "digestAlgorithms", &sipauthOptions::digestAlgorithms, SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS + 1,
      sipauthDigestAlgorithmToString, sipauthDigestAlgorithmFromString },
    { "digestQops", &sipauthOptions::digestQops, SIPAUTH_DIGEST_QOP_AUTH_INT + 1, sipauthDigestQopToString,
      sipauthDigestQopFromString },
};

struct StoredBool
{
    const char *key;
    Defaultable<pbBool> sipauthOptions::*field;
};

constexpr StoredBool storedRandomness = { "digestLowQualityRandomness", &sipauthOptions::digestLowQualityRandomness };
constexpr StoredBool storedServerBools[] = {
    { "serverRechallenge", &sipauthOptions::serverRechallenge },
    { "serverRechallengeInvalidAuthorization", &sipauthOptions::serverRechallengeInvalidAuthorization },
    { "serverAcceptAuthorizationReuse", &sipauthOptions::serverAcceptAuthorizationReuse },
    { "serverDigestAcceptNonceReuse", &sipauthOptions::serverDigestAcceptNonceReuse },
    { "serverDigestOmitOpaque", &sipauthOptions::serverDigestOmitOpaque },
};

void storeSet( pbStore **store, sipauthOptions *opt, const StoredSet &stored, pbBool full )
{
    const Defaultable<Set> &field = opt->*stored.field;
    if( field.isDefault && !full )
        return;
    auto elements = pb::own( pbStoreCreate() );
    for( int64_t element = 0; element < stored.count; element++ )
    {
        auto name = pb::own( stored.toString( element ) );
        pbStoreSetValueBool( elements.inout(), name, ( field.value & bit( element ) ) != 0 );
    }
    pbStoreSetStoreCstr( store, stored.key, -1, elements );
}

void storeBool( pbStore **store, sipauthOptions *opt, const StoredBool &stored, pbBool full )
{
    const Defaultable<pbBool> &field = opt->*stored.field;
    if( !field.isDefault || full )
        pbStoreSetValueBoolCstr( store, stored.key, -1, field.value );
}

void storeReferences( pbStore **store, sipauthOptions *opt )
{
    if( opt->clientUsrReference )
        pbStoreSetStoreCstr( store, "clientUsrReference", -1, pb::own( usrReferenceStore( opt->clientUsrReference ) ) );
    if( opt->serverRealm )
        pbStoreSetValueCstr( store, "serverRealm", -1, opt->serverRealm );
    if( opt->serverUsrDirectoryName )
        pbStoreSetValueCstr( store, "serverUsrDirectoryName", -1, opt->serverUsrDirectoryName );
}

} // namespace

pbStore *sipauthOptionsStore( sipauthOptions *opt, pbBool full )
{
    PB_ASSERT( opt );
    auto store = pb::own( pbStoreCreate() );
    if( opt->defaults != SIPAUTH_DEFAULTS_STANDARD || full )
        pbStoreSetValueCstr( store.inout(), "defaults", -1, pb::own( sipauthDefaultsToString( opt->defaults ) ) );
    for( const StoredSet &stored : storedSets )
        storeSet( store.inout(), opt, stored, full );
    storeBool( store.inout(), opt, storedRandomness, full );
    storeReferences( store.inout(), opt );
    if( !opt->serverChallengeExpiration.isDefault || full )
        pbStoreSetValueIntCstr( store.inout(), "serverChallengeExpiration", -1, opt->serverChallengeExpiration.value );
    for( const StoredBool &stored : storedServerBools )
        storeBool( store.inout(), opt, stored, full );
    if( !opt->rfcBaseOptions.isDefault || full )
        pbStoreSetStoreCstr( store.inout(), "rfcBaseOptions", -1,
                             pb::own( rfcBaseOptionsStore( opt->rfcBaseOptions.value, full ) ) );
    return store.give();
}

namespace
{

// The mere presence of the nested store makes the set explicit.
void restoreSet( sipauthOptions *opt, pbStore *store, const StoredSet &stored )
{
    auto elements = pb::own( pbStoreStoreCstr( store, stored.key, -1 ) );
    if( !elements )
        return;
    Set restored = 0;
    for( int64_t index = 0; index < pbStoreLength( elements ); index++ )
    {
        auto name = pb::own( pbStoreKeyAt( elements, index ) );
        int64_t element = stored.fromString( name );
        pbBool value = 0;
        if( element >= 0 && pbStoreValueBool( elements, name, &value ) && value )
            restored |= bit( element );
    }
    opt->*stored.field = { restored, 0 };
}

void restoreBool( sipauthOptions *opt, pbStore *store, const StoredBool &stored )
{
    pbBool value = 0;
    if( pbStoreValueBoolCstr( store, stored.key, -1, &value ) )
        opt->*stored.field = { value, 0 };
}

void restoreReferences( sipauthOptions *opt, pbStore *store )
{
    if( auto reference = pb::own( pbStoreStoreCstr( store, "clientUsrReference", -1 ) ) )
        opt->clientUsrReference = pb::own( usrReferenceRestore( reference ) );
    opt->serverRealm = pb::own( pbStoreValueCstr( store, "serverRealm", -1 ) );
    auto dirName = pb::own( pbStoreValueCstr( store, "serverUsrDirectoryName", -1 ) );
    if( dirName && csObjectRecordNameOk( dirName ) )
        opt->serverUsrDirectoryName = dirName;
}

} // namespace

sipauthOptions *sipauthOptionsRestore( pbStore *store )
{
    PB_ASSERT( store );
    auto opt = pb::own( sipauthOptionsCreate() );
    auto defaults = pb::own( pbStoreValueCstr( store, "defaults", -1 ) );
    if( defaults && SIPAUTH_DEFAULTS_OK( sipauthDefaultsFromString( defaults ) ) )
        sipauthOptionsSetDefaults( opt.inout(), sipauthDefaultsFromString( defaults ) );
    for( const StoredSet &stored : storedSets )
        restoreSet( opt, store, stored );
    restoreBool( opt, store, storedRandomness );
    restoreReferences( opt, store );
    int64_t milliseconds = 0;
    if( pbStoreValueIntCstr( store, "serverChallengeExpiration", -1, &milliseconds ) && milliseconds >= 0 )
        opt->serverChallengeExpiration = { milliseconds, 0 };
    for( const StoredBool &stored : storedServerBools )
        restoreBool( opt, store, stored );
    if( auto baseOptions = pb::own( pbStoreStoreCstr( store, "rfcBaseOptions", -1 ) ) )
        sipauthOptionsSetRfcBaseOptions( opt.inout(), pb::own( rfcBaseOptionsRestore( baseOptions ) ) );
    return opt.give();
}
