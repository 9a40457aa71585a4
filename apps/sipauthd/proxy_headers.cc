// The headers of messages that a proxy forwards.
#include "sipauthd/proxy_headers.h"

#include <host/host_bridge.h>

#include <algorithm>
#include <charconv>

namespace sipauthd
{

namespace
{

constexpr size_t markBytes = 4;

// Signs what request and responses of a transaction have in common.
std::string transactionMark( const Seal &seal, const sip::Message &message )
{
    const auto cseq = sip::Cseq::parse( message.header( "CSeq" ) );
    return seal.sign(
        { "via", message.header( "Call-ID" ), tagOf( message, "From" ), cseq ? std::to_string( cseq->number ) : "" },
        markBytes );
}

// What a proxy decides by: when this is the same a second time, the request will go the same way again.
std::string loopMark( const Seal &seal, const sip::Message &request )
{
    std::string routes;
    for( const std::string &route : request.items( "Route" ) )
        routes += route + ",";
    return seal.sign( { "loop", request.uri(), tagOf( request, "To" ), routes, request.header( "Proxy-Require" ) },
                      markBytes );
}

bool privacyAsked( const sip::Message &request )
{
    const std::string privacy = request.header( "Privacy" );
    for( size_t start = 0; start <= privacy.size(); )
    {
        const size_t end = std::min( privacy.find( ';', start ), privacy.size() );
        std::string_view item = std::string_view( privacy ).substr( start, end - start );
        while( item.starts_with( ' ' ) )
            item.remove_prefix( 1 );
        while( item.ends_with( ' ' ) )
            item.remove_suffix( 1 );
        if( sip::equalIgnoringCase( item, "id" ) )
            return true;
        start = end + 1;
    }
    return false;
}

int maxForwards( const sip::Message &request )
{
    const std::string value = request.header( "Max-Forwards" );
    int number = 70;
    std::from_chars( value.data(), value.data() + value.size(), number );
    return std::clamp( number, 0, 255 );
}

} // namespace

std::string tagOf( const sip::Message &message, const char *header )
{
    const auto address = sip::NameAddress::parse( message.header( header ) );
    const std::string *tag = address ? address->parameters.find( "tag" ) : nullptr;
    return tag ? *tag : std::string();
}

sip::Message answer( const sip::Message &request, const Refusal &refusal )
{
    sip::Message response = sip::respond( request, refusal.status, refusal.reason );
    const size_t colon = refusal.header.find( ": " );
    if( colon != std::string::npos )
        response.set( refusal.header.substr( 0, colon ).c_str(), refusal.header.substr( colon + 2 ) );
    return response;
}

std::optional<Refusal> whyNotForward( const Seal &seal, const sip::Message &request )
{
    if( request.has( "Max-Forwards" ) && maxForwards( request ) == 0 )
        return Refusal{ 483, "Too Many Hops", "" };
    std::string unsupported;
    for( const std::string &extension : request.items( "Proxy-Require" ) )
        unsupported += ( unsupported.empty() ? "" : ", " ) + extension;
    if( !unsupported.empty() )
        return Refusal{ 420, "Bad Extension", "Unsupported: " + unsupported };
    const std::string mark = viaMark( seal, request );
    for( const std::string &item : request.items( "Via" ) )
    {
        const auto via = sip::Via::parse( item );
        const std::string *passed = via ? via->parameters.find( viaMarkName ) : nullptr;
        if( passed && *passed == mark )
            return Refusal{ 482, "Loop Detected", "" };
    }
    return std::nullopt;
}

std::string viaMark( const Seal &seal, const sip::Message &request )
{
    return transactionMark( seal, request ) + loopMark( seal, request );
}

bool hasOurVia( const Seal &seal, const sip::Message &response )
{
    const auto items = response.items( "Via" );
    const auto via = items.empty() ? std::nullopt : sip::Via::parse( items.front() );
    const std::string *mark = via ? via->parameters.find( viaMarkName ) : nullptr;
    return mark && mark->starts_with( transactionMark( seal, response ) );
}

void removeCredentials( sip::Message &request, const std::string &realm )
{
    if( !request.has( "Proxy-Authorization" ) )
        return;
    pb::Ref<sipsnMessage> changed = request.ref();
    hostBridgeStripCredentials( changed.inout(), 1, sip::stringOf( realm ) );
    request = sip::Message( changed );
}

void decrementMaxForwards( sip::Message &request )
{
    const int hops = request.has( "Max-Forwards" ) ? maxForwards( request ) - 1 : 70;
    request.set( "Max-Forwards", std::to_string( std::max( hops, 0 ) ) );
}

void assertIdentity( sip::Message &request, bool fromTrusted, bool toTrusted, const std::string &identity )
{
    if( !fromTrusted )
    {
        request.remove( "P-Asserted-Identity" );
        if( !identity.empty() && ( toTrusted || !privacyAsked( request ) ) )
            request.set( "P-Asserted-Identity", "<" + identity + ">" );
    }
    else if( !toTrusted && privacyAsked( request ) )
        request.remove( "P-Asserted-Identity" );
    request.remove( "P-Preferred-Identity" );
}

bool removeTopVia( sip::Message &response )
{
    std::vector<std::string> items = response.items( "Via" );
    if( items.size() < 2 )
        return false;
    items.erase( items.begin() );
    response.set( "Via", items );
    return true;
}

} // namespace sipauthd
