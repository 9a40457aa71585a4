// The wire bridge of a client: challenges that come in, credentials that go out.
#include <host/host_bridge.h>

#include "host/host_auth_algorithm_private.h"
#include "host/host_bridge_lines_private.h"
#include "pb/pb_assert.h"

#include <sipauth/sipauth_value.h>

#include <algorithm>

using namespace host;

namespace
{

// More qualities of protection than these are not told to the library.
constexpr size_t maxQops = 16;

constexpr std::string_view blanks = " \t";

// The parts of a list, without empty ones.
std::vector<std::string_view> split( std::string_view rest, std::string_view delimiters )
{
    std::vector<std::string_view> parts;
    while( !rest.empty() )
    {
        size_t end = std::min( rest.find_first_of( delimiters ), rest.size() );
        if( end > 0 )
            parts.push_back( rest.substr( 0, end ) );
        rest.remove_prefix( std::min( end + 1, rest.size() ) );
    }
    return parts;
}

// Those of the qualities that can be answered come first, so that they are not lost when there are too many.
bool isKnownQop( std::string_view qop )
{
    return equalsFolded( qop, "auth" ) || equalsFolded( qop, "auth-int" );
}

// A list of qualities of protection with nothing in it that the library cannot read; an empty one stands for none.
void tidyQop( AuthLines &lines, AuthItem &item )
{
    const AuthParameter *parameter = item.find( AuthName::qop );
    if( !parameter )
        return;
    std::vector<std::string_view> qops = split( parameter->value(), ", \t" );
    std::erase_if( qops, []( std::string_view qop ) { return !isToken( qop ); } );
    if( qops.size() > maxQops )
    {
        std::stable_partition( qops.begin(), qops.end(), isKnownQop );
        qops.resize( maxQops );
    }
    std::string list;
    for( std::string_view qop : qops )
        list.append( list.empty() ? "" : "," ).append( qop );
    std::string received( parameter->value() );
    std::erase_if( received, []( char ch ) { return blanks.find( ch ) != std::string_view::npos; } );
    if( list.empty() )
        item.drop( AuthName::qop );
    else if( received != list )
        item.set( AuthName::qop, lines.keep( std::move( list ) ), true );
}

// Anything but "true" means false (RFC 7616 section 3.3).
void tidyStale( AuthItem &item )
{
    const AuthParameter *parameter = item.find( AuthName::stale );
    if( parameter && !equalsFolded( parameter->value(), "true" ) && !equalsFolded( parameter->value(), "false" ) )
        item.drop( AuthName::stale );
}

// The protection space has no bearing on SIP; one that the library cannot read must not cost the challenge.
void tidyDomain( AuthItem &item )
{
    pb::Ref<pbString> domain = item.text( AuthName::domain );
    if( !domain )
        return;
    Utf8 text( domain );
    for( std::string_view iri : split( text.view(), blanks ) )
    {
        auto string = pb::own( pbStringCreateFromCstr( iri.data(), static_cast<int64_t>( iri.size() ) ) );
        if( !sipauthValueDigestIriOk( string ) )
            return item.drop( AuthName::domain );
    }
}

// Re-spells the algorithm and tells it; none means MD5. *SPELLING becomes that of a name with a hyphen.
int64_t tidyAlgorithm( AuthItem &item, int64_t *spelling )
{
    const AuthParameter *parameter = item.find( AuthName::algorithm );
    if( !parameter )
        return SIPAUTH_DIGEST_ALGORITHM_MD5;
    if( parameter->value().empty() )
    {
        item.drop( AuthName::algorithm );
        return SIPAUTH_DIGEST_ALGORITHM_MD5;
    }
    int64_t algorithm = tryAlgorithm( parameter->value() );
    if( !SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) ||
        equalsFolded( algorithmNames( algorithm ).library, parameter->value() ) )
        return algorithm;
    *spelling = HOST_SPELLING_RFC8760;
    item.set( AuthName::algorithm, algorithmNames( algorithm ).library, false );
    return algorithm;
}

// Whether the library may see a Digest challenge. Without realm or nonce it could not be answered, and would end the
// session; a session algorithm without a quality of protection would end the process.
bool admitDigest( AuthLines &lines, AuthItem &item, int64_t *spelling )
{
    if( item.malformed() || !item.find( AuthName::realm ) || !item.find( AuthName::nonce ) )
        return false;
    tidyQop( lines, item );
    tidyStale( item );
    tidyDomain( item );
    int64_t algorithm = tidyAlgorithm( item, spelling );
    if( const AuthParameter *parameter = item.find( AuthName::algorithm ); parameter && !isToken( parameter->value() ) )
        return false;
    bool session = SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) && isSessionAlgorithm( algorithm );
    return !session || item.find( AuthName::qop );
}

bool admit( AuthLines &lines, AuthItem &item, int64_t *spelling )
{
    switch( item.scheme() )
    {
    case AuthScheme::digest:
        return admitDigest( lines, item, spelling );
    case AuthScheme::basic:
        return !item.malformed() && item.token68().empty();
    default:
        return false;
    }
}

} // namespace

int64_t hostBridgeResponseIn( sipsnMessage **response, pbBool proxy, hostSettings *settings, int64_t *dropped )
{
    PB_ASSERT( response );
    PB_ASSERT( *response );
    PB_ASSERT( settings );
    AuthLines lines( *response, challengesHeader( proxy ), AuthLimits( settings ) );
    int64_t spelling = HOST_SPELLING_LIBRARY;
    std::vector<const AuthItem *> left;
    for( AuthItem &item : lines.items() )
        if( admit( lines, item, &spelling ) )
            left.push_back( &item );
    if( dropped )
        *dropped = lines.refused() + static_cast<int64_t>( lines.items().size() - left.size() );
    lines.store( response, left );
    return spelling;
}

void hostBridgeRequestOut( sipsnMessage **request, pbBool proxy, int64_t spelling )
{
    PB_ASSERT( request );
    PB_ASSERT( *request );
    PB_ASSERT( spelling == HOST_SPELLING_LIBRARY || spelling == HOST_SPELLING_RFC8760 );
    if( spelling == HOST_SPELLING_LIBRARY )
        return;
    AuthLines lines( *request, credentialsHeader( proxy ) );
    std::vector<const AuthItem *> left;
    bool changed = false;
    for( AuthItem &item : lines.items() )
    {
        left.push_back( &item );
        const AuthParameter *parameter = item.find( AuthName::algorithm );
        int64_t algorithm = parameter ? tryAlgorithm( parameter->value() ) : SIPAUTH_DIGEST_ALGORITHM_INVALID;
        if( !SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) || !algorithmNames( algorithm ).differ() )
            continue;
        item.set( AuthName::algorithm, algorithmNames( algorithm ).network, false );
        changed = true;
    }
    if( changed )
        lines.store( request, left );
}
