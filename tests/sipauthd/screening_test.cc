// What the front decides on a request before anybody is asked.
#include "sipauthd/screening.h"

#include <gtest/gtest.h>

namespace sipauthd
{
namespace
{

Identity both()
{
    return { { "example.com" }, true, true };
}

engine::Peer peer()
{
    engine::Peer result;
    result.local = *engine::Address::parse( "192.0.2.100:5060" );
    return result;
}

sip::Message request( std::string_view method, std::string_view uri )
{
    sip::Message message = sip::Message::request( method, uri );
    message.set( "Via", "SIP/2.0/UDP 192.0.2.7;branch=z9hG4bK1" );
    message.set( "From", "<sip:alice@example.com>;tag=1" );
    message.set( "To", "<sip:alice@example.com>" );
    message.set( "Call-ID", "c1" );
    message.set( "CSeq", "1 " + std::string( method ) );
    return message;
}

Verdict verdict( std::string_view method, std::string_view uri, const Identity &identity = both() )
{
    return screen( request( method, uri ), peer(), identity );
}

TEST( Screening, GivesRegisterOfOurDomainsToTheRegistrar )
{
    for( const char *uri : { "sip:example.com", "sip:EXAMPLE.com:5060", "sips:example.com", "sip:192.0.2.100" } )
    {
        EXPECT_EQ( verdict( "REGISTER", uri ).status, 0 ) << uri;
        EXPECT_EQ( verdict( "REGISTER", uri ).role, Role::Register ) << uri;
    }
}

TEST( Screening, RoutesRegisterOfOtherDomains )
{
    EXPECT_EQ( verdict( "REGISTER", "sip:elsewhere.example" ).role, Role::Route );
}

TEST( Screening, AnswersOptionsToItselfAndRoutesThoseToUsers )
{
    EXPECT_EQ( verdict( "OPTIONS", "sip:example.com" ).role, Role::Options );
    EXPECT_EQ( verdict( "OPTIONS", "sip:192.0.2.100:5060" ).role, Role::Options );
    EXPECT_EQ( verdict( "OPTIONS", "sip:bob@example.com" ).role, Role::Route );
    EXPECT_EQ( verdict( "OPTIONS", "sip:elsewhere.example" ).role, Role::Route );
}

TEST( Screening, RefusesOtherSchemesAndUrisThatCannotBeRead )
{
    EXPECT_EQ( verdict( "INVITE", "tel:+4930123" ).status, 416 );
    EXPECT_EQ( verdict( "REGISTER", "http://example.com" ).status, 416 );
    EXPECT_EQ( verdict( "INVITE", "sip:" ).status, 400 );
    EXPECT_EQ( verdict( "INVITE", "sip:a@b@c" ).status, 400 );
}

TEST( Screening, StopsAtMaxForwardsZero )
{
    sip::Message invite = request( "INVITE", "sip:bob@example.com" );
    invite.set( "Max-Forwards", "0" );
    EXPECT_EQ( screen( invite, peer(), both() ).status, 483 );
    invite.set( "Max-Forwards", "1" );
    EXPECT_EQ( screen( invite, peer(), both() ).status, 0 );
    // RFC 3261 section 16.3: OPTIONS may be answered by the last hop.
    sip::Message options = request( "OPTIONS", "sip:bob@example.com" );
    options.set( "Max-Forwards", "0" );
    EXPECT_EQ( screen( options, peer(), both() ).role, Role::Options );
    // The registrar is where a REGISTER ends.
    sip::Message registers = request( "REGISTER", "sip:example.com" );
    registers.set( "Max-Forwards", "0" );
    EXPECT_EQ( screen( registers, peer(), both() ).status, 0 );
}

TEST( Screening, RefusesExtensionsThatNobodyKnows )
{
    sip::Message invite = request( "INVITE", "sip:bob@example.com" );
    invite.set( "Proxy-Require", "foo, bar" );
    Verdict found = screen( invite, peer(), both() );
    EXPECT_EQ( found.status, 420 );
    ASSERT_EQ( found.headers.size(), 1U );
    EXPECT_EQ( found.headers[0].second, "foo, bar" );
    invite.remove( "Proxy-Require" );
    invite.set( "Require", "foo" );
    EXPECT_EQ( screen( invite, peer(), both() ).status, 0 ) << "Require is for the other end";
    sip::Message registers = request( "REGISTER", "sip:example.com" );
    registers.set( "Require", "Path" );
    EXPECT_EQ( screen( registers, peer(), both() ).status, 0 );
    registers.set( "Require", "path, gruu" );
    EXPECT_EQ( screen( registers, peer(), both() ).status, 420 );
}

TEST( Screening, WithoutProxyKnowsOnlyWhatARegistrarDoes )
{
    Identity registrar = { { "example.com" }, true, false };
    Verdict invite = verdict( "INVITE", "sip:bob@example.com", registrar );
    EXPECT_EQ( invite.status, 405 );
    ASSERT_EQ( invite.headers.size(), 1U );
    EXPECT_STREQ( invite.headers[0].first, "Allow" );
    EXPECT_EQ( invite.headers[0].second, "REGISTER, OPTIONS" );
    EXPECT_EQ( verdict( "DANCE", "sip:bob@example.com", registrar ).status, 501 );
    EXPECT_EQ( verdict( "UPDATE", "sip:bob@example.com", registrar ).status, 405 );
    EXPECT_EQ( verdict( "REGISTER", "sip:example.com", registrar ).role, Role::Register );
    EXPECT_EQ( verdict( "REGISTER", "sip:elsewhere.example", registrar ).status, 405 );
}

TEST( Screening, GivesTheSameToTagToTheSameRequest )
{
    sip::Message first = sip::Message::response( 401 );
    for( const char *name : { "From", "To", "Call-ID", "CSeq" } )
        first.set( name, request( "REGISTER", "sip:example.com" ).header( name ) );
    sip::Message second = first;
    complete( first, "ours" );
    complete( second, "" );
    EXPECT_EQ( first.header( "To" ), second.header( "To" ) );
    EXPECT_NE( first.header( "To" ).find( ">;tag=" ), std::string::npos );
    EXPECT_EQ( first.header( "Server" ), "ours" );
    EXPECT_FALSE( second.has( "Server" ) );
    std::string tagged = first.header( "To" );
    complete( first, "other" );
    EXPECT_EQ( first.header( "To" ), tagged ) << "a tag that is there stays";
    EXPECT_EQ( first.header( "Server" ), "ours" );
}

} // namespace
} // namespace sipauthd
