// The credentials of an Authorization or Proxy-Authorization header.
#include "sipauth/base/sipauth_authorization_private.h"
#include "support/abort.h"
#include "support/text.h"

#include <gtest/gtest.h>

namespace
{

using pb::own;
using support::string;
using support::text;
using support::textOf;

const char *path = "source/sipauth/base/sipauth_authorization";

struct Family
{
    pbString *( *get )( sipauthAuthorization * );
    pbBool ( *has )( sipauthAuthorization * );
    void ( *set )( sipauthAuthorization **, pbString * );
    void ( *del )( sipauthAuthorization ** );
};

// The accessors of the string fields, in declaration order.
const Family families[] = { { sipauthAuthorizationBasicUserName, sipauthAuthorizationHasBasicUserName,
                              sipauthAuthorizationSetBasicUserName, sipauthAuthorizationDelBasicUserName },
                            { sipauthAuthorizationBasicPassword, sipauthAuthorizationHasBasicPassword,
                              sipauthAuthorizationSetBasicPassword, sipauthAuthorizationDelBasicPassword },
                            { sipauthAuthorizationDigestUserName, sipauthAuthorizationHasDigestUserName,
                              sipauthAuthorizationSetDigestUserName, sipauthAuthorizationDelDigestUserName },
                            { sipauthAuthorizationDigestRealm, sipauthAuthorizationHasDigestRealm,
                              sipauthAuthorizationSetDigestRealm, sipauthAuthorizationDelDigestRealm },
                            { sipauthAuthorizationDigestNonce, sipauthAuthorizationHasDigestNonce,
                              sipauthAuthorizationSetDigestNonce, sipauthAuthorizationDelDigestNonce },
                            { sipauthAuthorizationDigestIri, sipauthAuthorizationHasDigestIri,
                              sipauthAuthorizationSetDigestIri, sipauthAuthorizationDelDigestIri },
                            { sipauthAuthorizationDigestResponse, sipauthAuthorizationHasDigestResponse,
                              sipauthAuthorizationSetDigestResponse, sipauthAuthorizationDelDigestResponse },
                            { sipauthAuthorizationDigestAlgorithm, sipauthAuthorizationHasDigestAlgorithm,
                              sipauthAuthorizationSetDigestAlgorithm, sipauthAuthorizationDelDigestAlgorithm },
                            { sipauthAuthorizationDigestCnonce, sipauthAuthorizationHasDigestCnonce,
                              sipauthAuthorizationSetDigestCnonce, sipauthAuthorizationDelDigestCnonce },
                            { sipauthAuthorizationDigestOpaque, sipauthAuthorizationHasDigestOpaque,
                              sipauthAuthorizationSetDigestOpaque, sipauthAuthorizationDelDigestOpaque },
                            { sipauthAuthorizationDigestMessageQop, sipauthAuthorizationHasDigestMessageQop,
                              sipauthAuthorizationSetDigestMessageQop, sipauthAuthorizationDelDigestMessageQop } };

pb::Ref<sipauthAuthorization> credentials( int64_t scheme )
{
    return own( sipauthAuthorizationCreate( scheme ) );
}

std::string encode( sipauthAuthorization *ar )
{
    return textOf( sipauth___AuthorizationEncode( own( sipauthOptionsCreate() ), ar ) );
}

pb::Ref<sipauthAuthorization> tryDecode( std::string_view source )
{
    return own( sipauth___AuthorizationTryDecode( own( sipauthOptionsCreate() ), string( source ) ) );
}

std::string recode( std::string_view source )
{
    auto ar = tryDecode( source );
    return ar ? encode( ar ) : "(null)";
}

pb::Ref<sipauthAuthorization> fullCredentials()
{
    auto ar = credentials( SIPAUTH_SCHEME_DIGEST );
    sipauthAuthorizationSetDigestUserName( ar.inout(), string( "Mufasa" ) );
    sipauthAuthorizationSetDigestRealm( ar.inout(), string( "testrealm@host.com" ) );
    sipauthAuthorizationSetDigestNonce( ar.inout(), string( "n" ) );
    sipauthAuthorizationSetDigestIri( ar.inout(), string( "/dir/index.html" ) );
    sipauthAuthorizationSetDigestResponse( ar.inout(), string( "6629fae49393a05397450978507c4ef1" ) );
    sipauthAuthorizationSetDigestAlgorithm( ar.inout(), string( "MD5" ) );
    sipauthAuthorizationSetDigestCnonce( ar.inout(), string( "0a4f113b" ) );
    sipauthAuthorizationSetDigestOpaque( ar.inout(), string( "o" ) );
    sipauthAuthorizationSetDigestMessageQop( ar.inout(), string( "auth" ) );
    sipauthAuthorizationSetDigestNonceCount( ar.inout(), 1 );
    return ar;
}

const char *fullText =
    "Digest username=\"Mufasa\", realm=\"testrealm@host.com\", nonce=\"n\", uri=\"/dir/index.html\", "
    "response=\"6629fae49393a05397450978507c4ef1\", algorithm=MD5, cnonce=\"0a4f113b\", opaque=\"o\", "
    "qop=auth, nc=00000001";

pb::Ref<sipauthAuthorization> basicCredentials( const char *userName, const char *password )
{
    auto ar = credentials( SIPAUTH_SCHEME_BASIC );
    sipauthAuthorizationSetBasicUserName( ar.inout(), string( userName ) );
    sipauthAuthorizationSetBasicPassword( ar.inout(), string( password ) );
    return ar;
}

std::string userPass( sipauthAuthorization *ar )
{
    return ar ? textOf( sipauthAuthorizationBasicUserName( ar ) ) + "|" +
                    textOf( sipauthAuthorizationBasicPassword( ar ) )
              : "(null)";
}

// The value.

TEST( Authorization, IsEmptyWhenCreated )
{
    auto ar = credentials( SIPAUTH_SCHEME_BASIC );
    EXPECT_EQ( sipauthAuthorizationScheme( ar ), SIPAUTH_SCHEME_BASIC );
    for( const Family &family : families )
    {
        EXPECT_EQ( family.has( ar ), 0 );
        EXPECT_EQ( own( family.get( ar ) ).get(), nullptr );
    }
    EXPECT_EQ( sipauthAuthorizationHasDigestNonceCount( ar ), 0 );
    EXPECT_EQ( sipauthAuthorizationDigestNonceCount( ar ), -1 );
}

TEST( Authorization, KeepsAndDeletesEachText )
{
    auto ar = credentials( SIPAUTH_SCHEME_DIGEST );
    for( const Family &family : families )
    {
        family.set( ar.inout(), string( "a" ) );
        family.set( ar.inout(), string( "b" ) );
        EXPECT_EQ( family.has( ar ), 1 );
        EXPECT_EQ( textOf( family.get( ar ) ), "b" );
        family.del( ar.inout() );
        EXPECT_EQ( family.has( ar ), 0 );
    }
}

TEST( Authorization, KeepsAndDeletesTheNonceCount )
{
    auto ar = credentials( SIPAUTH_SCHEME_DIGEST );
    sipauthAuthorizationSetDigestNonceCount( ar.inout(), 0 );
    EXPECT_EQ( sipauthAuthorizationHasDigestNonceCount( ar ), 1 );
    sipauthAuthorizationSetDigestNonceCount( ar.inout(), 4294967295 );
    EXPECT_EQ( sipauthAuthorizationDigestNonceCount( ar ), 4294967295 );
    sipauthAuthorizationDelDigestNonceCount( ar.inout() );
    EXPECT_EQ( sipauthAuthorizationHasDigestNonceCount( ar ), 0 );
}

TEST( Authorization, LeavesTheOtherHolderAloneWhenItChanges )
{
    auto ar = fullCredentials();
    auto other = ar;
    for( const Family &family : families )
        family.set( ar.inout(), string( "c" ) );
    sipauthAuthorizationSetScheme( ar.inout(), SIPAUTH_SCHEME_BASIC );
    sipauthAuthorizationSetDigestNonceCount( ar.inout(), 2 );
    EXPECT_EQ( encode( other ), fullText );
    auto copy = own( sipauthAuthorizationCreateFrom( other ) );
    sipauthAuthorizationDelDigestUserName( copy.inout() );
    sipauthAuthorizationDelDigestNonceCount( copy.inout() );
    EXPECT_EQ( encode( other ), fullText );
}

TEST( Authorization, IsOrderedBySchemeFirst )
{
    auto basic = basicCredentials( "z", "z" );
    auto digest = credentials( SIPAUTH_SCHEME_DIGEST );
    EXPECT_LT( sipauthAuthorizationCompare( basic, digest ), 0 );
    EXPECT_GT( sipauthAuthorizationCompare( digest, basic ), 0 );
}

TEST( Authorization, IsOrderedByEachTextWithAnAbsentOneFirst )
{
    for( const Family &family : families )
    {
        auto absent = credentials( SIPAUTH_SCHEME_DIGEST );
        auto a = own( sipauthAuthorizationCreateFrom( absent ) );
        auto b = own( sipauthAuthorizationCreateFrom( absent ) );
        EXPECT_EQ( sipauthAuthorizationEquals( a, b ), 1 );
        family.set( a.inout(), string( "a" ) );
        family.set( b.inout(), string( "b" ) );
        EXPECT_LT( sipauthAuthorizationCompare( absent, a ), 0 );
        EXPECT_GT( sipauthAuthorizationCompare( a, absent ), 0 );
        EXPECT_LT( sipauthAuthorizationCompare( a, b ), 0 );
        EXPECT_GT( sipauthAuthorizationCompare( b, a ), 0 );
        family.set( b.inout(), string( "a" ) );
        EXPECT_EQ( sipauthAuthorizationCompare( a, b ), 0 );
    }
}

TEST( Authorization, IsOrderedByTheFirstTextThatDiffers )
{
    for( size_t first = 0; first + 1 < std::size( families ); first++ )
    {
        auto a = credentials( SIPAUTH_SCHEME_DIGEST );
        auto b = credentials( SIPAUTH_SCHEME_DIGEST );
        families[first].set( a.inout(), string( "a" ) );
        families[first].set( b.inout(), string( "b" ) );
        families[first + 1].set( a.inout(), string( "b" ) );
        families[first + 1].set( b.inout(), string( "a" ) );
        EXPECT_LT( sipauthAuthorizationCompare( a, b ), 0 ) << first;
    }
}

TEST( Authorization, IsOrderedByNonceCountLast )
{
    auto absent = credentials( SIPAUTH_SCHEME_DIGEST );
    auto zero = credentials( SIPAUTH_SCHEME_DIGEST );
    auto one = credentials( SIPAUTH_SCHEME_DIGEST );
    sipauthAuthorizationSetDigestNonceCount( zero.inout(), 0 );
    sipauthAuthorizationSetDigestNonceCount( one.inout(), 1 );
    EXPECT_EQ( sipauthAuthorizationCompare( absent, zero ), -1 );
    EXPECT_EQ( sipauthAuthorizationCompare( one, zero ), 1 );
    sipauthAuthorizationSetDigestMessageQop( absent.inout(), string( "auth" ) );
    EXPECT_GT( sipauthAuthorizationCompare( absent, one ), 0 );
}

TEST( Authorization, ConvertsToAndFromObjects )
{
    auto ar = fullCredentials();
    EXPECT_EQ( sipauthAuthorizationFrom( nullptr ), nullptr );
    EXPECT_EQ( sipauthAuthorizationFrom( sipauthAuthorizationObj( ar ) ), ar.get() );
    EXPECT_EQ( textOf( sipauthAuthorizationToString( ar ) ), "SIPAUTH_AUTHORIZATION" );
    EXPECT_TRUE( sipauthAuthorizationEquals( ar, fullCredentials() ) );
}

// Basic.

TEST( Authorization, EncodesUserNameAndPasswordOfBasic )
{
    EXPECT_EQ( encode( basicCredentials( "alice", "secret" ) ), "Basic YWxpY2U6c2VjcmV0" );
    EXPECT_EQ( userPass( tryDecode( "Basic YWxpY2U6c2VjcmV0" ) ), "alice|secret" );
    EXPECT_EQ( encode( basicCredentials( "Aladdin", "open sesame" ) ), "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==" );
}

TEST( Authorization, EncodesALoneColonWithoutUserNameAndPassword )
{
    EXPECT_EQ( encode( credentials( SIPAUTH_SCHEME_BASIC ) ), "Basic Og==" );
}

TEST( Authorization, ReadsBasicWithWhiteSpaceAround )
{
    EXPECT_EQ( userPass( tryDecode( " \tbasic\r\n YWxpY2U6c2VjcmV0 \t" ) ), "alice|secret" );
    EXPECT_EQ( recode( "BASIC YWxpY2U6c2VjcmV0" ), "Basic YWxpY2U6c2VjcmV0" );
}

TEST( Authorization, TakesColonsAndTextBeyondAsciiInABasicPassword )
{
    for( const char *password : { "se:cr:et", "\u20AC p\t", "p" } )
    {
        auto ar = basicCredentials( "j\u00F6rg", password );
        EXPECT_EQ( userPass( tryDecode( encode( ar ) ) ), std::string( "j\u00F6rg|" ) + password );
    }
}

TEST( Authorization, RefusesBasicWithAnEmptyPart )
{
    EXPECT_EQ( userPass( tryDecode( "Basic YWxpY2U6" ) ), "(null)" ) << "alice:";
    EXPECT_EQ( userPass( tryDecode( "Basic OnNlY3JldA==" ) ), "(null)" ) << ":secret";
    EXPECT_EQ( userPass( tryDecode( "Basic YWxpY2U=" ) ), "(null)" ) << "alice";
    EXPECT_EQ( userPass( tryDecode( "Basic Og==" ) ), "(null)" ) << ":";
    EXPECT_EQ( userPass( tryDecode( "Basic" ) ), "(null)" );
    EXPECT_EQ( userPass( tryDecode( "Basic ====" ) ), "(null)" );
}

TEST( Authorization, RefusesControlsInBasicCredentials )
{
    EXPECT_EQ( userPass( tryDecode( "Basic YQE6Yg==" ) ), "(null)" ) << "a, 1, colon, b";
    EXPECT_EQ( userPass( tryDecode( "Basic YTpiAQ==" ) ), "(null)" ) << "a, colon, b, 1";
    EXPECT_EQ( userPass( tryDecode( "Basic YTpiAA==" ) ), "(null)" ) << "a, colon, b, 0";
}

TEST( Authorization, RefusesAnythingAfterTheCredentialsOfBasic )
{
    EXPECT_EQ( userPass( tryDecode( "Basic YWxpY2U6c2VjcmV0, realm=\"r\"" ) ), "(null)" );
    EXPECT_EQ( userPass( tryDecode( "Basic YWxpY2U6c2VjcmV0 x" ) ), "(null)" );
    EXPECT_EQ( userPass( tryDecode( "Basic YWxpY2U6c2VjcmV0 \u20AC" ) ), "(null)" );
}

TEST( Authorization, RefusesBase64ThatIsNotStrict )
{
    EXPECT_EQ( userPass( tryDecode( "Basic YWxpY2U6c2VjcmV0IQ" ) ), "(null)" ) << "padding is missing";
    EXPECT_EQ( userPass( tryDecode( "Basic YTpi=YTpi" ) ), "(null)" );
    EXPECT_EQ( userPass( tryDecode( "Basic YTpiYh==" ) ), "(null)" ) << "spare bits";
}

TEST( Authorization, TurnsInvalidUtf8InBasicIntoReplacementCharacters )
{
    EXPECT_EQ( userPass( tryDecode( "Basic YWz/OnP+" ) ), "al\uFFFD|s\uFFFD" );
}

// Digest.

TEST( Authorization, EncodesTheParametersOfDigestInTheirOrder )
{
    EXPECT_EQ( encode( fullCredentials() ), fullText );
    EXPECT_EQ( encode( credentials( SIPAUTH_SCHEME_DIGEST ) ), "Digest " );
}

TEST( Authorization, DecodesWhatItEncodes )
{
    EXPECT_TRUE( sipauthAuthorizationEquals( tryDecode( fullText ), fullCredentials() ) );
    EXPECT_EQ( recode( "Digest " ), "Digest " );
}

TEST( Authorization, WritesTheNonceCountAsEightHexadecimalDigits )
{
    auto ar = credentials( SIPAUTH_SCHEME_DIGEST );
    sipauthAuthorizationSetDigestNonceCount( ar.inout(), 1 );
    EXPECT_EQ( encode( ar ), "Digest nc=00000001" );
    sipauthAuthorizationSetDigestNonceCount( ar.inout(), 4294967295 );
    EXPECT_EQ( encode( ar ), "Digest nc=ffffffff" );
    sipauthAuthorizationSetDigestNonceCount( ar.inout(), 0 );
    EXPECT_EQ( encode( ar ), "Digest nc=00000000" );
    sipauthAuthorizationDelDigestNonceCount( ar.inout() );
    EXPECT_EQ( encode( ar ), "Digest " );
}

TEST( Authorization, ReadsTheNonceCountAsAHexadecimalNumber )
{
    EXPECT_EQ( sipauthAuthorizationDigestNonceCount( tryDecode( "Digest nc=00000001" ) ), 1 );
    EXPECT_EQ( sipauthAuthorizationDigestNonceCount( tryDecode( "Digest nc=1" ) ), 1 );
    EXPECT_EQ( sipauthAuthorizationDigestNonceCount( tryDecode( "Digest nc=\"aBcD\"" ) ), 0xABCD );
    EXPECT_EQ( sipauthAuthorizationDigestNonceCount( tryDecode( "Digest nc=00000000000000000000ffffffff" ) ),
               4294967295 );
    for( const char *nc : { "0000000g", "100000000", "10000000000000001", "FFFFFFFFFFFFFFFF", "-1", "+1", "0x1", "\"\"",
                            "\" 1\"", "\"1 \"", "\u0661" } )
        EXPECT_FALSE( tryDecode( std::string( "Digest nc=" ) + nc ) ) << nc;
}

TEST( Authorization, ReadsEveryValueWithAndWithoutQuotes )
{
    EXPECT_EQ( recode( "Digest username=u, realm=r, nonce=n, uri=/, response=0a" ), "(null)" ) << "'/' is no token";
    EXPECT_EQ(
        recode( "Digest username=u, realm=r, nonce=n, uri=x, response=0a, algorithm=\"MD5\", cnonce=c, opaque=o, "
                "qop=\"auth\", nc=\"00000001\"" ),
        "Digest username=\"u\", realm=\"r\", nonce=\"n\", uri=\"x\", response=\"0a\", algorithm=MD5, cnonce=\"c\", "
        "opaque=\"o\", qop=auth, nc=00000001" );
}

TEST( Authorization, ReadsSchemeAndNamesInAnyLetterCase )
{
    EXPECT_EQ( recode( "DIGEST UserName=\"U\", NC=a, QoP=Auth" ), "Digest username=\"U\", qop=Auth, nc=0000000a" );
}

TEST( Authorization, RefusesAnUpperCaseResponse )
{
    EXPECT_EQ( recode( "Digest response=\"6629FAE4\"" ), "(null)" );
    EXPECT_EQ( recode( "Digest response=\"6629fae4\"" ), "Digest response=\"6629fae4\"" );
    EXPECT_EQ( recode( "Digest response=\"\"" ), "Digest response=\"\"" );
}

TEST( Authorization, RefusesValuesThatFailTheirCheck )
{
    EXPECT_EQ( recode( "Digest uri=\"\"" ), "(null)" );
    EXPECT_EQ( recode( "Digest uri=\"a b\"" ), "(null)" );
    EXPECT_EQ( recode( "Digest algorithm=\"a b\"" ), "(null)" );
    EXPECT_EQ( recode( "Digest qop=\"\"" ), "(null)" );
    EXPECT_EQ( recode( "Digest qop=\"auth,auth-int\"" ), "(null)" );
}

TEST( Authorization, UnescapesQuotedValuesAndEscapesThemAgain )
{
    EXPECT_EQ( textOf( sipauthAuthorizationDigestUserName( tryDecode( "Digest username=\"a\\\"b\\\\c\\d\"" ) ) ),
               "a\"b\\cd" );
    EXPECT_EQ( recode( "Digest username=\"a\\\"b\\\\c\\d\", realm=\"x  y\"" ),
               "Digest username=\"a\\\"b\\\\cd\", realm=\"x \\ y\"" );
    EXPECT_EQ( recode( "Digest username=\"\u20AC\\\"\", realm=\"r\"" ), "Digest username=\"\u20AC\\\"\", realm=\"r\"" );
}

TEST( Authorization, LetsALaterParameterReplaceAnEarlierOneAndIgnoresUnknownOnes )
{
    EXPECT_EQ( recode( "Digest nc=1, x=\"y\", realm=\"a\", nc=2, realm=\"b\", auth-param=z" ),
               "Digest realm=\"b\", nc=00000002" );
}

TEST( Authorization, FollowsTheGrammarOfParameterLists )
{
    EXPECT_EQ( recode( "Digest realm=r," ), "Digest realm=\"r\"" );
    EXPECT_EQ( recode( "Digest realm = r\r\n ,\tnonce=n" ), "Digest realm=\"r\", nonce=\"n\"" );
    for( const char *source : { "", "Digest realm=r,,nonce=n", "Digest realm=r nonce=n", "Digest realm", "Digest,",
                                "Digest realm=", "Digest realm=\"r", "NTLM x", "Negotiate YWxpY2U6c2VjcmV0" } )
        EXPECT_EQ( recode( source ), "(null)" ) << source;
}

// Its place in a message.

pb::Ref<sipsnMessage> request()
{
    return own( sipsnMessageCreateRequest( string( "REGISTER" ), string( "sip:example.com" ) ) );
}

void setLines( sipsnMessage **message, const char *name, std::initializer_list<const char *> lines )
{
    auto header = own( sipsnMessageHeaderCreateCstr( name, -1 ) );
    for( const char *line : lines )
        sipsnMessageHeaderAppendLine( header.inout(), string( line ) );
    sipsnMessageSetHeader( message, header );
}

TEST( Authorization, StandsInTheHeaderOfItsRole )
{
    auto opt = own( sipauthOptionsCreate() );
    auto message = request();
    auto other = message;
    sipauth___AuthorizationEncodeToMessage( opt, fullCredentials(), message.inout(), 0 );
    auto header = own( sipsnMessageHeaderCstr( message, "Authorization", -1 ) );
    EXPECT_EQ( textOf( sipsnMessageHeaderLastLine( header ) ), fullText );
    EXPECT_FALSE( own( sipsnMessageHeaderCstr( message, "Proxy-Authorization", -1 ) ) );
    EXPECT_FALSE( own( sipsnMessageHeaderCstr( other, "Authorization", -1 ) ) ) << "the other holder's message changed";
    sipauth___AuthorizationEncodeToMessage( opt, basicCredentials( "a", "b" ), message.inout(), 1 );
    EXPECT_EQ( userPass( own( sipauth___AuthorizationTryDecodeFromMessage( opt, message, 1 ) ) ), "a|b" );
    EXPECT_TRUE( sipauthAuthorizationEquals( own( sipauth___AuthorizationTryDecodeFromMessage( opt, message, 0 ) ),
                                             fullCredentials() ) );
}

TEST( Authorization, ReplacesTheHeaderThatAMessageHas )
{
    auto opt = own( sipauthOptionsCreate() );
    auto message = request();
    setLines( message.inout(), "authorization", { "Digest realm=one", "Digest realm=two" } );
    sipauth___AuthorizationEncodeToMessage( opt, fullCredentials(), message.inout(), 0 );
    auto header = own( sipsnMessageHeaderCstr( message, "Authorization", -1 ) );
    EXPECT_EQ( sipsnMessageHeaderLinesLength( header ), 1 );
    EXPECT_EQ( textOf( sipsnMessageHeaderLineAt( header, 0 ) ), fullText );
}

TEST( Authorization, SmugglesNoHeaderIntoAMessage )
{
    auto opt = own( sipauthOptionsCreate() );
    auto message = request();
    int64_t lines = sipsnMessageLinesLength( message );
    auto ar = own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_DIGEST ) );
    sipauthAuthorizationSetDigestUserName( ar.inout(), string( "alice\r\nRoute: <sip:evil.example>" ) );
    sipauth___AuthorizationEncodeToMessage( opt, ar, message.inout(), 0 );
    auto again = own( sipsnMessageTryDecode( own( sipsnMessageEncode( message ) ), nullptr, nullptr ) );
    ASSERT_TRUE( again );
    EXPECT_EQ( sipsnMessageLinesLength( again ), lines + 1 );
    EXPECT_FALSE( own( sipsnMessageHeaderCstr( again, "Route", -1 ) ) );
}

TEST( Authorization, IsReadFromTheLastLineOnly )
{
    auto opt = own( sipauthOptionsCreate() );
    auto message = request();
    setLines( message.inout(), "AUTHORIZATION", { "Digest realm=one", "Digest realm=two" } );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestRealm(
                   own( sipauth___AuthorizationTryDecodeFromMessage( opt, message, 0 ) ) ) ),
               "two" );
    setLines( message.inout(), "Authorization", { "Digest realm=one", "malformed" } );
    EXPECT_FALSE( own( sipauth___AuthorizationTryDecodeFromMessage( opt, message, 0 ) ) );
    setLines( message.inout(), "Authorization", {} );
    EXPECT_FALSE( own( sipauth___AuthorizationTryDecodeFromMessage( opt, message, 0 ) ) );
    EXPECT_FALSE( own( sipauth___AuthorizationTryDecodeFromMessage( opt, message, 1 ) ) );
}

TEST( AuthorizationDeathTest, RefusesBrokenArguments )
{
    auto opt = own( sipauthOptionsCreate() );
    auto ar = fullCredentials();
    auto message = request();
    sipauthAuthorization *none = nullptr;
    sipsnMessage *noMessage = nullptr;
    EXPECT_ABORT( sipauthAuthorizationCreate( 2 ), path, "SIPAUTH_SCHEME_OK( scheme )" );
    EXPECT_ABORT( sipauthAuthorizationCreateFrom( nullptr ), path, "source" );
    EXPECT_ABORT( sipauthAuthorizationDigestNonceCount( nullptr ), path, "ar" );
    EXPECT_ABORT( sipauthAuthorizationSetDigestUserName( nullptr, nullptr ), path, "ar" );
    EXPECT_ABORT( sipauthAuthorizationSetDigestUserName( &none, nullptr ), path, "*ar" );
    EXPECT_ABORT( sipauthAuthorizationSetDigestUserName( ar.inout(), nullptr ), path, "userName" );
    EXPECT_ABORT( sipauthAuthorizationSetBasicUserName( ar.inout(), string( "a:b" ) ), path,
                  "sipauthValueBasicUserNameOk( userName )" );
    EXPECT_ABORT( sipauthAuthorizationSetBasicPassword( ar.inout(), string( "\n" ) ), path,
                  "sipauthValueBasicPasswordOk( password )" );
    EXPECT_ABORT( sipauthAuthorizationSetDigestIri( ar.inout(), string( "" ) ), path,
                  "sipauthValueDigestIriOk( iri )" );
    EXPECT_ABORT( sipauthAuthorizationSetDigestResponse( ar.inout(), string( "A" ) ), path,
                  "sipauthValueDigestResponseOk( response )" );
    EXPECT_ABORT( sipauthAuthorizationSetDigestMessageQop( ar.inout(), string( "" ) ), path,
                  "sipauthValueDigestQopOk( qop )" );
    EXPECT_ABORT( sipauthAuthorizationSetDigestNonceCount( ar.inout(), 4294967296 ), path,
                  "sipauthValueDigestNonceCountOk( nonceCount )" );
    EXPECT_ABORT( sipauth___AuthorizationEncode( nullptr, ar ), path, "opt" );
    EXPECT_ABORT( sipauth___AuthorizationEncode( opt, nullptr ), path, "ar" );
    EXPECT_ABORT( sipauth___AuthorizationTryDecode( nullptr, string( "" ) ), path, "opt" );
    EXPECT_ABORT( sipauth___AuthorizationTryDecode( opt, nullptr ), path, "source" );
    EXPECT_ABORT( sipauth___AuthorizationEncodeToMessage( nullptr, ar, message.inout(), 0 ), path, "opt" );
    EXPECT_ABORT( sipauth___AuthorizationEncodeToMessage( opt, nullptr, message.inout(), 0 ), path, "ar" );
    EXPECT_ABORT( sipauth___AuthorizationEncodeToMessage( opt, ar, nullptr, 0 ), path, "message" );
    EXPECT_ABORT( sipauth___AuthorizationEncodeToMessage( opt, ar, &noMessage, 0 ), path, "*message" );
    EXPECT_ABORT( sipauthAuthorizationFrom( pbStringObj( string( "a" ) ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH_AUTHORIZATION" );
}

} // namespace
