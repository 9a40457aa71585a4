// Options of the base encodings. The default is one static object: encoders ask for it at every call without options,
// and a setter copies it first, as it copies any shared value.
#include "pb/pb_type.h"
#include "rfc/rfc_base_options_private.h"
#include "rfc/rfc_private.h"

#include <array>

PB_TYPE( rfcBaseOptions, RFC_BASE_OPTIONS, rfc, rfc___BaseOptionsFreeFunc, nullptr );

static constinit rfcBaseOptions defaultOptions = {
    { &rfc___sort_RFC_BASE_OPTIONS, pb::staticReferences }, RFC_BASE_ALPHABET_STANDARD, 1, 0 };

static void rfc___BaseOptionsFreeFunc( pbObj *obj )
{
    rfcBaseOptions *options = rfcBaseOptionsFrom( obj );
    PB_ASSERT( options );
    options->alphabet = options->padding = -1;
    options->lineLength = -1;
}

namespace
{

// By alphabet.
constexpr std::array alphabetNames = { "RFC_BASE_ALPHABET_STANDARD", "RFC_BASE_ALPHABET_ALTERNATE" };
static_assert( alphabetNames.size() == RFC_BASE_ALPHABET_ALTERNATE + 1 );

// The alphabet that a store names, -1 for none.
int64_t storedAlphabet( pbStore *store )
{
    auto name = pb::own( pbStoreValueCstr( store, "alphabet", -1 ) );
    for( size_t index = 0; name && index < alphabetNames.size(); index++ )
    {
        if( pbStringEqualsCstr( name, alphabetNames[index], -1 ) )
            return static_cast<int64_t>( index );
    }
    return -1;
}

} // namespace

PB_FIELD_ENUM( rfcBaseOptions, options, Alphabet, alphabet, alphabet, RFC_BASE_ALPHABET_OK( alphabet ) );
PB_FIELD_BOOL( rfcBaseOptions, options, Padding, padding );
PB_FIELD_ENUM( rfcBaseOptions, options, LineLength, lineLength, lineLength, lineLength >= 0 );

rfcBaseOptions *rfcBaseOptionsCreate()
{
    return &defaultOptions;
}

rfcBaseOptions *rfcBaseOptionsCreateFrom( rfcBaseOptions *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

pbStore *rfcBaseOptionsStore( rfcBaseOptions *options, pbBool full )
{
    PB_ASSERT( options );
    auto store = pb::own( pbStoreCreate() );
    if( full || options->alphabet != defaultOptions.alphabet )
    {
        const char *name = alphabetNames[static_cast<size_t>( options->alphabet )];
        pbStoreSetValueCstr( store.inout(), "alphabet", -1, pb::own( pbStringCreateFromCstr( name, -1 ) ) );
    }
    if( full || options->padding != defaultOptions.padding )
        pbStoreSetValueBoolCstr( store.inout(), "padding", -1, options->padding );
    if( full || options->lineLength != defaultOptions.lineLength )
        pbStoreSetValueIntCstr( store.inout(), "lineLength", -1, options->lineLength );
    return store.give();
}

rfcBaseOptions *rfcBaseOptionsRestore( pbStore *store )
{
    PB_ASSERT( store );
    auto options = pb::own( rfcBaseOptionsCreate() );
    int64_t alphabet = storedAlphabet( store );
    if( RFC_BASE_ALPHABET_OK( alphabet ) )
        rfcBaseOptionsSetAlphabet( options.inout(), alphabet );
    pbBool padding = 0;
    if( pbStoreValueBoolCstr( store, "padding", -1, &padding ) )
        rfcBaseOptionsSetPadding( options.inout(), padding );
    int64_t lineLength = 0;
    if( pbStoreValueIntCstr( store, "lineLength", -1, &lineLength ) && lineLength >= 0 )
        rfcBaseOptionsSetLineLength( options.inout(), lineLength );
    return options.give();
}
