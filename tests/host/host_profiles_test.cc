// Profiles of peers.
#include <host/host_profiles.h>

#include "support/abort.h"
#include "support/text.h"

#include <sipauth/sipauth_digest_algorithm.h>

#include <arpa/inet.h>

namespace
{

using pb::own;
using support::string;
using support::textOf;

pb::Ref<hostPeer> peerOf( const char *text, int64_t listener = 0 )
{
    uint8_t address[16];
    if( inet_pton( AF_INET, text, address ) == 1 )
        return own( hostPeerCreate( HOST_TRANSPORT_UDP, address, 4, 5060, 0, listener ) );
    EXPECT_EQ( inet_pton( AF_INET6, text, address ), 1 ) << text;
    return own( hostPeerCreate( HOST_TRANSPORT_UDP, address, 16, 5060, 0, listener ) );
}

pb::Ref<sipsnMessage> requestOf( const std::string &userAgent )
{
    auto request = own( sipsnMessageCreateRequest( string( "REGISTER" ), string( "sip:example.org" ) ) );
    if( userAgent.empty() )
        return request;
    auto header = own( sipsnMessageHeaderCreateCstr( "User-Agent", -1 ) );
    sipsnMessageHeaderAppendLine( header.inout(), string( userAgent ) );
    sipsnMessageSetHeader( request.inout(), header );
    return request;
}

int64_t profileOf( hostProfiles *profiles, const char *address, const std::string &userAgent = "",
                   int64_t listener = 0 )
{
    return hostProfilesOf( profiles, peerOf( address, listener ), requestOf( userAgent ) );
}

bool addNetwork( hostProfiles *profiles, const char *network, int64_t profile )
{
    return hostProfilesTryAddNetwork( profiles, string( network ), profile );
}

TEST( Profiles, GiveEveryoneTheDefaultAtFirst )
{
    auto profiles = own( hostProfilesCreate( HOST_PROFILE_STRICT ) );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1", "Phone/1.0", 7 ), HOST_PROFILE_STRICT );
    EXPECT_EQ( textOf( hostProfilesToString( profiles ) ), "HOST_PROFILES" );
}

TEST( Profiles, AskListenerThenNetworkThenUserAgent )
{
    auto profiles = own( hostProfilesCreate( HOST_PROFILE_DEFAULT ) );
    hostProfilesAddUserAgent( profiles, string( "Phone" ), HOST_PROFILE_LEGACY );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1", "Phone/1.0", 7 ), HOST_PROFILE_LEGACY );
    ASSERT_TRUE( addNetwork( profiles, "192.0.2.0/24", HOST_PROFILE_DEFAULT ) );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1", "Phone/1.0", 7 ), HOST_PROFILE_DEFAULT );
    hostProfilesAddListener( profiles, 7, HOST_PROFILE_STRICT );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1", "Phone/1.0", 7 ), HOST_PROFILE_STRICT );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1", "Phone/1.0", 8 ), HOST_PROFILE_DEFAULT );
    EXPECT_EQ( profileOf( profiles, "198.51.100.1", "Phone/1.0", 8 ), HOST_PROFILE_LEGACY );
    EXPECT_EQ( profileOf( profiles, "198.51.100.1", "Other/1.0", 8 ), HOST_PROFILE_DEFAULT );
}

TEST( Profiles, TakeTheLongestNetwork )
{
    auto profiles = own( hostProfilesCreate( HOST_PROFILE_DEFAULT ) );
    ASSERT_TRUE( addNetwork( profiles, "192.0.2.77/25", HOST_PROFILE_STRICT ) );
    ASSERT_TRUE( addNetwork( profiles, "192.0.2.0/24", HOST_PROFILE_LEGACY ) );
    ASSERT_TRUE( addNetwork( profiles, "192.0.2.5", HOST_PROFILE_DEFAULT ) );
    EXPECT_EQ( profileOf( profiles, "192.0.2.127" ), HOST_PROFILE_STRICT );
    EXPECT_EQ( profileOf( profiles, "192.0.2.128" ), HOST_PROFILE_LEGACY );
    EXPECT_EQ( profileOf( profiles, "192.0.2.5" ), HOST_PROFILE_DEFAULT );
    EXPECT_EQ( profileOf( profiles, "192.0.3.1" ), HOST_PROFILE_DEFAULT );
}

TEST( Profiles, KeepTheFamiliesOfAddressesApart )
{
    auto profiles = own( hostProfilesCreate( HOST_PROFILE_DEFAULT ) );
    ASSERT_TRUE( addNetwork( profiles, "::/0", HOST_PROFILE_STRICT ) );
    ASSERT_TRUE( addNetwork( profiles, "0.0.0.0/0", HOST_PROFILE_LEGACY ) );
    EXPECT_EQ( profileOf( profiles, "2001:db8::1" ), HOST_PROFILE_STRICT );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1" ), HOST_PROFILE_LEGACY );
    ASSERT_TRUE( addNetwork( profiles, "2001:db8::/33", HOST_PROFILE_DEFAULT ) );
    EXPECT_EQ( profileOf( profiles, "2001:db8:7fff::1" ), HOST_PROFILE_DEFAULT );
    EXPECT_EQ( profileOf( profiles, "2001:db8:8000::1" ), HOST_PROFILE_STRICT );
    ASSERT_TRUE( addNetwork( profiles, "::ffff:192.0.2.0/120", HOST_PROFILE_DEFAULT ) );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1" ), HOST_PROFILE_DEFAULT );
}

TEST( Profiles, RefuseWhatIsNoNetwork )
{
    auto profiles = own( hostProfilesCreate( HOST_PROFILE_DEFAULT ) );
    for( const char *text :
         { "", "/", "192.0.2.0/", "192.0.2.0/33", "192.0.2/24", "192.0.2.0/-1", "192.0.2.0/+1", "192.0.2.0/24 ",
           "192.0.2.0/0024", "2001:db8::/129", "example.org", "2001:db8::/3\u0663" } )
        EXPECT_FALSE( addNetwork( profiles, text, HOST_PROFILE_LEGACY ) ) << text;
    EXPECT_EQ( profileOf( profiles, "192.0.2.1" ), HOST_PROFILE_DEFAULT );
}

TEST( Profiles, TakeTheLongestUserAgentInAnyLetterCase )
{
    auto profiles = own( hostProfilesCreate( HOST_PROFILE_DEFAULT ) );
    hostProfilesAddUserAgent( profiles, string( "phone" ), HOST_PROFILE_LEGACY );
    hostProfilesAddUserAgent( profiles, string( "Phone/2" ), HOST_PROFILE_STRICT );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1", "A PHONE/1.0" ), HOST_PROFILE_LEGACY );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1", "A PHONE/2.0" ), HOST_PROFILE_STRICT );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1", "a pho" ), HOST_PROFILE_DEFAULT );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1" ), HOST_PROFILE_DEFAULT );
}

TEST( Profiles, ReplaceARuleForTheSameThing )
{
    auto profiles = own( hostProfilesCreate( HOST_PROFILE_DEFAULT ) );
    hostProfilesAddListener( profiles, 1, HOST_PROFILE_STRICT );
    hostProfilesAddListener( profiles, 1, HOST_PROFILE_LEGACY );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1", "", 1 ), HOST_PROFILE_LEGACY );
    ASSERT_TRUE( addNetwork( profiles, "192.0.2.0/24", HOST_PROFILE_STRICT ) );
    ASSERT_TRUE( addNetwork( profiles, "192.0.2.9/24", HOST_PROFILE_LEGACY ) );
    EXPECT_EQ( profileOf( profiles, "192.0.2.1" ), HOST_PROFILE_LEGACY );
    hostProfilesAddUserAgent( profiles, string( "Phone" ), HOST_PROFILE_LEGACY );
    hostProfilesAddUserAgent( profiles, string( "PHONE" ), HOST_PROFILE_STRICT );
    EXPECT_EQ( profileOf( profiles, "198.51.100.1", "phone" ), HOST_PROFILE_STRICT );
}

class Learning : public testing::Test
{
protected:
    void learn( const char *address, const std::string &userAgent, int64_t algorithm, int64_t listener = 0 )
    {
        hostProfilesLearn( profiles_, peerOf( address, listener ), requestOf( userAgent ), algorithm );
    }

    pb::Ref<hostProfiles> profiles_ = own( hostProfilesCreate( HOST_PROFILE_DEFAULT ) );
};

TEST_F( Learning, IsOffUnlessAskedFor )
{
    learn( "192.0.2.1", "Phone/1.0", SIPAUTH_DIGEST_ALGORITHM_MD5 );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/1.0" ), HOST_PROFILE_DEFAULT );
    hostProfilesSetLearn( profiles_, 1 );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/1.0" ), HOST_PROFILE_DEFAULT );
}

TEST_F( Learning, GivesLegacyToWhoeverAnswersMd5Only )
{
    hostProfilesSetLearn( profiles_, 1 );
    learn( "192.0.2.1", "Phone/1.0", SIPAUTH_DIGEST_ALGORITHM_MD5 );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/1.0" ), HOST_PROFILE_LEGACY );
    learn( "192.0.2.1", "Modern/1.0", SIPAUTH_DIGEST_ALGORITHM_SHA256 );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Modern/1.0" ), HOST_PROFILE_DEFAULT );
}

TEST_F( Learning, IsAboutOneAddressOnlySoThatNobodyDecidesForOthers )
{
    hostProfilesSetLearn( profiles_, 1 );
    learn( "192.0.2.1", "Phone/1.0", SIPAUTH_DIGEST_ALGORITHM_MD5 );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.2", "Phone/1.0" ), HOST_PROFILE_DEFAULT );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/1.1" ), HOST_PROFILE_DEFAULT );
}

TEST_F( Learning, NeedsAUserAgent )
{
    hostProfilesSetLearn( profiles_, 1 );
    learn( "192.0.2.1", "", SIPAUTH_DIGEST_ALGORITHM_MD5 );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1" ), HOST_PROFILE_DEFAULT );
}

TEST_F( Learning, GivesWayToRules )
{
    hostProfilesSetLearn( profiles_, 1 );
    learn( "192.0.2.1", "Phone/1.0", SIPAUTH_DIGEST_ALGORITHM_MD5 );
    hostProfilesAddUserAgent( profiles_, string( "phone" ), HOST_PROFILE_STRICT );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/1.0" ), HOST_PROFILE_STRICT );
}

TEST_F( Learning, IsUndoneByAStrongerAnswer )
{
    hostProfilesSetLearn( profiles_, 1 );
    learn( "192.0.2.1", "Phone/1.0", SIPAUTH_DIGEST_ALGORITHM_MD5 );
    learn( "192.0.2.1", "Phone/1.0", SIPAUTH_DIGEST_ALGORITHM_SHA256 );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/1.0" ), HOST_PROFILE_DEFAULT );
    learn( "192.0.2.1", "Phone/1.0", SIPAUTH_DIGEST_ALGORITHM_MD5 );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/1.0" ), HOST_PROFILE_LEGACY );
}

TEST_F( Learning, IsForgottenWhenItIsTurnedOff )
{
    hostProfilesSetLearn( profiles_, 1 );
    learn( "192.0.2.1", "Phone/1.0", SIPAUTH_DIGEST_ALGORITHM_MD5 );
    hostProfilesSetLearn( profiles_, 0 );
    hostProfilesSetLearn( profiles_, 1 );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/1.0" ), HOST_PROFILE_DEFAULT );
}

TEST_F( Learning, ForgetsTheOldestBeyondItsBound )
{
    hostProfilesSetLearn( profiles_, 1 );
    for( int count = 0; count < 4097; count++ )
        learn( "192.0.2.1", "Phone/" + std::to_string( count ), SIPAUTH_DIGEST_ALGORITHM_MD5 );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/0" ), HOST_PROFILE_DEFAULT );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/1" ), HOST_PROFILE_LEGACY );
    EXPECT_EQ( profileOf( profiles_, "192.0.2.1", "Phone/4096" ), HOST_PROFILE_LEGACY );
}

TEST( Profiles, HaveNames )
{
    for( int64_t profile = 0; profile < HOST_PROFILE_COUNT; profile++ )
        EXPECT_EQ( hostProfileTryFromName( string( hostProfileName( profile ) ) ), profile );
    EXPECT_STREQ( hostProfileName( HOST_PROFILE_STRICT ), "strict" );
    EXPECT_STREQ( hostProfileName( HOST_PROFILE_DEFAULT ), "default" );
    EXPECT_STREQ( hostProfileName( HOST_PROFILE_LEGACY ), "legacy" );
    EXPECT_EQ( hostProfileTryFromName( string( "Strict" ) ), -1 );
    EXPECT_EQ( hostProfileTryFromName( string( "" ) ), -1 );
}

TEST( ProfilesDeathTest, RefuseWhatIsNoProfile )
{
    EXPECT_ABORT( hostProfilesCreate( 3 ), "source/host/host_profiles", "HOST_PROFILE_OK( defaultProfile )" );
    EXPECT_ABORT( hostProfileName( -1 ), "source/host/host_profiles", "HOST_PROFILE_OK( profile )" );
    EXPECT_ABORT( hostProfilesSetLearn( nullptr, 1 ), "source/host/host_profiles", "profiles" );
}

} // namespace
