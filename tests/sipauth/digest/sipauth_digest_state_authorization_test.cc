// Building authorizations with a digest state, and checking them.
#include "sipauth/digest/digest_support.h"

#include <sipauth/sipauth_authorization.h>

#include <functional>
#include <set>

namespace
{

using namespace digest;
using testing::ElementsAre;
using testing::IsEmpty;

class DigestStateAuthorization : public Started
{
};

class DigestStateAuthorizationDeathTest : public Started
{
};

constexpr const char *checkStream = "sipauthDigestStateCheckAuthorization()";
constexpr const char *responseStream = "sipauthDigestStateTryComputeResponse()";

pb::Ref<sipsnMessage> invite()
{
    return request( "INVITE", "sip:bob@example.org", "body" );
}

pb::Ref<sipauthCredentials> alice()
{
    return credentials( "alice", "secret" );
}

pb::Ref<sipauthAuthorization> answer( sipauthDigestState *state )
{
    return own( sipauthDigestStateTryConstructAuthorization( state, invite(), alice(), nullptr ) );
}

pbBool check( sipauthDigestState *state, sipauthAuthorization *authorization )
{
    return sipauthDigestStateCheckAuthorization( state, invite(), alice(), authorization, nullptr );
}

constexpr Offer offers[] = { none, auth, authInt, both };

// Every state that can be: session algorithms go with a quality of protection only.
void forEachState( const std::function<void( sipauthDigestState *state, Offer offer )> &call )
{
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
    {
        for( Offer offer : offers )
        {
            if( algorithm % 2 == 0 || offer.auth || offer.authInt )
                call( state( algorithm, offer, "re\"alm", "non ce", "opa\\que" ), offer );
        }
    }
}

TEST_F( DigestStateAuthorization, IsAcceptedByTheStateThatItAnswers )
{
    int64_t states = 0;
    forEachState(
        [&]( sipauthDigestState *state, Offer )
        {
            EXPECT_TRUE( check( state, answer( state ) ) );
            states++;
        } );
    EXPECT_EQ( states, 6 * 4 + 6 * 3 );
}

TEST_F( DigestStateAuthorization, CarriesAllThatTheStateHas )
{
    forEachState(
        []( sipauthDigestState *state, Offer )
        {
            auto ar = answer( state );
            EXPECT_EQ( sipauthAuthorizationScheme( ar ), SIPAUTH_SCHEME_DIGEST );
            EXPECT_EQ( textOf( sipauthAuthorizationDigestUserName( ar ) ), "alice" );
            EXPECT_EQ( textOf( sipauthAuthorizationDigestRealm( ar ) ), "re\"alm" );
            EXPECT_EQ( textOf( sipauthAuthorizationDigestNonce( ar ) ), "non ce" );
            EXPECT_EQ( textOf( sipauthAuthorizationDigestOpaque( ar ) ), "opa\\que" );
            EXPECT_EQ( textOf( sipauthAuthorizationDigestIri( ar ) ), "sip:bob@example.org" );
            EXPECT_EQ( sipauthAuthorizationDigestNonceCount( ar ), sipauthDigestStateNonceCount( state ) );
            EXPECT_TRUE( sipauthAuthorizationHasDigestResponse( ar ) );
            EXPECT_TRUE( sipauthAuthorizationHasDigestAlgorithm( ar ) );
        } );
    auto md5 = answer( state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ) );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestAlgorithm( md5 ) ), "MD5" );
    EXPECT_FALSE( sipauthAuthorizationHasDigestOpaque( md5 ) );
}

TEST_F( DigestStateAuthorization, TakesAuthIntBeforeAuth )
{
    for( Offer offer : { both, authInt } )
    {
        auto ar = answer( state( SIPAUTH_DIGEST_ALGORITHM_MD5, offer ) );
        EXPECT_EQ( textOf( sipauthAuthorizationDigestMessageQop( ar ) ), "auth-int" );
        EXPECT_EQ( sipauthAuthorizationDigestNonceCount( ar ), 1 );
        EXPECT_EQ( pbStringLength( own( sipauthAuthorizationDigestCnonce( ar ) ) ), 44 );
    }
    auto ar = answer( state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth ) );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestMessageQop( ar ) ), "auth" );
}

TEST_F( DigestStateAuthorization, HasNoQopCnonceAndNonceCountWithoutQop )
{
    auto ar = answer( state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ) );
    EXPECT_FALSE( sipauthAuthorizationHasDigestMessageQop( ar ) );
    EXPECT_FALSE( sipauthAuthorizationHasDigestCnonce( ar ) );
    EXPECT_FALSE( sipauthAuthorizationHasDigestNonceCount( ar ) );
}

TEST_F( DigestStateAuthorization, HasAFreshCnonceEachTime )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, both );
    std::set<std::string> cnonces;
    for( int64_t count = 0; count < 20; count++ )
        EXPECT_TRUE( cnonces.insert( textOf( sipauthAuthorizationDigestCnonce( answer( offered ) ) ) ).second );
}

TEST_F( DigestStateAuthorization, IsNotBuiltWithoutPassword )
{
    Recording recording;
    auto stream = own( trStreamCreateCstr( "caller", -1 ) );
    auto anchor = own( trAnchorCreate( stream, 9 ) );
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, both );
    EXPECT_EQ(
        sipauthDigestStateTryConstructAuthorization( offered, invite(), credentials( "alice", nullptr ), anchor ),
        nullptr );
    EXPECT_THAT( recording.texts( responseStream ), ElementsAre( "sipauthCredentialsPassword(): null" ) );
    EXPECT_EQ( recording.lines( TR_LINE_KIND_ANCHOR, "caller" ).size(), 1u );
}

// Checks a changed answer to a state, and that the check fails with just this text on a stream marked before it.
void expectFailure( const char *expected, sipauthDigestState *state,
                    const std::function<void( sipauthAuthorization **ar )> &change,
                    sipauthDigestState *answered = nullptr )
{
    SCOPED_TRACE( expected );
    auto ar = answer( answered ? answered : state );
    change( ar.inout() );
    Recording recording;
    EXPECT_EQ( check( state, ar ), 0 );
    EXPECT_THAT( recording.texts( checkStream ), ElementsAre( expected ) );
    auto texts = recording.lines( TR_LINE_KIND_TEXT, checkStream );
    ASSERT_EQ( texts.size(), 1u );
    EXPECT_TRUE( trLineNotable( texts[0] ) );
}

void unchanged( sipauthAuthorization ** ) {}

TEST_F( DigestStateAuthorization, WritesNothingButItsStreamsWhenAccepted )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, both );
    auto ar = answer( offered );
    Recording recording;
    auto caller = own( trStreamCreateCstr( "caller", -1 ) );
    auto anchor = own( trAnchorCreate( caller, 9 ) );
    EXPECT_EQ( sipauthDigestStateCheckAuthorization( offered, invite(), alice(), ar, anchor ), 1 );
    EXPECT_THAT( recording.texts( checkStream ), IsEmpty() );
    EXPECT_FALSE( recording.notable( checkStream ) );
    auto linked = recording.lines( TR_LINE_KIND_ANCHOR, "caller" );
    ASSERT_EQ( linked.size(), 1u );
    auto below = recording.lines( TR_LINE_KIND_ANCHOR, checkStream );
    ASSERT_EQ( below.size(), 1u );
    EXPECT_EQ( trLineChildNumber( linked[0] ), trLineStreamNumber( below[0] ) );
    EXPECT_EQ( trLineChildNumber( below[0] ),
               trLineStreamNumber( recording.lines( TR_LINE_KIND_TEXT, responseStream )[0] ) );
}

TEST_F( DigestStateAuthorization, FailsForAnotherScheme )
{
    expectFailure( "sipauthAuthorizationScheme() != SIPAUTH_SCHEME_DIGEST", state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ),
                   []( sipauthAuthorization **ar ) { sipauthAuthorizationSetScheme( ar, SIPAUTH_SCHEME_BASIC ); } );
}

TEST_F( DigestStateAuthorization, FailsForAnUnknownAlgorithm )
{
    expectFailure( "sipauth___DigestAlgorithmTryDecode(): SIPAUTH_DIGEST_ALGORITHM_INVALID",
                   state( SIPAUTH_DIGEST_ALGORITHM_SHA256, none ),
                   []( sipauthAuthorization **ar )
                   { sipauthAuthorizationSetDigestAlgorithm( ar, string( "SHA-256" ) ); } );
}

TEST_F( DigestStateAuthorization, FailsForAnotherAlgorithm )
{
    expectFailure( "Digest algorithm mismatch.", state( SIPAUTH_DIGEST_ALGORITHM_SHA256, auth ), unchanged,
                   state( SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS, auth ) );
}

TEST_F( DigestStateAuthorization, TakesAnAbsentAlgorithmAsMd5 )
{
    auto md5 = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    auto ar = answer( md5 );
    sipauthAuthorizationDelDigestAlgorithm( ar.inout() );
    EXPECT_TRUE( check( md5, ar ) );
    expectFailure( "Digest algorithm mismatch.", state( SIPAUTH_DIGEST_ALGORITHM_SHA256, auth ),
                   sipauthAuthorizationDelDigestAlgorithm );
}

TEST_F( DigestStateAuthorization, IsAcceptedWithTokensInAnyLetterCase )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    auto ar = answer( offered );
    sipauthAuthorizationSetDigestAlgorithm( ar.inout(), string( "md5" ) );
    sipauthAuthorizationSetDigestMessageQop( ar.inout(), string( "AUTH" ) );
    EXPECT_TRUE( check( offered, ar ) );
}

TEST_F( DigestStateAuthorization, FailsForAnUnknownQop )
{
    expectFailure(
        "sipauth___DigestQopTryDecode(): SIPAUTH_DIGEST_QOP_INVALID", state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth ),
        []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestMessageQop( ar, string( "auth-conf" ) ); } );
}

TEST_F( DigestStateAuthorization, FailsForAQopThatIsNotOffered )
{
    const char *expected = "Digest qop mismatch.";
    auto toAuth = []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestMessageQop( ar, string( "auth" ) ); };
    auto toAuthInt = []( sipauthAuthorization **ar )
    { sipauthAuthorizationSetDigestMessageQop( ar, string( "auth-int" ) ); };
    expectFailure( expected, state( SIPAUTH_DIGEST_ALGORITHM_MD5, authInt ), toAuth );
    expectFailure( expected, state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth ), toAuthInt );
    expectFailure( expected, state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ), toAuth );
    expectFailure( expected, state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ), toAuthInt );
    for( Offer offer : { auth, authInt, both } )
        expectFailure( expected, state( SIPAUTH_DIGEST_ALGORITHM_MD5, offer ),
                       sipauthAuthorizationDelDigestMessageQop );
}

TEST_F( DigestStateAuthorization, FailsForAnotherRealm )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none, "example.org" );
    expectFailure( "Digest realm mismatch.", offered,
                   []( sipauthAuthorization **ar )
                   { sipauthAuthorizationSetDigestRealm( ar, string( "Example.org" ) ); } );
    expectFailure( "Digest realm mismatch.", offered, sipauthAuthorizationDelDigestRealm );
}

TEST_F( DigestStateAuthorization, FailsForAnotherNonce )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none );
    expectFailure( "Digest nonce mismatch.", offered,
                   []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestNonce( ar, string( "Nonce" ) ); } );
    expectFailure( "Digest nonce mismatch.", offered, sipauthAuthorizationDelDigestNonce );
}

TEST_F( DigestStateAuthorization, FailsForAnotherOpaque )
{
    auto set = []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestOpaque( ar, string( "x" ) ); };
    auto withOpaque = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none, "r", "n", "opaque" );
    expectFailure( "Digest opaque mismatch.", withOpaque, set );
    expectFailure( "Digest opaque mismatch.", withOpaque, sipauthAuthorizationDelDigestOpaque );
    expectFailure( "Digest opaque mismatch.", state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ), set );
}

TEST_F( DigestStateAuthorization, FailsForAnotherNonceCount )
{
    const char *expected = "Digest nonce count mismatch.";
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    auto next = own( sipauthDigestStateTryCreateNext( offered ) );
    expectFailure( expected, offered, unchanged, next );
    expectFailure( expected, next, unchanged, offered );
    expectFailure( expected, offered, sipauthAuthorizationDelDigestNonceCount );
    expectFailure( expected, state( SIPAUTH_DIGEST_ALGORITHM_MD5, none ),
                   []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestNonceCount( ar, 1 ); } );
}

TEST_F( DigestStateAuthorization, IsAcceptedAgainUntilTheStateAdvances )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    auto ar = answer( offered );
    EXPECT_TRUE( check( offered, ar ) );
    EXPECT_TRUE( check( offered, ar ) );
    auto next = own( sipauthDigestStateTryCreateNext( offered ) );
    EXPECT_FALSE( check( next, ar ) );
    EXPECT_TRUE( check( next, answer( next ) ) );
}

TEST_F( DigestStateAuthorization, FailsWhenTheResponseCannotBeComputed )
{
    expectFailure( "sipauthDigestStateTryComputeResponse(): null", state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth ),
                   sipauthAuthorizationDelDigestCnonce );
}

TEST_F( DigestStateAuthorization, FailsForAnotherResponse )
{
    const char *expected = "Digest response mismatch.";
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    expectFailure( expected, offered, sipauthAuthorizationDelDigestResponse );
    for( const char *response : { "", "0", "00000000000000000000000000000000" } )
        expectFailure( expected, offered,
                       [response]( sipauthAuthorization **ar )
                       { sipauthAuthorizationSetDigestResponse( ar, string( response ) ); } );
    expectFailure( expected, offered,
                   []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestCnonce( ar, string( "other" ) ); } );
}

TEST_F( DigestStateAuthorization, FailsForTheWrongPasswordUserMethodOrBody )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, authInt );
    auto ar = answer( offered );
    auto verdict = [&]( sipsnMessage *request, sipauthCredentials *credentials )
    { return sipauthDigestStateCheckAuthorization( offered, request, credentials, ar, nullptr ); };
    EXPECT_TRUE( verdict( invite(), alice() ) );
    EXPECT_FALSE( verdict( invite(), credentials( "alice", "Secret" ) ) );
    EXPECT_FALSE( verdict( invite(), credentials( "bob", "secret" ) ) );
    EXPECT_FALSE( verdict( invite(), credentials( "alice", nullptr ) ) );
    EXPECT_FALSE( verdict( request( "REGISTER", "sip:bob@example.org", "body" ), alice() ) );
    EXPECT_FALSE( verdict( request( "INVITE", "sip:bob@example.org", "Body" ), alice() ) );
    EXPECT_FALSE( verdict( request( "INVITE", "sip:bob@example.org" ), alice() ) );
}

TEST_F( DigestStateAuthorization, IsCheckedOverTheIriThatItCarries )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    auto ar = answer( offered );
    auto rerouted = request( "INVITE", "sip:bob@192.0.2.1", "body" );
    EXPECT_TRUE( sipauthDigestStateCheckAuthorization( offered, rerouted, alice(), ar, nullptr ) );
    sipauthAuthorizationDelDigestIri( ar.inout() );
    EXPECT_FALSE( sipauthDigestStateCheckAuthorization( offered, rerouted, alice(), ar, nullptr ) );
    EXPECT_TRUE( check( offered, ar ) );
}

TEST_F( DigestStateAuthorization, IsAcceptedUnderAnyUserNameForTheGivenCredentials )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    auto ar = answer( offered );
    sipauthAuthorizationSetDigestUserName( ar.inout(), string( "alias" ) );
    EXPECT_TRUE( check( offered, ar ) );
}

TEST_F( DigestStateAuthorization, IsCheckedInOrder )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth, "r", "n", "o" );
    auto wrong = []( sipauthAuthorization **ar )
    {
        sipauthAuthorizationSetDigestAlgorithm( ar, string( "SHA1" ) );
        sipauthAuthorizationSetDigestMessageQop( ar, string( "auth-int" ) );
        sipauthAuthorizationDelDigestRealm( ar );
        sipauthAuthorizationDelDigestNonce( ar );
        sipauthAuthorizationDelDigestOpaque( ar );
        sipauthAuthorizationDelDigestNonceCount( ar );
        sipauthAuthorizationDelDigestCnonce( ar );
        sipauthAuthorizationDelDigestResponse( ar );
    };
    const std::pair<const char *, std::function<void( sipauthAuthorization * *ar )>> repairs[] = {
        { "Digest algorithm mismatch.", sipauthAuthorizationDelDigestAlgorithm },
        { "Digest qop mismatch.",
          []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestMessageQop( ar, string( "auth" ) ); } },
        { "Digest realm mismatch.",
          []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestRealm( ar, string( "r" ) ); } },
        { "Digest nonce mismatch.",
          []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestNonce( ar, string( "n" ) ); } },
        { "Digest opaque mismatch.",
          []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestOpaque( ar, string( "o" ) ); } },
        { "Digest nonce count mismatch.",
          []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestNonceCount( ar, 1 ); } },
        { "sipauthDigestStateTryComputeResponse(): null",
          []( sipauthAuthorization **ar ) { sipauthAuthorizationSetDigestCnonce( ar, string( "c" ) ); } },
        { "Digest response mismatch.", unchanged },
    };
    auto ar = answer( offered );
    wrong( ar.inout() );
    for( auto &[expected, repair] : repairs )
    {
        Recording recording;
        EXPECT_FALSE( check( offered, ar ) );
        EXPECT_THAT( recording.texts( checkStream ), ElementsAre( expected ) );
        repair( ar.inout() );
    }
}

constexpr const char *path = "source/sipauth/digest/sipauth_digest_state_authorization";

TEST_F( DigestStateAuthorizationDeathTest, RefusesBadArguments )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, none );
    auto message = invite();
    auto reply = own( sipsnMessageCreateResponse( 200, string( "OK" ) ) );
    auto cred = alice();
    auto ar = answer( offered );
    const char *requestCheck = "sipsnMessageIsRequest( request )";
    EXPECT_ABORT( sipauthDigestStateTryConstructAuthorization( nullptr, message, cred, nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateTryConstructAuthorization( offered, message, nullptr, nullptr ), path,
                  "credentials" );
    EXPECT_ABORT( sipauthDigestStateTryConstructAuthorization( offered, reply, cred, nullptr ), path, requestCheck );
    EXPECT_ABORT( sipauthDigestStateCheckAuthorization( nullptr, message, cred, ar, nullptr ), path, "state" );
    EXPECT_ABORT( sipauthDigestStateCheckAuthorization( offered, message, nullptr, ar, nullptr ), path, "credentials" );
    EXPECT_ABORT( sipauthDigestStateCheckAuthorization( offered, message, cred, nullptr, nullptr ), path,
                  "authorization" );
    EXPECT_ABORT( sipauthDigestStateCheckAuthorization( offered, reply, cred, ar, nullptr ), path, requestCheck );
}

} // namespace
