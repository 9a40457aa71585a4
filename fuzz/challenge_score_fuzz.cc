// The choice among challenges against a second way to make it: rank each by what it offers, and sort stably.
//
// The input begins with the allowed schemes, algorithms (two bytes) and qualities of protection, one bit each, and one
// more byte: how often the challenges are repeated and whether they follow as header lines or as pairs of bytes.
#include "fuzz_sipauth.h"
#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/base/sipauth_challenge_private.h"

#include <sipauth/sipauth_digest_algorithm.h>
#include <sipauth/sipauth_digest_qop.h>

#include <algorithm>
#include <optional>
#include <strings.h>
#include <tuple>

namespace
{

using pb::own;
using pb::Ref;

// What stands in headers; the index is the value.
constexpr const char *algorithms[] = { "MD5",    "MD5-sess",    "SHA1",   "SHA1-sess",   "SHA224", "SHA224-sess",
                                       "SHA256", "SHA256-sess", "SHA384", "SHA384-sess", "SHA512", "SHA512-sess" };
constexpr const char *qops[] = { "", "auth", "auth-int" };
static_assert( std::size( algorithms ) == SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS + 1 );
static_assert( std::size( qops ) == SIPAUTH_DIGEST_QOP_AUTH_INT + 1 );

// How many challenges of a response are looked at.
constexpr size_t considered = 100;

struct Allowed
{
    unsigned schemes;
    unsigned algorithms;
    unsigned qops;
};

Allowed takeAllowed( const uint8_t *&data, size_t &size )
{
    Allowed allowed{};
    allowed.schemes = fuzz::takeByte( data, size ) & 3u;
    allowed.algorithms = fuzz::takeByte( data, size );
    allowed.algorithms |= ( fuzz::takeByte( data, size ) & 15u ) << 8;
    allowed.qops = fuzz::takeByte( data, size ) & 7u;
    return allowed;
}

Ref<sipauthOptions> optionsOf( const Allowed &allowed )
{
    auto options = own( sipauthOptionsCreate() );
    sipauthOptionsClearSchemes( options.inout() );
    sipauthOptionsClearDigestAlgorithms( options.inout() );
    sipauthOptionsClearDigestQops( options.inout() );
    for( int64_t scheme = 0; SIPAUTH_SCHEME_OK( scheme ); scheme++ )
        if( allowed.schemes >> scheme & 1 )
            sipauthOptionsSetScheme( options.inout(), scheme );
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
        if( allowed.algorithms >> algorithm & 1 )
            sipauthOptionsSetDigestAlgorithm( options.inout(), algorithm );
    for( int64_t qop = 0; SIPAUTH_DIGEST_QOP_OK( qop ); qop++ )
        if( allowed.qops >> qop & 1 )
            sipauthOptionsSetDigestQop( options.inout(), qop );
    return options;
}

using Challenges = std::vector<Ref<sipauthAuthenticate>>;

Challenges fromLines( std::string_view lines )
{
    auto options = own( sipauthOptionsCreate() );
    Challenges challenges;
    while( !lines.empty() )
    {
        std::string_view line = lines.substr( 0, lines.find( '\n' ) );
        lines.remove_prefix( std::min( lines.size(), line.size() + 1 ) );
        if( auto ac = own( sipauth___AuthenticateTryDecode( options, pb::string( line ) ) ) )
            challenges.push_back( ac );
    }
    return challenges;
}

// One challenge from two bytes. The first one: whether it is Basic, whether it has no algorithm, and which one,
// unknown ones among them. The second one: three qualities of protection, each one of none, two known and an unknown.
Ref<sipauthAuthenticate> fromBytes( uint8_t first, uint8_t second )
{
    auto ac = own( sipauthAuthenticateCreate( first & 1 ? SIPAUTH_SCHEME_BASIC : SIPAUTH_SCHEME_DIGEST ) );
    unsigned algorithm = first >> 2 & 15;
    if( first & 2 )
    {
        const char *token = algorithm < std::size( algorithms ) ? algorithms[algorithm] : "SHA3-512";
        sipauthAuthenticateSetDigestAlgorithm( ac.inout(), pb::string( token ) );
    }
    for( ; second; second >>= 2 )
    {
        unsigned qop = second & 3;
        if( qop > 0 )
            sipauthAuthenticateAppendDigestQopOption( ac.inout(), pb::string( qop < 3 ? qops[qop] : "auth-conf" ) );
    }
    return ac;
}

Challenges fromPairs( const uint8_t *data, size_t size )
{
    Challenges challenges;
    for( ; size > 1; data += 2, size -= 2 )
    {
        Ref<sipauthAuthenticate> ac = fromBytes( data[0], data[1] );
        // Tells it from the others.
        std::string number = std::to_string( challenges.size() );
        sipauthAuthenticateSetDigestNonce( ac.inout(), pb::string( number ) );
        sipauthAuthenticateSetBasicRealm( ac.inout(), pb::string( number ) );
        challenges.push_back( ac );
    }
    return challenges;
}

template<size_t count>
int64_t indexOf( const char *const ( &tokens )[count], const std::string &token )
{
    auto same = [&]( const char *other ) { return strcasecmp( other, token.c_str() ) == 0; };
    auto found = std::find_if( tokens, tokens + count, same );
    return found == tokens + count || token.empty() ? -1 : found - tokens;
}

// Scheme, algorithm, quality of protection.
using Rank = std::tuple<int64_t, int64_t, int64_t>;

struct Candidate
{
    Rank rank;
    Ref<sipauthAuthenticate> ac;
};

// The highest allowed quality of protection, and the challenge without those that are not allowed.
int64_t rankQops( Ref<sipauthAuthenticate> &ac, const Allowed &allowed )
{
    int64_t length = sipauthAuthenticateDigestQopOptionsLength( ac );
    if( length == 0 )
        return allowed.qops & 1 ? 0 : -1;
    auto kept = ac;
    sipauthAuthenticateClearDigestQopOptions( kept.inout() );
    int64_t best = -1;
    for( int64_t index = 0; index < length; index++ )
    {
        auto token = own( sipauthAuthenticateDigestQopOptionAt( ac, index ) );
        int64_t qop = indexOf( qops, pb::text( token ) );
        if( qop < 0 || !( allowed.qops >> qop & 1 ) )
            continue;
        best = std::max( best, qop );
        sipauthAuthenticateAppendDigestQopOption( kept.inout(), token );
    }
    ac = kept;
    return best;
}

std::optional<Candidate> rank( Ref<sipauthAuthenticate> ac, const Allowed &allowed )
{
    int64_t scheme = sipauthAuthenticateScheme( ac );
    if( !( allowed.schemes >> scheme & 1 ) )
        return std::nullopt;
    if( scheme == SIPAUTH_SCHEME_BASIC )
        return Candidate{ { 0, 0, 0 }, ac };
    auto token = own( sipauthAuthenticateDigestAlgorithm( ac ) );
    int64_t algorithm = token ? indexOf( algorithms, pb::text( token ) ) : SIPAUTH_DIGEST_ALGORITHM_MD5;
    if( algorithm < 0 || !( allowed.algorithms >> algorithm & 1 ) )
        return std::nullopt;
    int64_t qop = rankQops( ac, allowed );
    if( qop < 0 )
        return std::nullopt;
    return Candidate{ { 1, algorithm, qop }, ac };
}

Challenges expectedOrder( const Challenges &challenges, const Allowed &allowed )
{
    std::vector<Candidate> candidates;
    for( size_t index = 0; index < std::min( challenges.size(), considered ); index++ )
        if( auto candidate = rank( challenges[index], allowed ) )
            candidates.push_back( *candidate );
    std::stable_sort( candidates.begin(), candidates.end(),
                      []( const Candidate &a, const Candidate &b ) { return a.rank > b.rank; } );
    Challenges ordered;
    for( const Candidate &candidate : candidates )
        ordered.push_back( candidate.ac );
    return ordered;
}

std::string encode( sipauthAuthenticate *ac )
{
    auto options = own( sipauthOptionsCreate() );
    return pb::textOf( sipauth___AuthenticateEncode( options, ac ) );
}

std::vector<std::string> encodeAll( const Challenges &challenges )
{
    std::vector<std::string> texts;
    for( const auto &ac : challenges )
        texts.push_back( encode( ac ) );
    return texts;
}

// The best one first, and nothing left behind.
void checkExtraction( sipauthChallenge **ch, const std::vector<std::string> &expected )
{
    for( const std::string &text : expected )
    {
        auto first = own( sipauth___ChallengeTryExtractFirstAuthenticate( ch ) );
        FUZZ_CHECK( first && encode( first ) == text );
    }
    FUZZ_CHECK( !own( sipauth___ChallengeTryExtractFirstAuthenticate( ch ) ) );
}

void checkScoring( const Challenges &challenges, const Allowed &allowed )
{
    std::vector<std::string> before = encodeAll( challenges );
    auto original = own( sipauthChallengeCreate() );
    for( const auto &ac : challenges )
        sipauthChallengeAppendAuthenticate( original.inout(), ac );

    auto scored = original;
    auto options = optionsOf( allowed );
    bool any = sipauth___ChallengeScoreAndFilterAuthenticates( scored.inout(), options );
    std::vector<std::string> expected = encodeAll( expectedOrder( challenges, allowed ) );
    FUZZ_CHECK( any == !expected.empty() );
    FUZZ_CHECK( sipauthChallengeAuthenticatesLength( scored ) == static_cast<int64_t>( expected.size() ) );

    // What is left is in order, so that a second time nothing changes.
    auto again = scored;
    FUZZ_CHECK( sipauth___ChallengeScoreAndFilterAuthenticates( again.inout(), options ) == any );
    checkExtraction( again.inout(), expected );
    checkExtraction( scored.inout(), expected );

    FUZZ_CHECK( sipauthChallengeAuthenticatesLength( original ) == static_cast<int64_t>( before.size() ) );
    for( size_t index = 0; index < before.size(); index++ )
    {
        auto ac = own( sipauthChallengeAuthenticateAt( original, static_cast<int64_t>( index ) ) );
        FUZZ_CHECK( ac.get() == challenges[index].get() && encode( ac ) == before[index] );
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::startLibrary();
    fuzz::LiveObjectCheck check;
    Allowed allowed = takeAllowed( data, size );
    uint8_t shape = fuzz::takeByte( data, size );
    std::string_view text( reinterpret_cast<const char *>( data ), size );
    Challenges once = shape & 0x80 ? fromPairs( data, size ) : fromLines( text );
    Challenges challenges = once;
    for( unsigned count = shape & 15; count > 0 && challenges.size() <= considered; count-- )
        challenges.insert( challenges.end(), once.begin(), once.end() );
    checkScoring( challenges, allowed );
    return 0;
}
