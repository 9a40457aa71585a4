// What is usual is taken by the stack, whatever happens to a message on its way.
#include "engine/engine_usual.h"

#include "engine/engine_convert.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

using namespace engine;

namespace
{

const std::string request = "REGISTER sip:example.org SIP/2.0\r\n"
                            "Via: SIP/2.0/UDP 127.0.0.1:5061;branch=z9hG4bK-7-1;rport\r\n"
                            "Max-Forwards: 70\r\n"
                            "From: \"Alice\" <sip:alice@example.org;user=phone>;tag=1\r\n"
                            "To: <sip:alice@example.org>\r\n"
                            "Call-ID: 1-2@127.0.0.1\r\n"
                            "CSeq: 2 REGISTER\r\n"
                            "Contact: <sip:alice@127.0.0.1:5061>\r\n"
                            "Authorization: Digest username=\"alice\", realm=\"example.org\"\r\n"
                            "Expires: 3600\r\n"
                            "Content-Length: 0\r\n\r\n";

const std::string response = "SIP/2.0 200 OK\r\n"
                             "Via: SIP/2.0/TCP host.example:5061;branch=z9hG4bK-7-1\r\n"
                             "Via: SIP/2.0/TLS 10.0.0.1;branch=z9hG4bK-7-0\r\n"
                             "From: <sips:alice@example.org>;tag=1\r\n"
                             "To: <sip:alice@example.org>;tag=2\r\n"
                             "Call-ID: 1-2@127.0.0.1\r\n"
                             "CSeq: 2 OPTIONS\r\n"
                             "Content-Length: 4\r\n\r\nbody";

// As the engine sees it without this short cut.
bool taken( std::string_view bytes )
{
    const Held<struct mbuf> buffer = bufferOf( bytes );
    struct sip_msg *message = nullptr;
    const int error = sip_msg_decode( &message, buffer.get() );
    const bool usable = !error && pl_isset( &message->via.branch );
    mem_deref( message );
    return usable;
}

std::string replaced( const std::string &text, const std::string &old, const std::string &with )
{
    return std::string( text ).replace( text.find( old ), old.size(), with );
}

// Copies, takes out, inserts and exchanges a few bytes.
std::string mutated( std::string text, std::mt19937 &random )
{
    static constexpr std::string_view bytes( "\r\n \t:;,<>@\"=/?[]%0aZ\0\xFF\r\n", 25 );
    for( size_t changes = 1 + random() % 3; changes > 0; --changes )
    {
        const size_t at = random() % text.size();
        const size_t length = std::min<size_t>( 1 + random() % 12, text.size() - at );
        const char byte = bytes[random() % bytes.size()];
        if( const auto kind = random() % 4; kind == 0 )
            text.erase( at, length );
        else if( kind == 1 )
            text.insert( at, 1, byte );
        else if( kind == 2 )
            text[at] = byte;
        else
            text.insert( random() % text.size(), text.substr( at, length ) );
    }
    return text;
}

} // namespace

TEST( EngineUsual, TakesOrdinaryMessages )
{
    for( const std::string &message : { request, response } )
    {
        EXPECT_TRUE( taken( message ) );
        EXPECT_TRUE( isUsual( message ) );
    }
}

TEST( EngineUsual, LeavesToTheStackWhatIsOdd )
{
    EXPECT_FALSE( isUsual( "" ) );
    EXPECT_FALSE( isUsual( request.substr( 0, request.size() - 2 ) ) );
    EXPECT_FALSE( isUsual( replaced( request, "Via:", "Vio:" ) ) );
    EXPECT_FALSE( isUsual( replaced( request, ";branch=z9hG4bK-7-1", "" ) ) );
    EXPECT_FALSE( isUsual( replaced( request, "From: ", "f: " ) ) );
    EXPECT_FALSE( isUsual( replaced( request, "CSeq: 2", "CSeq: x" ) ) );
    EXPECT_FALSE( isUsual( replaced( request, "Max-Forwards: 70", "Max-Forwards: 70\r\n 1" ) ) );
    EXPECT_FALSE( isUsual( replaced( request, "<sip:alice@example.org>", "<sip:@>" ) ) );
}

TEST( EngineUsual, NeverTakesWhatTheStackDoesNot )
{
    std::mt19937 random( 20 );
    size_t usual = 0;
    for( int round = 0; round < 20000; ++round )
    {
        const std::string message = mutated( round % 2 ? request : response, random );
        if( !isUsual( message ) )
            continue;
        ++usual;
        ASSERT_TRUE( taken( message ) ) << message;
    }
    EXPECT_GT( usual, 1000u );
}
