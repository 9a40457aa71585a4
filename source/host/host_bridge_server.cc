// The wire bridge of a server: credentials that come in, challenges that go out.
#include <host/host_bridge.h>

#include "host/host_auth_algorithm_private.h"
#include "host/host_bridge_lines_private.h"
#include "host/host_bridge_server_private.h"
#include "host/host_credentials_private.h"
#include "pb/pb_assert.h"

#include <algorithm>

using namespace host;

namespace
{

// What credentials count for: one with a higher rank goes before, of two with the same the last one.
struct Rank
{
    int64_t credentials; ///< a HOST_CREDENTIALS
    int64_t rank;
};

constexpr Rank noRank = { HOST_CREDENTIALS_NONE, 0 };
constexpr Rank malformedRank = { HOST_CREDENTIALS_MALFORMED, 1 };
constexpr Rank basicRank = { HOST_CREDENTIALS_BASIC, 2 };
constexpr Rank unknownRank = { HOST_CREDENTIALS_UNKNOWN, 3 };
constexpr Rank staleRank = { HOST_CREDENTIALS_STALE, 4 };
constexpr Rank outstandingRank = { HOST_CREDENTIALS_DIGEST, 5 };
constexpr Rank sessionRank = { HOST_CREDENTIALS_DIGEST, 6 };

// The credentials of a request that count so far.
struct Best
{
    Rank rank = noRank;
    AuthItem *item = nullptr;
    pb::Ref<sipauthAuthorization> credentials;

    void offer( Rank otherRank, AuthItem *otherItem, pb::Ref<sipauthAuthorization> otherCredentials )
    {
        if( otherRank.rank == noRank.rank || otherRank.rank < rank.rank )
            return;
        rank = otherRank;
        item = otherItem;
        credentials = std::move( otherCredentials );
    }
};

// What a request is looked at with; as the arguments of hostBridgeRequestIn.
struct Context
{
    pbString *realm;
    pbString *sessionNonce;
    hostLedger *ledger;
    sipauthOptions *options;
};

void spellForLibrary( AuthItem &item )
{
    const AuthParameter *parameter = item.find( AuthName::algorithm );
    if( !parameter )
        return;
    int64_t algorithm = tryAlgorithm( parameter->value() );
    if( parameter->value().empty() )
        item.drop( AuthName::algorithm );
    else if( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) &&
             !equalsFolded( algorithmNames( algorithm ).library, parameter->value() ) )
        item.set( AuthName::algorithm, algorithmNames( algorithm ).library, false );
}

void lowerResponse( AuthLines &lines, AuthItem &item )
{
    const AuthParameter *parameter = item.find( AuthName::response );
    if( std::none_of( parameter->value().begin(), parameter->value().end(),
                      []( char ch ) { return ch >= 'A' && ch <= 'F'; } ) )
        return;
    std::string response( parameter->value() );
    for( char &ch : response )
        if( ch >= 'A' && ch <= 'F' )
            ch = static_cast<char>( ch + ( 'a' - 'A' ) );
    item.set( AuthName::response, lines.keep( std::move( response ) ), true );
}

// Brings what clients send into the form that the library checks. We never send an empty opaque, so one that comes
// stands for none. An empty quality of protection stands for none, too, and its nonce count goes with it.
void tidy( AuthLines &lines, AuthItem &item )
{
    spellForLibrary( item );
    lowerResponse( lines, item );
    if( !item.has( AuthName::opaque ) )
        item.drop( AuthName::opaque );
    if( item.find( AuthName::qop ) && !item.has( AuthName::qop ) )
    {
        item.drop( AuthName::qop );
        item.drop( AuthName::nc );
        item.drop( AuthName::cnonce );
    }
}

Rank rankOfNonce( const Context &context, const AuthItem &item, sipauthAuthorization *credentials )
{
    if( context.sessionNonce && item.is( AuthName::nonce, context.sessionNonce ) )
        return sessionRank;
    auto nonce = pb::own( sipauthAuthorizationDigestNonce( credentials ) );
    switch( hostLedgerLook( context.ledger, nonce ) )
    {
    case HOST_NONCE_OUTSTANDING:
        return outstandingRank;
    case HOST_NONCE_UNKNOWN:
        return unknownRank;
    default:
        return staleRank;
    }
}

// A line whose realm could not be read any more is taken for ours.
void offerDigest( const Context &context, AuthLines &lines, AuthItem &item, Best &best )
{
    bool forOthers = context.realm && !item.is( AuthName::realm, context.realm );
    if( forOthers && !( item.malformed() && !item.find( AuthName::realm ) ) )
        return;
    if( item.malformed() )
        return best.offer( malformedRank, nullptr, nullptr );
    if( !item.has( AuthName::nonce ) || !item.has( AuthName::response ) )
        return;
    tidy( lines, item );
    pb::Ref<sipauthAuthorization> credentials = tryDigestCredentials( item );
    if( !credentials )
        return best.offer( malformedRank, nullptr, nullptr );
    Rank rank = rankOfNonce( context, item, credentials );
    best.offer( rank, &item, std::move( credentials ) );
}

void offerBasic( const Context &context, AuthItem &item, Best &best )
{
    if( !sipauthOptionsHasScheme( context.options, SIPAUTH_SCHEME_BASIC ) )
        return;
    pb::Ref<sipauthAuthorization> credentials;
    if( !item.malformed() && !item.token68().empty() )
        credentials = tryBasicCredentials( item, context.options );
    if( credentials )
        best.offer( basicRank, &item, std::move( credentials ) );
    else
        best.offer( malformedRank, nullptr, nullptr );
}

Best choose( const Context &context, AuthLines &lines )
{
    Best best;
    if( lines.refused() > 0 )
        best.offer( malformedRank, nullptr, nullptr );
    for( AuthItem &item : lines.items() )
    {
        if( item.scheme() == AuthScheme::digest )
            offerDigest( context, lines, item, best );
        else if( item.scheme() == AuthScheme::basic )
            offerBasic( context, item, best );
    }
    return best;
}

} // namespace

int64_t hostBridgeRequestIn( sipsnMessage **request, pbBool proxy, pbString *realm, pbString *sessionNonce,
                             hostLedger *ledger, sipauthOptions *options, hostSettings *settings,
                             sipauthAuthorization **authorization )
{
    PB_ASSERT( request );
    PB_ASSERT( *request );
    PB_ASSERT( ledger );
    PB_ASSERT( options );
    PB_ASSERT( settings );
    PB_ASSERT( authorization );
    AuthLines lines( *request, credentialsHeader( proxy ), AuthLimits( settings ) );
    Best best = choose( { realm, sessionNonce, ledger, options }, lines );
    int64_t result = best.rank.credentials;
    std::vector<const AuthItem *> left;
    if( result == HOST_CREDENTIALS_DIGEST || result == HOST_CREDENTIALS_BASIC )
        left.push_back( best.item );
    lines.store( request, left );
    *authorization = best.credentials.give();
    return result;
}

namespace
{

// A challenge of ours and what it offers.
struct Offer
{
    AuthItem *item;
    int64_t algorithm; ///< SIPAUTH_DIGEST_ALGORITHM_INVALID for none that we know, and for Basic
    bool auth;         ///< with the quality of protection "auth"
};

bool isDigest( const Offer &offer )
{
    return offer.item->scheme() == AuthScheme::digest;
}

int64_t algorithmOf( const AuthItem &item )
{
    if( item.scheme() != AuthScheme::digest )
        return SIPAUTH_DIGEST_ALGORITHM_INVALID;
    const AuthParameter *parameter = item.find( AuthName::algorithm );
    return parameter ? tryAlgorithm( parameter->value() ) : SIPAUTH_DIGEST_ALGORITHM_MD5;
}

bool offersAuth( const AuthItem &item )
{
    const AuthParameter *qop = item.find( AuthName::qop );
    std::string_view rest = qop ? qop->value() : std::string_view();
    while( !rest.empty() )
    {
        size_t end = std::min( rest.find_first_of( ", \t" ), rest.size() );
        if( equalsFolded( rest.substr( 0, end ), "auth" ) )
            return true;
        rest.remove_prefix( std::min( end + 1, rest.size() ) );
    }
    return false;
}

std::vector<Offer> offersOf( AuthLines &lines )
{
    std::vector<Offer> offers;
    offers.reserve( lines.items().size() );
    for( AuthItem &item : lines.items() )
        offers.push_back( { &item, algorithmOf( item ), offersAuth( item ) } );
    return offers;
}

// The first offer of an algorithm, rather one with "auth"; null for none.
const Offer *offerOf( const std::vector<Offer> &offers, int64_t algorithm )
{
    const Offer *found = nullptr;
    for( const Offer &offer : offers )
        if( offer.algorithm == algorithm && ( !found || ( offer.auth && !found->auth ) ) )
            found = &offer;
    return found;
}

// Those of some algorithms, in their order; without any the first Digest one, without that all.
std::vector<Offer> pick( const std::vector<Offer> &offers, std::initializer_list<int64_t> algorithms )
{
    std::vector<Offer> picked;
    for( int64_t algorithm : algorithms )
        if( const Offer *offer = offerOf( offers, algorithm ) )
            picked.push_back( *offer );
    if( !picked.empty() )
        return picked;
    auto first = std::find_if( offers.begin(), offers.end(), isDigest );
    return first == offers.end() ? offers : std::vector<Offer>{ *first };
}

// The offers in the order in which they go out.
std::vector<Offer> shape( std::vector<Offer> offers, int64_t profile )
{
    if( profile == HOST_PROFILE_LEGACY )
        return pick( offers, { SIPAUTH_DIGEST_ALGORITHM_MD5 } );
    if( profile == HOST_PROFILE_DEFAULT )
        return pick( offers, { SIPAUTH_DIGEST_ALGORITHM_SHA256, SIPAUTH_DIGEST_ALGORITHM_MD5 } );
    std::stable_partition( offers.begin(), offers.end(), isDigest );
    return offers;
}

void spellForNetwork( AuthItem &item, int64_t algorithm )
{
    if( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) && algorithmNames( algorithm ).differ() )
        item.set( AuthName::algorithm, algorithmNames( algorithm ).network, false );
}

} // namespace

std::vector<pb::Ref<pbString>> host::shapeChallenges( sipsnMessage **response, pbBool proxy, int64_t profile,
                                                      pbBool stale )
{
    AuthLines lines( *response, challengesHeader( proxy ) );
    std::vector<const AuthItem *> left;
    std::vector<pb::Ref<pbString>> nonces;
    for( const Offer &offer : shape( offersOf( lines ), profile ) )
    {
        if( isDigest( offer ) && offer.item->has( AuthName::nonce ) )
            nonces.push_back( offer.item->text( AuthName::nonce ) );
        spellForNetwork( *offer.item, offer.algorithm );
        if( profile != HOST_PROFILE_STRICT && offer.auth )
            offer.item->set( AuthName::qop, "auth", true );
        if( stale && isDigest( offer ) )
            offer.item->set( AuthName::stale, "true", false );
        left.push_back( offer.item );
    }
    lines.store( response, left );
    return nonces;
}

void hostBridgeResponseOut( sipsnMessage **response, pbBool proxy, int64_t profile, pbBool stale )
{
    PB_ASSERT( response );
    PB_ASSERT( *response );
    PB_ASSERT( HOST_PROFILE_OK( profile ) );
    shapeChallenges( response, proxy, profile, stale );
}

void hostBridgeIssue( sipsnMessage *response, pbBool proxy, hostLedger *ledger, hostPeer *peer )
{
    PB_ASSERT( response );
    PB_ASSERT( ledger );
    PB_ASSERT( peer );
    AuthLines lines( response, challengesHeader( proxy ) );
    for( const AuthItem &item : lines.items() )
        if( item.scheme() == AuthScheme::digest && item.has( AuthName::nonce ) )
            hostLedgerIssue( ledger, item.text( AuthName::nonce ), peer );
}

namespace
{

// Whether credentials are for REALM, or may be: Basic names no realm, and a line that cannot be read to its end may not
// show it. What may be ours must not leave.
bool mayBeFor( const AuthItem &item, pbString *realm )
{
    if( item.scheme() == AuthScheme::other )
        return false;
    if( item.scheme() == AuthScheme::basic || !realm || !item.find( AuthName::realm ) )
        return true;
    return item.is( AuthName::realm, realm );
}

} // namespace

void hostBridgeStripCredentials( sipsnMessage **request, pbBool proxy, pbString *realm )
{
    PB_ASSERT( request );
    PB_ASSERT( *request );
    AuthLines lines( *request, credentialsHeader( proxy ) );
    std::vector<const AuthItem *> left;
    for( const AuthItem &item : lines.items() )
        if( !mayBeFor( item, realm ) )
            left.push_back( &item );
    if( left.size() < lines.items().size() )
        lines.store( request, left );
}
