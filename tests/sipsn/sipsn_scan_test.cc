// The scanners that look at many bytes at a time, against plain loops.
#include "sipsn/sipsn_scan_private.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace
{

// Bytes among which the interesting ones are frequent.
std::vector<uint8_t> randomBytes( std::mt19937 &random, size_t length )
{
    static constexpr char literal[] = "\r\n\t\0\x1F\x20\x7F\x80\x9F\xFF:-@[`{azAZ09_~";
    constexpr std::string_view frequent( literal, sizeof literal - 1 );
    std::vector<uint8_t> bytes( length );
    for( uint8_t &byte : bytes )
        byte = static_cast<uint8_t>( random() % 4 ? 'a' + random() % 26 : frequent[random() % frequent.size()] );
    return bytes;
}

TEST( Scan, FindsEachControlCharacterWhateverItsPlace )
{
    for( int byte = 0; byte < 256; byte++ )
    {
        for( size_t place = 0; place < 64; place++ )
        {
            std::vector<uint8_t> block( 64, 0xC3 );
            block[place] = static_cast<uint8_t>( byte );
            uint64_t expected = byte < 0x20 ? uint64_t{ 1 } << place : 0;
            ASSERT_EQ( sipsn::controlMask( block.data() ), expected ) << byte << " at " << place;
            ASSERT_EQ( sipsn::controlMaskByWords( block.data() ), expected ) << byte << " at " << place;
        }
    }
}

TEST( Scan, FindsControlCharactersByWordsAsByVectors )
{
    std::mt19937 random( 1 );
    for( int round = 0; round < 2000; round++ )
    {
        auto block = randomBytes( random, 64 );
        ASSERT_EQ( sipsn::controlMaskByWords( block.data() ), sipsn::controlMask( block.data() ) );
    }
}

TEST( Scan, FindsTheNextControlCharacterOrTheEnd )
{
    std::mt19937 random( 2 );
    for( size_t length = 0; length < 300; length++ )
    {
        auto bytes = randomBytes( random, length );
        const uint8_t *end = bytes.data() + length;
        sipsn::ControlScanner scanner( bytes.data(), end );
        const uint8_t *at = bytes.data();
        for( ;; at++ )
        {
            const uint8_t *expected = std::find_if( at, end, []( uint8_t byte ) { return byte < 0x20; } );
            at = scanner.next( at );
            ASSERT_EQ( at, expected );
            if( at == end )
                break;
        }
        EXPECT_EQ( scanner.next( end ), end );
    }
}

TEST( Scan, SkipsToAPlaceFarAhead )
{
    std::vector<uint8_t> bytes( 400, 'x' );
    bytes[10] = bytes[300] = '\n';
    sipsn::ControlScanner scanner( bytes.data(), bytes.data() + bytes.size() );
    EXPECT_EQ( scanner.next( bytes.data() + 200 ), bytes.data() + 300 );
}

TEST( Scan, FindsTheEndOfATokenWhateverFollows )
{
    for( int byte = 0; byte < 256; byte++ )
    {
        for( size_t place = 0; place < 24; place++ )
        {
            std::vector<uint8_t> bytes( 24, 'Q' );
            bytes[place] = static_cast<uint8_t>( byte );
            const uint8_t *end = bytes.data() + bytes.size();
            bool isToken = std::isalnum( byte ) || ( byte && std::strchr( "-.!%*_+`'~", byte ) );
            ASSERT_EQ( sipsn::tokenEnd( bytes.data(), end ), isToken ? end : bytes.data() + place )
                << byte << " at " << place;
        }
    }
}

TEST( Scan, FindsTheEndOfATokenInAnyText )
{
    std::mt19937 random( 3 );
    for( int round = 0; round < 20000; round++ )
    {
        auto bytes = randomBytes( random, round % 40 );
        const uint8_t *end = bytes.data() + bytes.size();
        const uint8_t *expected = std::find_if_not( bytes.data(), bytes.data() + bytes.size(),
                                                    []( uint8_t b ) { return sipsn::tokenBytes[b]; } );
        ASSERT_EQ( sipsn::tokenEnd( bytes.data(), end ), expected );
    }
}

} // namespace
