// Events.
#include "support/abort.h"
#include "support/text.h"

#include <host/host_events.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <thread>
#include <vector>

namespace
{

using nlohmann::json;
using pb::own;
using pb::string;

class Events : public testing::Test
{
protected:
    Events() { listen(); }

    void listen() { hostEventsSetListener( events, keep, this ); }
    static void keep( void *context, const char *line, int64_t length )
    {
        static_cast<Events *>( context )->lines.emplace_back( line, static_cast<size_t>( length ) );
    }
    void reportUser( pbString *user )
    {
        hostEventsReport( events, HOST_REASON_UNKNOWN_USER, nullptr, nullptr, -1, user, nullptr, nullptr, nullptr,
                          nullptr );
    }
    json last() { return json::parse( lines.back() ); }

    pb::Ref<hostEvents> events = own( hostEventsCreate() );
    std::vector<std::string> lines;
};

pb::Ref<hostPeer> somePeer()
{
    const uint8_t address[] = { 192, 0, 2, 1 };
    return own( hostPeerCreate( HOST_TRANSPORT_UDP, address, 4, 5060, 0, 7 ) );
}

TEST_F( Events, StartAtZero )
{
    for( int64_t reason = 0; reason < HOST_REASON_COUNT; reason++ )
        EXPECT_EQ( hostEventsCount( events, reason ), 0 );
    EXPECT_EQ( support::textOf( hostEventsCountersText( events ) ), "" );
}

TEST_F( Events, CountWhatIsReported )
{
    hostEventsSetListener( events, nullptr, nullptr );
    for( int64_t index = 0; index < 3; index++ )
        reportUser( nullptr );
    hostEventsReport( events, HOST_REASON_CHALLENGED, nullptr, nullptr, -1, nullptr, nullptr, nullptr, nullptr,
                      nullptr );
    EXPECT_EQ( hostEventsCount( events, HOST_REASON_UNKNOWN_USER ), 3 );
    EXPECT_EQ( hostEventsCount( events, HOST_REASON_CHALLENGED ), 1 );
    EXPECT_EQ( hostEventsCount( events, HOST_REASON_PASSED ), 0 );
    EXPECT_EQ( support::textOf( hostEventsCountersText( events ) ), "challenged 1\nunknown-user 3\n" );
    EXPECT_TRUE( lines.empty() );
}

TEST_F( Events, CountFromAnyThread )
{
    hostEventsSetListener( events, nullptr, nullptr );
    std::vector<std::thread> threads;
    for( int thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back(
            [&]
            {
                for( int index = 0; index < 1000; index++ )
                    reportUser( nullptr );
            } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( hostEventsCount( events, HOST_REASON_UNKNOWN_USER ), 4000 );
}

TEST_F( Events, TellAllMembers )
{
    hostEventsReport( events, HOST_REASON_PASSED, somePeer(), string( "REGISTER" ), 200, string( "alice" ),
                      string( "id-1" ), string( "example.org" ), string( "abc@host" ), "a note" );
    json line = last();
    EXPECT_THAT( line["time"].get<std::string>(),
                 testing::MatchesRegex( "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3}Z" ) );
    line.erase( "time" );
    EXPECT_EQ( line, json( { { "reason", "passed" },
                             { "peer", "udp 192.0.2.1:5060" },
                             { "listener", 7 },
                             { "method", "REGISTER" },
                             { "status", 200 },
                             { "user", "alice" },
                             { "identity", "id-1" },
                             { "realm", "example.org" },
                             { "callId", "abc@host" },
                             { "note", "a note" } } ) );
}

TEST_F( Events, KeepTheMembersInOrder )
{
    hostEventsReport( events, HOST_REASON_PASSED, somePeer(), string( "REGISTER" ), 200, string( "alice" ),
                      string( "id-1" ), string( "example.org" ), string( "abc@host" ), "a note" );
    std::string names;
    auto line = nlohmann::ordered_json::parse( lines.back() );
    for( const auto &[name, value] : line.items() )
        names += name + " ";
    EXPECT_EQ( names, "time reason peer listener method status user identity realm callId note " );
}

TEST_F( Events, LeaveOutWhatIsUnknown )
{
    reportUser( nullptr );
    json line = last();
    line.erase( "time" );
    EXPECT_EQ( line, json( { { "reason", "unknown-user" } } ) );
    hostEventsReport( events, HOST_REASON_OTHER, nullptr, nullptr, 0, nullptr, nullptr, nullptr, nullptr, "" );
    line = last();
    line.erase( "time" );
    EXPECT_EQ( line, json( { { "reason", "other" }, { "status", 0 }, { "note", "" } } ) );
}

TEST_F( Events, TellEachReasonByItsName )
{
    for( int64_t reason = 0; reason < HOST_REASON_COUNT; reason++ )
    {
        hostEventsReport( events, reason, nullptr, nullptr, -1, nullptr, nullptr, nullptr, nullptr, nullptr );
        EXPECT_EQ( last()["reason"], hostReasonName( reason ) );
    }
}

// One line of printable ASCII, whatever it tells.
void expectPlain( const std::string &line )
{
    for( char c : line )
        ASSERT_TRUE( c >= 0x20 && c < 0x7F ) << line;
}

TEST_F( Events, EscapeQuotesAndControls )
{
    std::string hostile = "\"},{\"reason\":\"passed\"\\";
    for( char c = 0; c < 0x20; c++ )
        hostile += c;
    hostile += '\x7F';
    reportUser( string( hostile ) );
    expectPlain( lines.back() );
    EXPECT_EQ( last()["user"], hostile );
    EXPECT_EQ( last()["reason"], "unknown-user" );
}

TEST_F( Events, EscapeWhatIsNotAscii )
{
    const std::string text = "J\xC3\xBCrgen \xE2\x82\xAC \xF0\x9F\x98\x80 \xE2\x80\xA8";
    reportUser( string( text ) );
    expectPlain( lines.back() );
    EXPECT_EQ( last()["user"], text );
    EXPECT_THAT( lines.back(), testing::HasSubstr( "J\\u00fcrgen \\u20ac \\ud83d\\ude00 \\u2028" ) );
}

TEST_F( Events, WriteTheReplacementCharacterForSurrogates )
{
    const pbChar chars[] = { 'a', 0xD83D, 0xDE00, 0xDFFF, 'b' };
    reportUser( own( pbStringCreateFromChars( chars, 5 ) ) );
    expectPlain( lines.back() );
    EXPECT_THAT( lines.back(), testing::HasSubstr( "\"a\\ufffd\\ufffd\\ufffdb\"" ) );
}

TEST_F( Events, CutLongTexts )
{
    const std::string text( 10'000, 'x' );
    auto longText = string( text );
    hostEventsReport( events, HOST_REASON_UNKNOWN_USER, nullptr, longText, -1, longText, longText, longText, longText,
                      text.c_str() );
    json line = last();
    for( const char *name : { "method", "user", "identity", "realm", "callId", "note" } )
        EXPECT_EQ( line[name], text.substr( 0, 256 ) ) << name;
    std::string wide;
    for( int64_t index = 0; index < 10'000; index++ )
        wide += "\xF0\x9F\x98\x80";
    reportUser( string( wide ) );
    EXPECT_EQ( last()["user"], wide.substr( 0, 4 * 256 ) );
    reportUser( string( text.substr( 0, 256 ) ) );
    EXPECT_EQ( last()["user"], text.substr( 0, 256 ) );
}

TEST_F( Events, TellANoteThatIsNoUtf8 )
{
    hostEventsReport( events, HOST_REASON_OTHER, nullptr, nullptr, -1, nullptr, nullptr, nullptr, nullptr,
                      "a\xFFz\n\"" );
    expectPlain( lines.back() );
    EXPECT_EQ( last()["note"].get<std::string>().front(), 'a' );
    EXPECT_EQ( last()["note"].get<std::string>().back(), '"' );
}

TEST_F( Events, TellTheListenerThatIsSet )
{
    reportUser( nullptr );
    hostEventsSetListener( events, nullptr, nullptr );
    reportUser( nullptr );
    EXPECT_EQ( lines.size(), 1u );
    listen();
    reportUser( nullptr );
    EXPECT_EQ( lines.size(), 2u );
    EXPECT_EQ( hostEventsCount( events, HOST_REASON_UNKNOWN_USER ), 3 );
}

TEST_F( Events, OrderByIdentity )
{
    EXPECT_TRUE( hostEventsEquals( events, events ) );
    EXPECT_FALSE( hostEventsEquals( events, own( hostEventsCreate() ) ) );
    EXPECT_EQ( support::textOf( hostEventsToString( events ) ), "HOST_EVENTS" );
}

TEST_F( Events, RefuseWhatIsNoEventDeathTest )
{
    constexpr const char *path = "source/host/host_events";
    auto report = [&]( int64_t reason, int64_t status )
    { hostEventsReport( events, reason, nullptr, nullptr, status, nullptr, nullptr, nullptr, nullptr, nullptr ); };
    EXPECT_ABORT( report( -1, -1 ), path, "HOST_REASON_OK( reason )" );
    EXPECT_ABORT( report( HOST_REASON_COUNT, -1 ), path, "HOST_REASON_OK( reason )" );
    EXPECT_ABORT( report( 0, -2 ), path, "status >= -1" );
    EXPECT_ABORT( hostEventsCount( events, HOST_REASON_COUNT ), path, "HOST_REASON_OK( reason )" );
    EXPECT_ABORT( hostEventsCount( nullptr, 0 ), path, "events" );
    EXPECT_ABORT( hostEventsCountersText( nullptr ), path, "events" );
    EXPECT_ABORT( hostEventsSetListener( nullptr, nullptr, nullptr ), path, "events" );
}

} // namespace
