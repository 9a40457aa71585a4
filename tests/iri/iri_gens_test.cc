// The IRI validator.
#include "iri/iri_skip.h"

#include "support/abort.h"
#include "support/text.h"

#include <iri/iri_gens.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace
{

using support::string;

bool valid( const std::string &text )
{
    return iriGensValidatePart( string( text ), IRI_PART_IRI ) != 0;
}

TEST( Gens, ValidatesWholeReferences )
{
    EXPECT_TRUE( valid( "sip:example.com" ) );
    EXPECT_TRUE( valid( "sip:[2001:db8::1]:5060;transport=tcp" ) );
    EXPECT_TRUE( valid( "/path?query#fragment" ) );
    EXPECT_TRUE( valid( "tel:#21#;phone-context=+49" ) );
}

TEST( Gens, FindsAnEmptyTextInvalid )
{
    EXPECT_FALSE( valid( "" ) );
}

TEST( Gens, FindsATextInvalidThatGoesOnAfterAReference )
{
    EXPECT_FALSE( valid( "sip:example.com " ) );
    EXPECT_FALSE( valid( " sip:example.com" ) );
    EXPECT_FALSE( valid( "sip:a sip:b" ) );
    EXPECT_FALSE( valid( "sip:[::1" ) );
    EXPECT_FALSE( valid( "a%4" ) );
    EXPECT_FALSE( valid( "\"a\"" ) );
    EXPECT_FALSE( valid( std::string( "a\0", 2 ) ) );
}

TEST( Gens, ValidatesTextsBeyondAscii )
{
    EXPECT_TRUE( valid( "http://r\u00e4ksm\u00f6rg\u00e5s.example/\u65e5\u672c" ) );
    EXPECT_TRUE( valid( "sip:j\u00f6rg@example.com" ) );
    EXPECT_FALSE( valid( "sip:j\u00f6rg @example.com" ) );
    EXPECT_FALSE( valid( "a\ufffd" ) ) << "what stands for invalid UTF-8 is no IRI character";
    EXPECT_FALSE( valid( "a\xff" ) );
}

TEST( Gens, ValidatesWhateverTheScannerAccepts )
{
    std::mt19937 random( 3 );
    static constexpr pbChar alphabet[] = { 's', 'i', 'p', ':', '/', '?', '#', '[',  ']',    '@',    '%',
                                           '4', '1', ';', '=', '.', ' ', '"', 0xE4, 0xE000, 0xFFFD, 0x1F600 };
    int accepted = 0;
    for( int round = 0; round < 50000; round++ )
    {
        pbChar chs[24] = { 's', 'i', 'p', ':' };
        auto length = static_cast<int64_t>( random() % 20 );
        auto start = random() % 2 ? 4 : 0;
        for( int64_t index = start; index < start + length; index++ )
            chs[index] = alphabet[random() % std::size( alphabet )];
        int64_t scanned = iri___SkipIri( chs, start + length );
        if( scanned == 0 )
            continue;
        accepted++;
        auto text = pb::own( pbStringCreateFromChars( chs, scanned ) );
        ASSERT_TRUE( iriGensValidatePart( text, IRI_PART_IRI ) ) << support::textOf( text );
    }
    EXPECT_GT( accepted, 25000 );
}

TEST( GensDeathTest, RefusesWrongArguments )
{
    EXPECT_ABORT( iriGensValidatePart( nullptr, IRI_PART_IRI ), "source/iri/iri_gens", "text" );
    EXPECT_ABORT( iriGensValidatePart( string( "a" ), 1 ), "source/iri/iri_gens", "IRI_PART_OK( part )" );
    EXPECT_ABORT( iriGensValidatePart( string( "a" ), -1 ), "source/iri/iri_gens", "IRI_PART_OK( part )" );
}

} // namespace
