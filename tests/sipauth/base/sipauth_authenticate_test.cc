// One challenge of a WWW-Authenticate or Proxy-Authenticate header.
#include "sipauth/base/sipauth_authenticate_private.h"
#include "support/abort.h"
#include "support/text.h"

#include <gtest/gtest.h>

namespace
{

using pb::own;
using support::string;
using support::text;
using support::textOf;

const char *path = "source/sipauth/base/sipauth_authenticate";

pb::Ref<sipauthAuthenticate> challenge( int64_t scheme )
{
    return own( sipauthAuthenticateCreate( scheme ) );
}

std::string encode( sipauthAuthenticate *ac )
{
    return textOf( sipauth___AuthenticateEncode( own( sipauthOptionsCreate() ), ac ) );
}

pb::Ref<sipauthAuthenticate> tryDecode( std::string_view source )
{
    return own( sipauth___AuthenticateTryDecode( own( sipauthOptionsCreate() ), string( source ) ) );
}

// A source in canonical form decodes and encodes to itself.
std::string recode( std::string_view source )
{
    auto ac = tryDecode( source );
    return ac ? encode( ac ) : "(null)";
}

pb::Ref<pbVector> vectorOf( std::initializer_list<const char *> items )
{
    auto vec = own( pbVectorCreate() );
    for( const char *item : items )
        pbVectorAppendString( vec.inout(), string( item ) );
    return vec;
}

std::string joined( pbVector *vec )
{
    std::string all;
    for( int64_t index = 0; index < pbVectorLength( vec ); index++ )
        all += ( index ? "|" : "" ) + text( pbStringFrom( own( pbVectorObjAt( vec, index ) ) ) );
    return all;
}

std::string qops( sipauthAuthenticate *ac )
{
    return joined( own( sipauthAuthenticateDigestQopOptionsVector( ac ) ) );
}

std::string iris( sipauthAuthenticate *ac )
{
    return joined( own( sipauthAuthenticateDigestIrisVector( ac ) ) );
}

pb::Ref<sipauthAuthenticate> fullChallenge()
{
    auto ac = challenge( SIPAUTH_SCHEME_DIGEST );
    sipauthAuthenticateSetDigestRealm( ac.inout(), string( "r" ) );
    sipauthAuthenticateAppendDigestIri( ac.inout(), string( "sip:a" ) );
    sipauthAuthenticateAppendDigestIri( ac.inout(), string( "sip:b" ) );
    sipauthAuthenticateSetDigestNonce( ac.inout(), string( "n" ) );
    sipauthAuthenticateSetDigestOpaque( ac.inout(), string( "o" ) );
    sipauthAuthenticateSetDigestStale( ac.inout(), 1 );
    sipauthAuthenticateSetDigestAlgorithm( ac.inout(), string( "MD5" ) );
    sipauthAuthenticateAppendDigestQopOption( ac.inout(), string( "auth" ) );
    sipauthAuthenticateAppendDigestQopOption( ac.inout(), string( "auth-int" ) );
    return ac;
}

// The value.

TEST( Authenticate, IsEmptyWhenCreated )
{
    auto ac = challenge( SIPAUTH_SCHEME_DIGEST );
    EXPECT_EQ( sipauthAuthenticateScheme( ac ), SIPAUTH_SCHEME_DIGEST );
    EXPECT_FALSE( sipauthAuthenticateHasBasicRealm( ac ) );
    EXPECT_FALSE( sipauthAuthenticateHasDigestRealm( ac ) );
    EXPECT_FALSE( sipauthAuthenticateHasDigestNonce( ac ) );
    EXPECT_FALSE( sipauthAuthenticateHasDigestOpaque( ac ) );
    EXPECT_FALSE( sipauthAuthenticateHasDigestAlgorithm( ac ) );
    EXPECT_FALSE( sipauthAuthenticateDigestStale( ac ) );
    EXPECT_EQ( own( sipauthAuthenticateDigestRealm( ac ) ).get(), nullptr );
    EXPECT_NE( own( sipauthAuthenticateDigestIrisVector( ac ) ).get(), nullptr );
    EXPECT_NE( own( sipauthAuthenticateDigestQopOptionsVector( ac ) ).get(), nullptr );
    EXPECT_EQ( sipauthAuthenticateDigestIrisLength( ac ), 0 );
    EXPECT_EQ( sipauthAuthenticateDigestQopOptionsLength( ac ), 0 );
}

TEST( Authenticate, KeepsAndDeletesEachText )
{
    struct Family
    {
        pbString *( *get )( sipauthAuthenticate * );
        pbBool ( *has )( sipauthAuthenticate * );
        void ( *set )( sipauthAuthenticate **, pbString * );
        void ( *del )( sipauthAuthenticate ** );
    };
    const Family families[] = { { sipauthAuthenticateBasicRealm, sipauthAuthenticateHasBasicRealm,
                                  sipauthAuthenticateSetBasicRealm, sipauthAuthenticateDelBasicRealm },
                                { sipauthAuthenticateDigestRealm, sipauthAuthenticateHasDigestRealm,
                                  sipauthAuthenticateSetDigestRealm, sipauthAuthenticateDelDigestRealm },
                                { sipauthAuthenticateDigestNonce, sipauthAuthenticateHasDigestNonce,
                                  sipauthAuthenticateSetDigestNonce, sipauthAuthenticateDelDigestNonce },
                                { sipauthAuthenticateDigestOpaque, sipauthAuthenticateHasDigestOpaque,
                                  sipauthAuthenticateSetDigestOpaque, sipauthAuthenticateDelDigestOpaque },
                                { sipauthAuthenticateDigestAlgorithm, sipauthAuthenticateHasDigestAlgorithm,
                                  sipauthAuthenticateSetDigestAlgorithm, sipauthAuthenticateDelDigestAlgorithm } };
    auto ac = challenge( SIPAUTH_SCHEME_DIGEST );
    for( const Family &family : families )
    {
        family.set( ac.inout(), string( "first" ) );
        family.set( ac.inout(), string( "second" ) );
        EXPECT_EQ( family.has( ac ), 1 );
        EXPECT_EQ( textOf( family.get( ac ) ), "second" );
        family.del( ac.inout() );
        EXPECT_EQ( family.has( ac ), 0 );
    }
}

TEST( Authenticate, KeepsTheFieldsOfBothSchemesWhenTheSchemeChanges )
{
    auto ac = fullChallenge();
    sipauthAuthenticateSetBasicRealm( ac.inout(), string( "basic" ) );
    sipauthAuthenticateSetScheme( ac.inout(), SIPAUTH_SCHEME_BASIC );
    EXPECT_EQ( encode( ac ), "Basic realm=\"basic\"" );
    sipauthAuthenticateSetScheme( ac.inout(), SIPAUTH_SCHEME_DIGEST );
    EXPECT_EQ( encode( ac ), encode( fullChallenge() ) );
}

TEST( Authenticate, StoresAnyNonZeroStaleAsOne )
{
    auto ac = challenge( SIPAUTH_SCHEME_DIGEST );
    sipauthAuthenticateSetDigestStale( ac.inout(), 256 );
    EXPECT_EQ( sipauthAuthenticateDigestStale( ac ), 1 );
    sipauthAuthenticateSetDigestStale( ac.inout(), 0 );
    EXPECT_EQ( sipauthAuthenticateDigestStale( ac ), 0 );
}

TEST( Authenticate, LeavesTheOtherHolderAloneWhenItChanges )
{
    auto ac = fullChallenge();
    auto other = ac;
    sipauthAuthenticateSetDigestNonce( ac.inout(), string( "changed" ) );
    EXPECT_NE( ac.get(), other.get() );
    EXPECT_EQ( textOf( sipauthAuthenticateDigestNonce( other ) ), "n" );
    EXPECT_EQ( textOf( sipauthAuthenticateDigestNonce( ac ) ), "changed" );
    sipauthAuthenticateSetDigestNonce( ac.inout(), string( "n" ) );
    EXPECT_EQ( encode( ac ), encode( other ) );
}

TEST( Authenticate, LeavesTheVectorsOfTheOtherHolderAlone )
{
    auto ac = fullChallenge();
    auto other = own( sipauthAuthenticateCreateFrom( ac ) );
    sipauthAuthenticateClearDigestIris( ac.inout() );
    sipauthAuthenticatePrependDigestQopOption( ac.inout(), string( "x" ) );
    EXPECT_EQ( iris( other ), "sip:a|sip:b" );
    EXPECT_EQ( qops( other ), "auth|auth-int" );
    EXPECT_EQ( iris( ac ), "" );
    EXPECT_EQ( qops( ac ), "x|auth|auth-int" );
}

TEST( Authenticate, ChangesInPlaceWhenItHasOneHolder )
{
    auto ac = fullChallenge();
    sipauthAuthenticate *before = ac;
    sipauthAuthenticateSetDigestNonce( ac.inout(), string( "changed" ) );
    EXPECT_EQ( ac.get(), before );
}

TEST( Authenticate, KeepsIrisAndQopOptionsInOrder )
{
    auto ac = challenge( SIPAUTH_SCHEME_DIGEST );
    sipauthAuthenticateAppendDigestIri( ac.inout(), string( "sip:c" ) );
    sipauthAuthenticatePrependDigestIri( ac.inout(), string( "sip:a" ) );
    sipauthAuthenticateInsertDigestIri( ac.inout(), 1, string( "sip:b" ) );
    EXPECT_EQ( iris( ac ), "sip:a|sip:b|sip:c" );
    EXPECT_EQ( textOf( sipauthAuthenticateDigestIriAt( ac, 1 ) ), "sip:b" );
    sipauthAuthenticateAppendDigestQopOption( ac.inout(), string( "b" ) );
    sipauthAuthenticateInsertDigestQopOption( ac.inout(), 0, string( "a" ) );
    EXPECT_EQ( textOf( sipauthAuthenticateDigestQopOptionAt( ac, 1 ) ), "b" );
    sipauthAuthenticateClearDigestQopOptions( ac.inout() );
    EXPECT_EQ( sipauthAuthenticateDigestQopOptionsLength( ac ), 0 );
}

TEST( Authenticate, ReplacesAWholeVector )
{
    auto ac = fullChallenge();
    sipauthAuthenticateSetDigestIrisVector( ac.inout(), vectorOf( { "sip:x", "sip:y" } ) );
    sipauthAuthenticateSetDigestQopOptionsVector( ac.inout(), vectorOf( {} ) );
    EXPECT_EQ( iris( ac ), "sip:x|sip:y" );
    EXPECT_EQ( qops( ac ), "" );
}

TEST( Authenticate, TakesItsOwnVectorAsTheNewOne )
{
    auto ac = fullChallenge();
    auto vec = own( sipauthAuthenticateDigestQopOptionsVector( ac ) );
    pbVector *borrowed = vec.get();
    vec.clear();
    sipauthAuthenticateSetDigestQopOptionsVector( ac.inout(), borrowed );
    sipauthAuthenticateSetDigestIrisVector( ac.inout(), own( sipauthAuthenticateDigestIrisVector( ac ) ) );
    EXPECT_EQ( qops( ac ), "auth|auth-int" );
    EXPECT_EQ( iris( ac ), "sip:a|sip:b" );
}

TEST( Authenticate, ConvertsToAndFromObjects )
{
    auto ac = fullChallenge();
    EXPECT_EQ( sipauthAuthenticateFrom( nullptr ), nullptr );
    EXPECT_EQ( sipauthAuthenticateFrom( sipauthAuthenticateObj( ac ) ), ac.get() );
    EXPECT_EQ( textOf( sipauthAuthenticateToString( ac ) ), "SIPAUTH_AUTHENTICATE" );
    sipauthAuthenticateRelease( sipauthAuthenticateRetain( ac ) );
    auto copy = own( sipauthAuthenticateCreateFrom( ac ) );
    EXPECT_TRUE( sipauthAuthenticateEquals( ac, ac ) );
    EXPECT_FALSE( sipauthAuthenticateEquals( ac, copy ) ) << "values without an order compare by identity";
    EXPECT_EQ( sipauthAuthenticateCompare( ac, copy ), -sipauthAuthenticateCompare( copy, ac ) );
}

// Its text form.

TEST( Authenticate, EncodesTheParametersOfDigestInTheirOrder )
{
    EXPECT_EQ( encode( fullChallenge() ), "Digest realm=\"r\", domain=\"sip:a sip:b\", nonce=\"n\", opaque=\"o\", "
                                          "stale=true, algorithm=MD5, qop=\"auth,auth-int\"" );
}

TEST( Authenticate, EncodesNothingAfterTheSchemeWithoutParameters )
{
    EXPECT_EQ( encode( challenge( SIPAUTH_SCHEME_BASIC ) ), "Basic " );
    EXPECT_EQ( encode( challenge( SIPAUTH_SCHEME_DIGEST ) ), "Digest " );
}

TEST( Authenticate, EscapesWhatItQuotesAndReadsItBack )
{
    for( const char *realm : { "a \"b\" \\ c", "two  spaces", "\u00E4\u20AC \"x\"" } )
    {
        auto ac = challenge( SIPAUTH_SCHEME_DIGEST );
        sipauthAuthenticateSetDigestRealm( ac.inout(), string( realm ) );
        auto back = tryDecode( encode( ac ) );
        ASSERT_TRUE( back );
        EXPECT_EQ( textOf( sipauthAuthenticateDigestRealm( back ) ), realm );
        auto basic = challenge( SIPAUTH_SCHEME_BASIC );
        sipauthAuthenticateSetBasicRealm( basic.inout(), string( realm ) );
        EXPECT_EQ( textOf( sipauthAuthenticateBasicRealm( tryDecode( encode( basic ) ) ) ), realm );
    }
    auto ac = challenge( SIPAUTH_SCHEME_BASIC );
    sipauthAuthenticateSetBasicRealm( ac.inout(), string( "a\"b" ) );
    EXPECT_EQ( encode( ac ), "Basic realm=\"a\\\"b\"" );
}

TEST( Authenticate, DecodesWhatItEncodes )
{
    std::string source = encode( fullChallenge() );
    EXPECT_EQ( recode( source ), source );
    EXPECT_EQ( recode( "Basic " ), "Basic " );
    EXPECT_EQ( recode( "Digest " ), "Digest " );
}

TEST( Authenticate, DecodesTheExampleOfRfc2617 )
{
    auto ac = tryDecode( "Digest\r\n realm=\"testrealm@host.com\",\r\n qop=\"auth,auth-int\",\r\n "
                         "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\",\r\n "
                         "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\"" );
    ASSERT_TRUE( ac );
    EXPECT_EQ( encode( ac ), "Digest realm=\"testrealm@host.com\", nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", "
                             "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\", qop=\"auth,auth-int\"" );
}

TEST( Authenticate, ReadsSchemeAndNamesInAnyLetterCase )
{
    EXPECT_EQ( recode( "digest REALM=\"R\", NONCE=\"N\", Algorithm=md5" ),
               "Digest realm=\"R\", nonce=\"N\", algorithm=md5" );
    EXPECT_EQ( recode( "BASIC rEaLm=\"R\"" ), "Basic realm=\"R\"" );
}

TEST( Authenticate, ReadsValuesWithAndWithoutQuotes )
{
    EXPECT_EQ( recode( "Digest realm=r, nonce=n, opaque=o, stale=\"true\", algorithm=\"MD5\", qop=auth, domain=a" ),
               "Digest realm=\"r\", domain=\"a\", nonce=\"n\", opaque=\"o\", stale=true, algorithm=MD5, qop=\"auth\"" );
    EXPECT_EQ( recode( "Digest algorithm=\"MD\\5\", qop=\"a\\uth\"" ), "Digest algorithm=MD5, qop=\"auth\"" );
}

TEST( Authenticate, AcceptsWhiteSpaceAroundEverything )
{
    EXPECT_EQ( recode( " \tDigest\t realm = \"r\" \r\n , nonce\t=\tn , " ), "Digest realm=\"r\", nonce=\"n\"" );
    EXPECT_EQ( recode( "Basic" ), "Basic " );
    EXPECT_EQ( recode( "Basic \t" ), "Basic " );
}

TEST( Authenticate, AcceptsACommaAtTheEndButNotTwoInARow )
{
    EXPECT_EQ( recode( "Digest realm=\"r\"," ), "Digest realm=\"r\"" );
    EXPECT_EQ( recode( "Digest realm=\"r\",,nonce=n" ), "(null)" );
    EXPECT_EQ( recode( "Digest realm=\"r\", ," ), "(null)" );
    EXPECT_EQ( recode( "Digest ,realm=\"r\"" ), "(null)" );
    EXPECT_EQ( recode( "Digest," ), "(null)" );
}

TEST( Authenticate, ReadsStaleAsTrueOrFalseOnly )
{
    EXPECT_EQ( recode( "Digest stale=yes" ), "(null)" );
    EXPECT_EQ( recode( "Digest stale=\"\"" ), "(null)" );
    EXPECT_EQ( recode( "Digest stale=FALSE" ), "Digest " );
    EXPECT_EQ( recode( "Digest stale=TRUE" ), "Digest stale=true" );
    EXPECT_EQ( recode( "Digest stale=true, stale=false" ), "Digest " );
}

TEST( Authenticate, SplitsQopAtCommasAndWhiteSpace )
{
    EXPECT_EQ( qops( tryDecode( "Digest qop=\"auth, auth-int\"" ) ), "auth|auth-int" );
    EXPECT_EQ( qops( tryDecode( "Digest qop=\"auth auth-int\"" ) ), "auth|auth-int" );
    EXPECT_EQ( qops( tryDecode( "Digest qop=\" auth ,auth-int, \"" ) ), "auth|auth-int" );
    EXPECT_EQ( qops( tryDecode( "Digest qop=\"auth\", qop=auth-int" ) ), "auth|auth-int" );
    EXPECT_EQ( qops( tryDecode( "Digest qop=\"\"" ) ), "" );
    EXPECT_FALSE( tryDecode( "Digest qop=\"auth,,auth-int\"" ) );
    EXPECT_FALSE( tryDecode( "Digest qop=\"auth;auth-int\"" ) );
}

TEST( Authenticate, SplitsTheDomainAtWhiteSpace )
{
    EXPECT_EQ( iris( tryDecode( "Digest domain=\" sip:a  /b \"" ) ), "sip:a|/b" );
    EXPECT_EQ( iris( tryDecode( "Digest domain=\"sip:a\", domain=\"sip:b\"" ) ), "sip:a|sip:b" );
    EXPECT_EQ( iris( tryDecode( "Digest domain=\"sip:\u00E4 sip:b\"" ) ), "sip:\u00E4|sip:b" );
    EXPECT_EQ( iris( tryDecode( "Digest domain=\"\"" ) ), "" );
    EXPECT_FALSE( tryDecode( "Digest domain=\"sip:a>sip:b\"" ) );
    EXPECT_FALSE( tryDecode( "Digest domain=\"<sip:a>\"" ) );
}

TEST( Authenticate, TakesEveryIriOfADomainThatTheScannerAccepts )
{
    auto ac = tryDecode( "Digest domain=\"sip:[2001:db8::1]:5060;transport=tcp tel:+1-201-555-0123 //h/p?q#f x\"" );
    ASSERT_TRUE( ac );
    auto vec = own( sipauthAuthenticateDigestIrisVector( ac ) );
    EXPECT_EQ( pbVectorLength( vec ), 4 );
    sipauthAuthenticateSetDigestIrisVector( ac.inout(), vec );
}

TEST( Authenticate, LetsALaterParameterReplaceAnEarlierOne )
{
    EXPECT_EQ( recode( "Digest realm=\"a\", realm=\"b\"" ), "Digest realm=\"b\"" );
    EXPECT_EQ( recode( "Basic realm=\"a\", realm=\"b\"" ), "Basic realm=\"b\"" );
}

TEST( Authenticate, SkipsUnknownParametersButReadsTheirValues )
{
    EXPECT_EQ( recode( "Digest x=token, y=\"quoted, \\\" value\", realm=r" ), "Digest realm=\"r\"" );
    EXPECT_EQ( recode( "Digest x=@, realm=r" ), "(null)" );
    EXPECT_EQ( recode( "Basic nonce=\"n\", realm=\"r\", stale=yes" ), "Basic realm=\"r\"" );
}

TEST( Authenticate, RefusesMalformedLists )
{
    for( const char *source :
         { "", " ", "=", "Digest realm", "Digest realm=", "Digest realm=\"r", "Digest =r", "Digest realm=\"r\" nonce=n",
           "Digest realm=\"r\";", "Digest realm=\"a\nb\"", "Digest algorithm=\"\"", "Digest algorithm=\"a b\"",
           "Digest realm==r", "Basic realm=r x", "\"Digest\" realm=r", "Digest realm=\u20AC" } )
        EXPECT_EQ( recode( source ), "(null)" ) << source;
}

TEST( Authenticate, RefusesOtherSchemes )
{
    EXPECT_EQ( recode( "NTLM realm=\"r\"" ), "(null)" );
    EXPECT_EQ( recode( "Digests realm=\"r\"" ), "(null)" );
    EXPECT_EQ( recode( "D\u00EFgest realm=\"r\"" ), "(null)" );
}

// Strings with and without characters beyond ASCII take different roads.
TEST( Authenticate, ReadsTextBeyondAsciiLikeAscii )
{
    EXPECT_EQ(
        recode( "Digest realm=\"\u20AC\", domain=\"a b\", nonce=\"n\\\"\", opaque=o, stale=TRUE, algorithm=\"M\", "
                "qop=\"a b,c\"" ),
        "Digest realm=\"\u20AC\", domain=\"a b\", nonce=\"n\\\"\", opaque=\"o\", stale=true, algorithm=M, "
        "qop=\"a,b,c\"" );
    EXPECT_EQ( recode( "Basic realm=\"\u20AC\", \r\n x=y," ), "Basic realm=\"\u20AC\"" );
    EXPECT_EQ( recode( "Digest realm=\"\u20AC\", stale=no" ), "(null)" );
    EXPECT_EQ( recode( "Digest realm=\"\u20AC\", nonce" ), "(null)" );
}

TEST( AuthenticateDeathTest, RefusesBrokenArguments )
{
    auto opt = own( sipauthOptionsCreate() );
    auto ac = fullChallenge();
    sipauthAuthenticate *none = nullptr;
    EXPECT_ABORT( sipauthAuthenticateCreate( 2 ), path, "SIPAUTH_SCHEME_OK( scheme )" );
    EXPECT_ABORT( sipauthAuthenticateCreate( -1 ), path, "SIPAUTH_SCHEME_OK( scheme )" );
    EXPECT_ABORT( sipauthAuthenticateCreateFrom( nullptr ), path, "source" );
    EXPECT_ABORT( sipauthAuthenticateScheme( nullptr ), path, "ac" );
    EXPECT_ABORT( sipauthAuthenticateSetScheme( nullptr, 0 ), path, "ac" );
    EXPECT_ABORT( sipauthAuthenticateSetScheme( &none, 0 ), path, "*ac" );
    EXPECT_ABORT( sipauthAuthenticateSetScheme( ac.inout(), 2 ), path, "SIPAUTH_SCHEME_OK( scheme )" );
    EXPECT_ABORT( sipauthAuthenticateSetDigestAlgorithm( ac.inout(), string( "" ) ), path,
                  "sipauthValueDigestAlgorithmOk( algorithm )" );
    EXPECT_ABORT( sipauthAuthenticateDelDigestRealm( &none ), path, "*ac" );
    EXPECT_ABORT( sipauth___AuthenticateEncode( nullptr, ac ), path, "opt" );
    EXPECT_ABORT( sipauth___AuthenticateEncode( opt, nullptr ), path, "ac" );
    EXPECT_ABORT( sipauth___AuthenticateTryDecode( nullptr, string( "" ) ), path, "opt" );
    EXPECT_ABORT( sipauth___AuthenticateTryDecode( opt, nullptr ), path, "source" );
}

TEST( AuthenticateDeathTest, StopsAtTheFirstInvalidItemOfAVector )
{
    auto ac = challenge( SIPAUTH_SCHEME_DIGEST );
    EXPECT_ABORT( sipauthAuthenticateSetDigestQopOptionsVector( ac.inout(), nullptr ), path, "vec" );
    EXPECT_ABORT( sipauthAuthenticateSetDigestQopOptionsVector( ac.inout(), vectorOf( { "auth", "a b" } ) ), path,
                  "sipauthValueDigestQopOk( qop )" );
    EXPECT_ABORT( sipauthAuthenticateSetDigestIrisVector( ac.inout(), vectorOf( { "sip:a", "" } ) ), path,
                  "sipauthValueDigestIriOk( iri )" );
    EXPECT_ABORT( sipauthAuthenticateInsertDigestIri( ac.inout(), 0, string( "" ) ), path,
                  "sipauthValueDigestIriOk( iri )" );
}

TEST( AuthenticateDeathTest, NamesTheContextOfAStandardFunction )
{
    EXPECT_ABORT( sipauthAuthenticateRetain( nullptr ), path, "stdfunc retain: obj" );
    EXPECT_ABORT( sipauthAuthenticateRelease( nullptr ), path, "stdfunc release: obj" );
    EXPECT_ABORT( sipauthAuthenticateToString( nullptr ), path, "stdfunc tostring: obj" );
    EXPECT_ABORT( sipauthAuthenticateCompare( nullptr, nullptr ), path, "stdfunc compare a: objA" );
    EXPECT_ABORT( sipauthAuthenticateCompare( fullChallenge(), nullptr ), path, "stdfunc compare b: objB" );
    EXPECT_ABORT( sipauthAuthenticateFrom( pbStringObj( string( "a" ) ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH_AUTHENTICATE" );
}

} // namespace
