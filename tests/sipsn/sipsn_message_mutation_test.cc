// Any bytes at all: good messages, damaged at random from fixed seeds. Nothing may crash, what decodes must encode to
// the bytes that it came from, and a change must leave all other lines as they were.
#include "messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace
{

using messages::decode;
using messages::encode;
using messages::Lines;
using pb::own;

constexpr int mutations = 20000;

class Mutator
{
public:
    explicit Mutator( uint32_t seed ) : seeds_( messages::allData() ), random_( seed ) {}

    std::string next()
    {
        std::string bytes = seeds_[below( seeds_.size() )];
        for( size_t count = 1 + below( 4 ); count > 0; count-- )
            damage( bytes );
        return bytes;
    }

    size_t below( size_t end ) { return end ? random_() % end : 0; }

private:
    void damage( std::string &bytes )
    {
        static const std::string pieces[] = { "\r\n",
                                              "\n",
                                              "\r",
                                              std::string( 1, '\0' ),
                                              " ",
                                              "\t",
                                              ":",
                                              "\r\n\r\n",
                                              "\r\n ",
                                              "SIP/2.0",
                                              "l: 0",
                                              "\r\nl: 1\r\n",
                                              "\r\nContent-Length: -1\r\n",
                                              "l:",
                                              "\xC3",
                                              ",",
                                              "\"",
                                              "\r\nv: x",
                                              "99999999999",
                                              "SIP/2.0 ",
                                              "é",
                                              "\x7F",
                                              "\x01" };
        size_t at = below( bytes.size() + 1 );
        size_t length = std::min( below( 12 ), bytes.size() - at );
        switch( below( 6 ) )
        {
        case 0:
            bytes.insert( at, pieces[below( std::size( pieces ) )] );
            break;
        case 1:
            bytes.erase( at, length );
            break;
        case 2:
            bytes.replace( at, length, pieces[below( std::size( pieces ) )] );
            break;
        case 3:
            if( at < bytes.size() )
                bytes[at] = static_cast<char>( below( 256 ) );
            break;
        case 4:
            bytes.resize( at );
            break;
        default:
            bytes.insert( at, bytes.substr( below( bytes.size() ), below( 80 ) ) );
        }
    }

    std::vector<std::string> seeds_;
    std::mt19937 random_;
};

// The lines of a message that are not of the name that is changed.
Lines otherLines( sipsnMessage *message )
{
    Lines all = messages::allLines( message );
    std::erase_if( all,
                   []( const std::string &line )
                   {
                       return line.starts_with( "s|" ) || line.starts_with( "S|" ) ||
                              strncasecmp( line.c_str(), "subject|", sizeof "subject|" - 1 ) == 0;
                   } );
    return all;
}

void expectWholeAfterChange( sipsnMessage *message )
{
    auto changed = pb::share( message );
    sipsnMessageSetHeader( changed.inout(), messages::header( "Subject", { "first", "second" } ) );
    auto again = decode( encode( changed ) );
    ASSERT_TRUE( again ) << messages::refusal( encode( changed ) ) << "\n" << encode( changed );
    EXPECT_EQ( otherLines( again ), otherLines( message ) );
    EXPECT_EQ( messages::allLines( again ), messages::allLines( changed ) );
    EXPECT_EQ( messages::headerLines( again, "Subject" ), ( Lines{ "first", "second" } ) );
    EXPECT_EQ( messages::body( again ), messages::body( message ) );
    sipsnMessageDelHeaderCstr( changed.inout(), "Subject", -1 );
    EXPECT_EQ( messages::allLines( changed ), otherLines( message ) );
}

TEST( MessageMutation, NeverCrashesAndLosesNothing )
{
    Mutator mutator( 20261121 );
    int accepted = 0;
    for( int index = 0; index < mutations && !HasFailure(); index++ )
    {
        std::string bytes = mutator.next();
        pb::Ref<pbString> reason;
        auto message = own( sipsnMessageTryDecode( support::buffer( bytes ), nullptr, reason.inout() ) );
        ASSERT_NE( static_cast<bool>( message ), static_cast<bool>( reason ) );
        if( !message )
            continue;
        accepted++;
        std::string encoded = encode( message );
        ASSERT_EQ( bytes.substr( 0, encoded.size() ), encoded );
        auto again = decode( encoded );
        ASSERT_TRUE( again );
        EXPECT_EQ( encode( again ), encoded );
        EXPECT_EQ( messages::allLines( again ), messages::allLines( message ) );
        expectWholeAfterChange( message );
    }
    // Both roads must have been taken, else the mutations prove little.
    EXPECT_GT( accepted, mutations / 20 );
    EXPECT_LT( accepted, mutations * 19 / 20 );
}

TEST( MessageMutation, RefusesEveryPrefixOfAMessageWithContentLength )
{
    for( const char *name : { "compact.sip", "challenges.sip", "invalid_utf8.sip" } )
    {
        std::string bytes = messages::data( name );
        for( size_t length = 0; length < bytes.size(); length++ )
            EXPECT_FALSE( decode( bytes.substr( 0, length ) ) ) << name << " " << length;
    }
}

} // namespace
