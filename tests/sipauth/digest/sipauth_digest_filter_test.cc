// The send filter that signs requests.
#include "sipauth/digest/sipauth_digest_filter_private.h"

#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/digest/digest_support.h"

namespace
{

using namespace digest;

class DigestFilter : public Started
{
};
using DigestFilterDeathTest = DigestFilter;

pb::Ref<siptpSendFilter> filter( sipauthDigestState *state, pbBool proxy = 0, const char *password = "secret" )
{
    return own( sipauth___DigestFilterCreate( state, credentials( "alice", password ), proxy ) );
}

pbBool execute( siptpSendFilter *filter, pb::Ref<sipsnMessage> &message, trAnchor *anchor = nullptr )
{
    return siptpSendFilterTryExecute( filter, message.inout(), anchor );
}

pb::Ref<sipauthAuthorization> authorizationOf( sipsnMessage *message, pbBool proxy = 0 )
{
    auto options = own( sipauthOptionsCreate() );
    return own( sipauth___AuthorizationTryDecodeFromMessage( options, message, proxy ) );
}

pbBool accepts( sipauthDigestState *state, sipsnMessage *message, pbBool proxy = 0 )
{
    auto authorization = authorizationOf( message, proxy );
    return authorization && sipauthDigestStateCheckAuthorization( state, message, credentials( "alice", "secret" ),
                                                                  authorization, nullptr );
}

pb::Ref<sipsnMessage> invite()
{
    return request( "INVITE", "sip:bob@example.org", "body" );
}

std::string encoded( sipsnMessage *message )
{
    return support::bytes( own( sipsnMessageEncode( message ) ) );
}

TEST_F( DigestFilter, SignsARequest )
{
    for( Offer offer : { none, auth, authInt, both } )
    {
        auto offered = state( SIPAUTH_DIGEST_ALGORITHM_SHA256, offer );
        auto message = invite();
        EXPECT_EQ( execute( filter( offered ), message ), 1 );
        EXPECT_TRUE( accepts( offered, message ) );
    }
}

TEST_F( DigestFilter, SignsWhatLeaves )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, authInt );
    auto message = invite();
    auto attached = filter( offered );
    sipsnMessageSetBody( message.inout(), support::buffer( "another body" ) );
    ASSERT_EQ( execute( attached, message ), 1 );
    EXPECT_EQ( textOf( sipauthAuthorizationDigestMessageQop( authorizationOf( message ) ) ), "auth-int" );
    EXPECT_TRUE( accepts( offered, message ) );
    // The digest covers this very body, so that a change behind the filter is found.
    sipsnMessageSetBody( message.inout(), support::buffer( "body" ) );
    EXPECT_FALSE( accepts( offered, message ) );
}

TEST_F( DigestFilter, KeepsItsNonceCountAndDrawsItsCnonceAfresh )
{
    auto first = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    auto offered = own( sipauthDigestStateTryCreateNext( first ) );
    auto attached = filter( offered );
    auto messageA = invite();
    auto messageB = invite();
    ASSERT_EQ( execute( attached, messageA ), 1 );
    ASSERT_EQ( execute( attached, messageB ), 1 );
    auto authorizationA = authorizationOf( messageA );
    auto authorizationB = authorizationOf( messageB );
    EXPECT_EQ( sipauthAuthorizationDigestNonceCount( authorizationA ), 2 );
    EXPECT_EQ( sipauthAuthorizationDigestNonceCount( authorizationB ), 2 );
    EXPECT_NE( textOf( sipauthAuthorizationDigestCnonce( authorizationA ) ),
               textOf( sipauthAuthorizationDigestCnonce( authorizationB ) ) );
    EXPECT_TRUE( accepts( offered, messageA ) );
    EXPECT_TRUE( accepts( offered, messageB ) );
}

TEST_F( DigestFilter, ReplacesAnEarlierSignature )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    auto attached = filter( offered );
    auto message = invite();
    ASSERT_EQ( execute( attached, message ), 1 );
    auto before = message;
    ASSERT_EQ( execute( attached, message ), 1 );
    auto header = own( sipsnMessageHeaderCstr( message, "Authorization", -1 ) );
    EXPECT_EQ( sipsnMessageHeaderLinesLength( header ), 1 );
    EXPECT_NE( encoded( message ), encoded( before ) );
    EXPECT_TRUE( accepts( offered, message ) );
}

TEST_F( DigestFilter, LeavesTheMessageOfOtherHoldersAlone )
{
    auto message = invite();
    auto before = message;
    ASSERT_EQ( execute( filter( state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth ) ), message ), 1 );
    EXPECT_EQ( encoded( before ), encoded( invite() ) );
    EXPECT_NE( message.get(), before.get() );
}

TEST_F( DigestFilter, SignsForTheProxyOrTheServer )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    for( pbBool proxy : { 0, 1, 4 } )
    {
        auto message = invite();
        ASSERT_EQ( execute( filter( offered, proxy ), message ), 1 );
        auto forServer = own( sipsnMessageHeaderCstr( message, "Authorization", -1 ) );
        auto forProxy = own( sipsnMessageHeaderCstr( message, "Proxy-Authorization", -1 ) );
        EXPECT_EQ( static_cast<bool>( forProxy ), proxy != 0 );
        EXPECT_EQ( static_cast<bool>( forServer ), proxy == 0 );
        EXPECT_TRUE( accepts( offered, message, proxy ) );
    }
}

TEST_F( DigestFilter, LeavesTheMessageAsItIsWithoutPassword )
{
    Recording recording;
    auto stream = own( trStreamCreateCstr( "sender", -1 ) );
    auto anchor = own( trAnchorCreate( stream, 9 ) );
    auto message = invite();
    sipsnMessage *before = message;
    EXPECT_EQ( execute( filter( state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth ), 0, nullptr ), message, anchor ), 0 );
    EXPECT_EQ( message.get(), before );
    EXPECT_EQ( encoded( message ), encoded( invite() ) );
    // The reason stands under the anchor of the sender.
    EXPECT_EQ( recording.lines( TR_LINE_KIND_ANCHOR, "sender" ).size(), 1u );
    EXPECT_THAT( recording.texts( "sipauthDigestStateTryComputeResponse()" ),
                 testing::ElementsAre( "sipauthCredentialsPassword(): null" ) );
}

TEST_F( DigestFilter, KeepsWhatItWorksWith )
{
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    auto cred = credentials( "alice", "secret" );
    auto attached = own( sipauth___DigestFilterCreate( offered, cred, 0 ) );
    sipauthCredentialsSetPassword( cred.inout(), string( "another" ) );
    cred.clear();
    auto message = invite();
    ASSERT_EQ( execute( attached, message ), 1 );
    EXPECT_TRUE( accepts( offered, message ) );
}

TEST_F( DigestFilter, HasAClosureOfItsOwnSort )
{
    EXPECT_STREQ( pbSortName( sipauth___DigestFilterClosureSort() ), "SIPAUTH___DIGEST_FILTER_CLOSURE" );
    EXPECT_EQ( pbSortModule( sipauth___DigestFilterClosureSort() ), sipauthModule() );
}

TEST_F( DigestFilterDeathTest, SignsRequestsOnly )
{
    auto attached = filter( state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth ) );
    auto response = own( sipsnMessageCreateResponse( 200, string( "OK" ) ) );
    EXPECT_ABORT( execute( attached, response ), "source/sipauth/digest/sipauth_digest_filter",
                  "sipsnMessageIsRequest( *message )" );
}

TEST_F( DigestFilterDeathTest, RefusesNull )
{
    const char *path = "source/sipauth/digest/sipauth_digest_filter";
    auto offered = state( SIPAUTH_DIGEST_ALGORITHM_MD5, auth );
    auto cred = credentials( "alice", "secret" );
    auto message = invite();
    pbObj *closure = sipauthCredentialsObj( cred );
    sipsnMessage *none = nullptr;
    EXPECT_ABORT( sipauth___DigestFilterCreate( nullptr, cred, 0 ), path, "state" );
    EXPECT_ABORT( sipauth___DigestFilterCreate( offered, nullptr, 0 ), path, "credentials" );
    EXPECT_ABORT( sipauth___DigestFilterClosureTryExecuteFunc( nullptr, message.inout(), nullptr ), path, "closure" );
    EXPECT_ABORT( sipauth___DigestFilterClosureTryExecuteFunc( closure, nullptr, nullptr ), path, "message" );
    EXPECT_ABORT( sipauth___DigestFilterClosureTryExecuteFunc( closure, &none, nullptr ), path, "*message" );
    EXPECT_ABORT( sipauth___DigestFilterClosureTryExecuteFunc( closure, message.inout(), nullptr ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH___DIGEST_FILTER_CLOSURE" );
}

} // namespace
