// The base encodings, against the vectors of RFC 4648, section 10, and class by class of malformed text.
#include "support/abort.h"
#include "support/text.h"

#include <rfc/rfc_base.h>

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

namespace
{

using pb::own;
using support::buffer;
using support::string;
using Options = pb::Ref<rfcBaseOptions>;

Options options( int64_t alphabet, pbBool padding, int64_t lineLength )
{
    auto made = own( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetAlphabet( made.inout(), alphabet );
    rfcBaseOptionsSetPadding( made.inout(), padding );
    rfcBaseOptionsSetLineLength( made.inout(), lineLength );
    return made;
}

const int64_t STANDARD = RFC_BASE_ALPHABET_STANDARD;
const int64_t ALTERNATE = RFC_BASE_ALPHABET_ALTERNATE;

std::string encoded( const std::string &bytes, int64_t base, const Options &by )
{
    return support::textOf( rfcBaseEncodeToStringWithOptions( buffer( bytes ), base, by ) );
}

std::string encoded( const std::string &bytes, int64_t base )
{
    return support::textOf( rfcBaseEncodeToString( buffer( bytes ), base ) );
}

// The decoded bytes, or "malformed".
std::string decoded( const std::string &text, int64_t base, const Options &by )
{
    auto bytes = own( rfcBaseTryDecodeStringWithOptions( string( text ), base, by ) );
    return bytes ? support::bytes( bytes ) : "malformed";
}

std::string decoded( const std::string &text, int64_t base )
{
    auto bytes = own( rfcBaseTryDecodeString( string( text ), base ) );
    return bytes ? support::bytes( bytes ) : "malformed";
}

void expectMalformed( int64_t base, std::initializer_list<const char *> texts )
{
    for( const char *text : texts )
        EXPECT_EQ( decoded( text, base ), "malformed" ) << text;
}

constexpr std::array plain = { "", "f", "fo", "foo", "foob", "fooba", "foobar" };

void expectVectors( const std::array<const char *, plain.size()> &texts, int64_t base, const Options &by )
{
    for( size_t index = 0; index < plain.size(); index++ )
    {
        EXPECT_EQ( encoded( plain[index], base, by ), texts[index] );
        EXPECT_EQ( decoded( texts[index], base, by ), plain[index] );
    }
}

std::string randomBytes( std::mt19937 &random, size_t length )
{
    std::string bytes( length, '\0' );
    for( char &ch : bytes )
        ch = static_cast<char>( random() );
    return bytes;
}

TEST( Base, MatchesTheVectorsOfBase64 )
{
    for( int64_t base : { RFC_BASE_64, RFC_BASE_64URL } )
    {
        expectVectors( { "", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy" }, base,
                       options( STANDARD, 1, 0 ) );
        expectVectors( { "", "Zg", "Zm8", "Zm9v", "Zm9vYg", "Zm9vYmE", "Zm9vYmFy" }, base, options( STANDARD, 0, 0 ) );
    }
}

TEST( Base, MatchesTheVectorsOfBase32 )
{
    expectVectors( { "", "MY======", "MZXQ====", "MZXW6===", "MZXW6YQ=", "MZXW6YTB", "MZXW6YTBOI======" }, RFC_BASE_32,
                   options( STANDARD, 1, 0 ) );
    expectVectors( { "", "MY", "MZXQ", "MZXW6", "MZXW6YQ", "MZXW6YTB", "MZXW6YTBOI" }, RFC_BASE_32,
                   options( STANDARD, 0, 0 ) );
}

TEST( Base, MatchesTheVectorsOfBase32Hex )
{
    expectVectors( { "", "CO======", "CPNG====", "CPNMU===", "CPNMUOG=", "CPNMUOJ1", "CPNMUOJ1E8======" }, RFC_BASE_32,
                   options( ALTERNATE, 1, 0 ) );
}

TEST( Base, MatchesTheVectorsOfBase16 )
{
    expectVectors( { "", "66", "666F", "666F6F", "666F6F62", "666F6F6261", "666F6F626172" }, RFC_BASE_16,
                   options( ALTERNATE, 1, 0 ) );
    expectVectors( { "", "66", "666f", "666f6f", "666f6f62", "666f6f6261", "666f6f626172" }, RFC_BASE_16,
                   options( STANDARD, 0, 0 ) );
}

TEST( Base, UsesEachAlphabet )
{
    const std::string bytes = "\xfb\xef\xbe\xff\xff\xff";
    EXPECT_EQ( encoded( bytes, RFC_BASE_64 ), "++++////" );
    EXPECT_EQ( encoded( bytes, RFC_BASE_64URL ), "----____" );
    EXPECT_EQ( encoded( bytes, RFC_BASE_64, options( ALTERNATE, 1, 0 ) ), "----____" );
    EXPECT_EQ( encoded( bytes, RFC_BASE_64URL, options( ALTERNATE, 1, 0 ) ), "----____" );
    EXPECT_EQ( encoded( bytes, RFC_BASE_16 ), "fbefbeffffff" );
    EXPECT_EQ( decoded( "++++////", RFC_BASE_64 ), bytes );
    EXPECT_EQ( decoded( "----____", RFC_BASE_64URL ), bytes );
    EXPECT_EQ( decoded( "----____", RFC_BASE_64, options( ALTERNATE, 1, 0 ) ), bytes );
}

TEST( Base, EncodesThirtyTwoBytesToFortyFourCharacters )
{
    std::mt19937 random( 5 );
    std::string text = encoded( randomBytes( random, 32 ), RFC_BASE_64 );
    EXPECT_EQ( text.size(), 44u );
    EXPECT_EQ( text.back(), '=' );
}

TEST( Base, GivesBackBytesOfEveryLength )
{
    std::mt19937 random( 6 );
    for( int64_t base = RFC_BASE_16; base <= RFC_BASE_64; base++ )
    {
        for( size_t length = 0; length < 300; length++ )
        {
            std::string bytes = randomBytes( random, length );
            Options by =
                options( random() % 2, random() % 2, random() % 3 ? static_cast<int64_t>( random() % 80 ) : 0 );
            ASSERT_EQ( decoded( encoded( bytes, base, by ), base, by ), bytes ) << length << " bytes, base " << base;
        }
    }
}

TEST( Base, GivesBackLargeBuffers )
{
    std::mt19937 random( 7 );
    std::string bytes = randomBytes( random, 100000 );
    for( int64_t base = RFC_BASE_16; base <= RFC_BASE_64; base++ )
    {
        EXPECT_EQ( decoded( encoded( bytes, base ), base ), bytes );
        EXPECT_EQ( decoded( encoded( bytes, base, options( STANDARD, 1, 76 ) ), base, options( STANDARD, 1, 76 ) ),
                   bytes );
    }
}

// Every text of four characters either decodes to bytes that encode to it again or is malformed.
TEST( Base, GivesEveryTextAtMostOneMeaning )
{
    const std::string alphabet = "AEgwZ9/+=-\r";
    int accepted = 0;
    for( int number = 0; number < 14641; number++ )
    {
        std::string text;
        for( int rest = number, index = 0; index < 4; index++, rest /= 11 )
            text += alphabet[static_cast<size_t>( rest % 11 )];
        auto bytes = own( rfcBaseTryDecodeString( string( text ), RFC_BASE_64 ) );
        if( !bytes )
            continue;
        accepted++;
        ASSERT_EQ( support::textOf( rfcBaseEncodeToString( bytes, RFC_BASE_64 ) ), text );
    }
    // Of the eight characters, four (A, E, g, w) have no bit in their last two, three (A, g, w) none in the last four.
    EXPECT_EQ( accepted, 8 * 8 * 8 * 8 + 8 * 8 * 4 + 8 * 3 );
}

TEST( Base, WritesLineBreaksBetweenLinesOnly )
{
    EXPECT_EQ( encoded( "foobar", RFC_BASE_64, options( STANDARD, 1, 4 ) ), "Zm9v\r\nYmFy" );
    EXPECT_EQ( encoded( "foobar", RFC_BASE_64, options( STANDARD, 1, 3 ) ), "Zm9\r\nvYm\r\nFy" );
    EXPECT_EQ( encoded( "foobar", RFC_BASE_64, options( STANDARD, 1, 8 ) ), "Zm9vYmFy" );
    EXPECT_EQ( encoded( "f", RFC_BASE_64, options( STANDARD, 1, 3 ) ), "Zg=\r\n=" );
    EXPECT_EQ( encoded( "", RFC_BASE_64, options( STANDARD, 1, 1 ) ), "" );
    EXPECT_EQ( encoded( "fo", RFC_BASE_16, options( STANDARD, 1, INT64_MAX ) ), "666f" );
}

TEST( Base, ReadsLineBreaksWhereTheOptionsPutThem )
{
    Options lines = options( STANDARD, 1, 4 );
    EXPECT_EQ( decoded( "Zm9v\r\nYmFy", RFC_BASE_64, lines ), "foobar" );
    EXPECT_EQ( decoded( "Zm9v", RFC_BASE_64, lines ), "foo" );
    EXPECT_EQ( decoded( "", RFC_BASE_64, lines ), "" );
    EXPECT_EQ( decoded( "Zg=\r\n=", RFC_BASE_64, options( STANDARD, 1, 3 ) ), "f" );
    EXPECT_EQ( decoded( "Zm9v", RFC_BASE_64, options( STANDARD, 1, INT64_MAX ) ), "foo" );
}

TEST( Base, RefusesLineBreaksElsewhere )
{
    for( const char *text : { "Zm9vYmFy", "Zm9\r\nvYmFy", "Zm9v\r\nYmFy\r\n", "Zm9v\r\n", "Zm9v\nYmFy", "Zm9v\rYmFy",
                              "Zm9v\r\n\r\nYmFy", "Zm9v\n\rYmFy", "Zm9v\r", "\r\nZm9v", "Zm9v  YmFy" } )
        EXPECT_EQ( decoded( text, RFC_BASE_64, options( STANDARD, 1, 4 ) ), "malformed" ) << text;
}

TEST( Base, RefusesLineBreaksWithoutALineLength )
{
    expectMalformed( RFC_BASE_64, { "Zm9v\r\nYmFy", "Zm9vYmFy\r\n", "\r\n", "Zm9v\nYmFy", "Zg==\r\n" } );
}

TEST( Base, RefusesMissingPadding )
{
    expectMalformed( RFC_BASE_64, { "Zg", "Zg=", "Zm8", "Zm9vYg", "Zm9vYg=" } );
    expectMalformed( RFC_BASE_64URL, { "Zg", "Zm8" } );
    expectMalformed( RFC_BASE_32, { "MY", "MY=====", "MZXQ===", "MZXW6YQ" } );
}

TEST( Base, RefusesTooMuchPadding )
{
    expectMalformed( RFC_BASE_64, { "Zg===", "Zm8==", "Zm9v=", "Zm9v====", "Z===", "====", "=", "Zg======" } );
    expectMalformed( RFC_BASE_32, { "MY=======", "M=======", "========", "MZX=====", "MZXW6Y==" } );
    expectMalformed( RFC_BASE_16, { "66=", "66==", "6=", "==", "=" } );
}

TEST( Base, RefusesPaddingInside )
{
    expectMalformed( RFC_BASE_64, { "Zg==Zg==", "Z=9v", "=m9v", "Zg=v", "Zm8=Zm9v" } );
    expectMalformed( RFC_BASE_32, { "MY======MY======", "M=XW6YTB", "MY=====B" } );
}

TEST( Base, RefusesPaddingWhenTheOptionsHaveNone )
{
    Options unpadded = options( STANDARD, 0, 0 );
    for( const char *text : { "Zg==", "Zm8=", "Zg=", "=" } )
        EXPECT_EQ( decoded( text, RFC_BASE_64, unpadded ), "malformed" ) << text;
    EXPECT_EQ( decoded( "MY======", RFC_BASE_32, unpadded ), "malformed" );
}

TEST( Base, RefusesLengthsThatNoBytesGive )
{
    Options unpadded = options( STANDARD, 0, 0 );
    for( const char *text : { "Z", "Zm9vY" } )
        EXPECT_EQ( decoded( text, RFC_BASE_64, unpadded ), "malformed" ) << text;
    for( const char *text : { "M", "MZX", "MZXW6Y", "MZXW6YTBO" } )
        EXPECT_EQ( decoded( text, RFC_BASE_32, unpadded ), "malformed" ) << text;
    for( const char *text : { "6", "666" } )
        EXPECT_EQ( decoded( text, RFC_BASE_16, unpadded ), "malformed" ) << text;
}

TEST( Base, RefusesSpareBitsOtherThanZero )
{
    expectMalformed( RFC_BASE_64, { "Zh==", "Zo==", "Zm9=", "Zm+=" } );
    expectMalformed( RFC_BASE_32, { "MZ======", "MZXR====", "MZXW7===", "MZXW6YR=" } );
    EXPECT_EQ( decoded( "Zh", RFC_BASE_64, options( STANDARD, 0, 0 ) ), "malformed" );
}

TEST( Base, RefusesCharactersOutsideTheAlphabet )
{
    expectMalformed( RFC_BASE_64,
                     { "Zm9-", "Zm9_", "Zm 9", " Zm9v", "Zm9v ", "Zm9!", "Z.8=", "Zm9\xc3\xa4", "Z\x7fm9" } );
    expectMalformed( RFC_BASE_64URL, { "Zm9+", "Zm9/" } );
    expectMalformed( RFC_BASE_32, { "MZXW6YT1", "MZXW6YT0", "M1======" } );
    expectMalformed( RFC_BASE_16, { "6g", "0x66", "6 ", " 6", "-1" } );
    EXPECT_EQ( decoded( std::string( "Zm9\0", 4 ), RFC_BASE_64 ), "malformed" );
    EXPECT_EQ( decoded( "Zm9/", RFC_BASE_64, options( ALTERNATE, 1, 0 ) ), "malformed" );
}

TEST( Base, RefusesEveryCharacterOutsideTheAlphabetAtEveryPlace )
{
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for( int code = 0; code < 128; code++ )
    {
        char ch = static_cast<char>( code );
        for( size_t place = 0; place < 8; place++ )
        {
            std::string text = "Zm9vYmFy";
            text[place] = ch;
            // No place takes "=" either: the last character before it would have spare bits other than zero.
            bool inside = alphabet.find( ch ) != alphabet.npos;
            ASSERT_EQ( decoded( text, RFC_BASE_64 ) != "malformed", inside ) << code << " at " << place;
        }
    }
}

TEST( Base, ReadsLettersInTheCaseOfTheAlphabetOnly )
{
    expectMalformed( RFC_BASE_16, { "6F", "FF" } );
    expectMalformed( RFC_BASE_32, { "mzxw6ytb", "MZXW6YTb" } );
    EXPECT_EQ( decoded( "6f", RFC_BASE_16, options( ALTERNATE, 1, 0 ) ), "malformed" );
    EXPECT_EQ( decoded( "6F", RFC_BASE_16, options( ALTERNATE, 1, 0 ) ), "o" );
}

TEST( Base, RefusesWideText )
{
    EXPECT_EQ( decoded( "\u00e4\u00e4\u00e4\u00e4", RFC_BASE_64 ), "malformed" );
    EXPECT_EQ( decoded( "Zm9v\u65e5", RFC_BASE_64 ), "malformed" );
    EXPECT_EQ( decoded( "Zm9v\u65e5", RFC_BASE_64, options( STANDARD, 1, 4 ) ), "malformed" );
}

TEST( BaseDeathTest, RefusesWhatIsNoBaseEncoding )
{
    for( int64_t base : { int64_t{ -1 }, int64_t{ 4 } } )
    {
        EXPECT_ABORT( rfcBaseEncodeToString( buffer( "" ), base ), "source/rfc/rfc_base", "RFC_BASE_OK( base )" );
        EXPECT_ABORT( rfcBaseTryDecodeString( string( "" ), base ), "source/rfc/rfc_base", "RFC_BASE_OK( base )" );
    }
}

TEST( BaseDeathTest, RefusesMissingArguments )
{
    const char *path = "source/rfc/rfc_base";
    EXPECT_ABORT( rfcBaseEncodeToString( nullptr, RFC_BASE_64 ), path, "buffer" );
    EXPECT_ABORT( rfcBaseTryDecodeString( nullptr, RFC_BASE_64 ), path, "text" );
    EXPECT_ABORT( rfcBaseEncodeToStringWithOptions( buffer( "" ), RFC_BASE_64, nullptr ), path, "options" );
    EXPECT_ABORT( rfcBaseTryDecodeStringWithOptions( string( "" ), RFC_BASE_64, nullptr ), path, "options" );
}

} // namespace
