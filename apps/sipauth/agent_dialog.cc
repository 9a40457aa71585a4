// A dialog that a call of ours has made.
#include "agent_dialog.h"

#include <fmt/format.h>

#include <algorithm>

namespace tool
{

namespace
{

sip::NameAddress parsed( const std::string &text, const char *what )
{
    std::optional<sip::NameAddress> address = sip::NameAddress::parse( text );
    if( !address )
        throw NetworkError( fmt::format( "{} cannot be read: {}", what, text ) );
    return *address;
}

} // namespace

Dialog::Dialog( const Agent &agent, const sip::Message &response )
    : agent_( agent ), to_( response.header( "To" ) ), callId_( response.header( "Call-ID" ) ),
      routes_( response.items( "Record-Route" ) )
{
    sip::NameAddress to = parsed( to_, "To" );
    if( const std::string *tag = to.parameters.find( "tag" ) )
        remoteTag_ = *tag;
    std::vector<std::string> contacts = response.items( "Contact" );
    if( contacts.empty() )
        throw NetworkError( "the call was accepted without a Contact" );
    remoteTarget_ = parsed( contacts.front(), "Contact" ).uriText;
    std::reverse( routes_.begin(), routes_.end() );
}

sip::Message Dialog::request( const std::string &method, uint32_t cseq ) const
{
    sip::Message request = agent_.newRequest( method, remoteTarget_, to_, callId_, cseq );
    if( !routes_.empty() )
        request.set( "Route", routes_ );
    return request;
}

Hop Dialog::hop() const
{
    std::string text = routes_.empty() ? remoteTarget_ : parsed( routes_.front(), "Record-Route" ).uriText;
    std::optional<sip::Uri> uri = sip::Uri::parse( text );
    if( !uri )
        throw NetworkError( fmt::format( "the next hop cannot be read: {}", text ) );
    return hopOf( *uri, engine::Transport::Udp );
}

} // namespace tool
