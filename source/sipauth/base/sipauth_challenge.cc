// The challenges of one 401 or 407 response: the value, its place in a message, and the client's choice among them.
#include "sipauth/base/sipauth_challenge_private.h"

#include "pb/pb_type.h"
#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"
#include "sipauth/sipauth_private.h"

#include <pb/pb_priority_map.h>

#include <algorithm>

struct sipauthChallenge
{
    pb::Object object;
    pb::Field<pbVector> authenticates;
};

PB_TYPE( sipauthChallenge, SIPAUTH_CHALLENGE, sipauth, sipauth___ChallengeFreeFunc, nullptr );

sipauthChallenge *sipauthChallengeCreate()
{
    auto ch = pb::create<sipauthChallenge>( sipauthChallengeSort() );
    ch->authenticates = pb::own( pbVectorCreate() );
    return ch.give();
}

sipauthChallenge *sipauthChallengeCreateFrom( sipauthChallenge *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

static void sipauth___ChallengeFreeFunc( pbObj *obj )
{
    sipauthChallenge *ch = sipauthChallengeFrom( obj );
    PB_ASSERT( ch );
    pb::poison( ch->authenticates );
}

PB_FIELD_OBJECTS( sipauthChallenge, ch, Authenticates, Authenticate, authenticates, sipauthAuthenticate, authenticate,
                  vec, pbVectorContainsOnly( vec, sipauthAuthenticateSort() ) );

namespace
{

const char *headerName( pbBool proxy )
{
    return proxy ? "Proxy-Authenticate" : "Www-Authenticate";
}

// The weights of a score, so far apart that the better of two challenges is told by the first that differs: scheme,
// then algorithm, then quality of protection, then the place in the response.
constexpr int64_t digestWeight = 1000000;
constexpr int64_t algorithmWeight = 10000;
constexpr int64_t qopWeight = 100;
constexpr int64_t maxConsidered = 100;
static_assert( SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS * algorithmWeight + algorithmWeight <= digestWeight );
static_assert( SIPAUTH_DIGEST_QOP_AUTH_INT * qopWeight + qopWeight <= algorithmWeight );
static_assert( maxConsidered <= qopWeight );

// What stands for a challenge that cannot be answered.
constexpr int64_t unusable = -1;

int64_t scoreAlgorithm( sipauthAuthenticate *ac, sipauthOptions *opt )
{
    int64_t algorithm = SIPAUTH_DIGEST_ALGORITHM_MD5;
    if( auto token = pb::own( sipauthAuthenticateDigestAlgorithm( ac ) ) )
        algorithm = sipauth___DigestAlgorithmTryDecode( token );
    if( !SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) || !sipauthOptionsHasDigestAlgorithm( opt, algorithm ) )
        return unusable;
    return algorithm * algorithmWeight;
}

bool allowsQop( sipauthOptions *opt, int64_t qop )
{
    return SIPAUTH_DIGEST_QOP_OK( qop ) && sipauthOptionsHasDigestQop( opt, qop );
}

// Deletes the options that are not allowed from the challenge, so that its answer chooses among the others only.
int64_t scoreAndFilterQop( sipauthAuthenticate **ac, sipauthOptions *opt )
{
    auto qops = pb::own( sipauthAuthenticateDigestQopOptionsVector( *ac ) );
    if( pbVectorLength( qops ) == 0 )
        return sipauthOptionsHasDigestQop( opt, SIPAUTH_DIGEST_QOP_NONE ) ? 0 : unusable;
    int64_t best = unusable;
    for( int64_t index = 0; index < pbVectorLength( qops ); )
    {
        auto token = pb::own( pbVectorObjAt( qops, index ) );
        int64_t qop = sipauth___DigestQopTryDecode( pbStringFrom( token ) );
        if( allowsQop( opt, qop ) )
        {
            best = std::max( best, qop );
            index++;
        }
        else
            pbVectorDelAt( qops.inout(), index );
    }
    if( best == unusable )
        return unusable;
    sipauthAuthenticateSetDigestQopOptionsVector( ac, qops );
    return best * qopWeight;
}

int64_t scoreAndFilter( sipauthAuthenticate **ac, sipauthOptions *opt )
{
    int64_t scheme = sipauthAuthenticateScheme( *ac );
    if( !sipauthOptionsHasScheme( opt, scheme ) )
        return unusable;
    if( scheme == SIPAUTH_SCHEME_BASIC )
        return 0;
    int64_t algorithm = scoreAlgorithm( *ac, opt );
    if( algorithm == unusable )
        return unusable;
    int64_t qop = scoreAndFilterQop( ac, opt );
    return qop == unusable ? unusable : digestWeight + algorithm + qop;
}

} // namespace

void sipauthChallengeEncodeToMessage( sipauthOptions *opt, sipauthChallenge *ch, sipsnMessage **message, pbBool proxy )
{
    PB_ASSERT( opt );
    PB_ASSERT( ch );
    PB_ASSERT( message );
    PB_ASSERT( *message );
    auto header = pb::own( sipsnMessageHeaderCreateCstr( headerName( proxy ), -1 ) );
    for( int64_t index = 0; index < pbVectorLength( ch->authenticates ); index++ )
    {
        auto ac = pb::own( sipauthChallengeAuthenticateAt( ch, index ) );
        sipsnMessageHeaderAppendLine( header.inout(), pb::own( sipauth___AuthenticateEncode( opt, ac ) ) );
    }
    sipsnMessageSetHeader( message, header );
}

sipauthChallenge *sipauthChallengeTryDecodeFromMessage( sipauthOptions *opt, sipsnMessage *message, pbBool proxy )
{
    PB_ASSERT( opt );
    PB_ASSERT( message );
    auto header = pb::own( sipsnMessageHeaderCstr( message, headerName( proxy ), -1 ) );
    if( !header )
        return nullptr;
    auto ch = pb::own( sipauthChallengeCreate() );
    for( int64_t index = 0; index < sipsnMessageHeaderLinesLength( header ); index++ )
    {
        auto line = pb::own( sipsnMessageHeaderLineAt( header, index ) );
        if( auto ac = pb::own( sipauth___AuthenticateTryDecode( opt, line ) ) )
            sipauthChallengeAppendAuthenticate( ch.inout(), ac );
    }
    return ch.give();
}

pbBool sipauth___ChallengeScoreAndFilterAuthenticates( sipauthChallenge **ch, sipauthOptions *opt )
{
    PB_ASSERT( ch );
    PB_ASSERT( *ch );
    PB_ASSERT( opt );
    auto scored = pb::own( pbPriorityMapCreate() );
    sipauthChallenge *changed = pb::mutate( ch );
    int64_t length = std::min( pbVectorLength( changed->authenticates ), maxConsidered );
    for( int64_t index = 0; index < length; index++ )
    {
        auto ac = pb::own( sipauthChallengeAuthenticateAt( changed, index ) );
        int64_t score = scoreAndFilter( ac.inout(), opt );
        if( score != unusable )
            pbPriorityMapSetValue( scored.inout(), score + ( maxConsidered - 1 - index ),
                                   sipauthAuthenticateObj( ac ) );
    }
    changed->authenticates = pb::own( pbPriorityMapValuesVector( scored ) );
    pbVectorReverse( changed->authenticates.inout() );
    return pbVectorLength( changed->authenticates ) > 0;
}

sipauthAuthenticate *sipauth___ChallengeTryExtractFirstAuthenticate( sipauthChallenge **ch )
{
    PB_ASSERT( ch );
    PB_ASSERT( *ch );
    return sipauthAuthenticateFrom( pbVectorUnshift( pb::mutate( ch )->authenticates.inout() ) );
}
