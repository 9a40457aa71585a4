// The message ladder.
#include "agent_ladder.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cctype>
#include <iostream>

namespace tool
{

namespace
{

// What a terminal may show of a text from the network.
std::string printable( const std::string &text )
{
    std::string shown;
    for( unsigned char c : text )
        shown += std::iscntrl( c ) ? fmt::format( "\\x{:02x}", c ) : std::string( 1, static_cast<char>( c ) );
    return shown;
}

std::string firstLineOf( const sip::Message &message )
{
    if( message.isRequest() )
        return fmt::format( "{} {} SIP/2.0", message.method(), message.uri() );
    return fmt::format( "SIP/2.0 {} {}", message.status(), message.reason() );
}

Json details( const sip::Message &message )
{
    Json json;
    if( message.isRequest() )
        json["method"] = message.method();
    else
        json["status"] = message.status();
    json["cseq"] = message.header( "CSeq" );
    bool challenged = !message.isRequest() && ( message.status() == 401 || message.status() == 407 );
    std::vector<Scheme> schemes;
    if( message.isRequest() )
        schemes = credentialsOf( message );
    else if( challenged )
        schemes = challengesOf( message );
    if( !schemes.empty() )
        for( const Scheme &scheme : schemes )
            json[challenged ? "challenges" : "credentials"].push_back( scheme.json() );
    return json;
}

} // namespace

void Ladder::add( const char *direction, const std::string &peer, const sip::Message &message,
                  const std::string &decision )
{
    std::string line = firstLineOf( message );
    auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>( Clock::now() - begin_ );
    Json json = { { "direction", direction }, { "time", elapsed.count() }, { "peer", peer }, { "line", line } };
    json.update( details( message ) );
    json["decision"] = decision;
    messages_->push_back( json );
    if( json_ )
        return;
    bool leaves = direction == std::string( "sent" );
    const char *arrow = leaves ? "->" : "<-";
    if( decision.empty() )
        print( fmt::format( "{} {}\n", arrow, printable( line ) ) );
    else
        print( fmt::format( "{} {:<42}  {}\n", arrow, printable( line ), printable( decision ) ) );
    for( const char *name : { "Reason", "Warning", "Retry-After" } )
        if( !message.isRequest() && message.has( name ) )
            print( fmt::format( "   {}: {}\n", name, printable( message.header( name ) ) ) );
    std::cout.flush();
}

Ladder::Ladder( bool json ) : json_( json ), messages_( std::make_shared<Json>( Json::array() ) ) {}

void Ladder::sent( const std::string &peer, const sip::Message &message, const std::string &decision )
{
    add( "sent", peer, message, decision );
}

void Ladder::received( const std::string &peer, const sip::Message &message, const std::string &decision )
{
    add( "received", peer, message, decision );
}

void Ladder::note( const std::string &text )
{
    if( json_ )
        return;
    print( fmt::format( "-- {}\n", printable( text ) ) );
    std::cout.flush();
}

} // namespace tool
