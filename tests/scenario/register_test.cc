// REGISTER: challenged, answered, accepted or refused, under each kind of challenge.
#include "road.h"

#include <sipauth/sipauth_server_challenge.h>

namespace scenario
{

class Registration : public Road
{
protected:
    pb::Ref<sipauthStack> stack( int64_t defaults )
    {
        return own( sipauthStackCreate( options( defaults ), nullptr ) );
    }

    pb::Ref<sipauthStack> stackWithQop( int64_t qop )
    {
        auto options = this->options( SIPAUTH_DEFAULTS_STANDARD );
        sipauthOptionsClearDigestQops( options.inout() );
        sipauthOptionsSetDigestQop( options.inout(), qop );
        return own( sipauthStackCreate( options, nullptr ) );
    }

    // Changes the last byte, which is the body's.
    static std::string tamper( std::string wire )
    {
        wire.back() ^= 1;
        return wire;
    }
};

INSTANTIATE_TEST_SUITE_P(, Registration, everyDrive, driveName );

namespace
{

std::string authorizationOf( const Parties &parties )
{
    return headerOf( parties.wire, "Authorization" );
}

bool contains( const std::string &text, const char *part )
{
    return text.find( part ) != std::string::npos;
}

} // namespace

TEST_P( Registration, IsChallengedAnsweredAndAccepted )
{
    for( int64_t defaults : { SIPAUTH_DEFAULTS_STANDARD, SIPAUTH_DEFAULTS_COMPATIBLE, SIPAUTH_DEFAULTS_MINIMAL } )
    {
        SCOPED_TRACE( defaults );
        auto stack = this->stack( defaults );
        Parties parties = this->parties( stack );
        EXPECT_EQ( transact( parties ), 401 );
        EXPECT_EQ( authorizationOf( parties ), "" );
        ASSERT_TRUE( parties.challenge );
        EXPECT_EQ( transact( parties ), 200 );
        EXPECT_TRUE( authorizationOf( parties ).starts_with( "Digest " ) ) << parties.wire;
        EXPECT_TRUE( sipauthSessionHasServerUser( parties.server ) );
    }
}

TEST_P( Registration, IsAuthorizedAtOnceFromTheSecondOnWithTheNextNonceCount )
{
    for( int64_t defaults : { SIPAUTH_DEFAULTS_STANDARD, SIPAUTH_DEFAULTS_COMPATIBLE } )
    {
        SCOPED_TRACE( defaults );
        auto stack = this->stack( defaults );
        Parties parties = this->parties( stack );
        EXPECT_EQ( transact( parties ), 401 );
        EXPECT_EQ( transact( parties ), 200 );
        EXPECT_TRUE( contains( authorizationOf( parties ), "nc=00000001" ) ) << parties.wire;
        EXPECT_EQ( transact( parties ), 200 );
        EXPECT_TRUE( contains( authorizationOf( parties ), "nc=00000002" ) ) << parties.wire;
        EXPECT_EQ( transact( parties ), 200 );
        EXPECT_TRUE( contains( authorizationOf( parties ), "nc=00000003" ) ) << parties.wire;
    }
}

TEST_P( Registration, IsChallengedEachTimeWithoutAQualityOfProtection )
{
    auto options = this->options( SIPAUTH_DEFAULTS_MINIMAL );
    sipauthOptionsSetServerRechallenge( options.inout(), 1 );
    auto stack = own( sipauthStackCreate( options, nullptr ) );
    Parties parties = this->parties( stack );
    for( int round = 0; round < 3; round++ )
    {
        EXPECT_EQ( transact( parties ), 401 );
        EXPECT_EQ( authorizationOf( parties ), "" ) << "there is no next nonce count";
        EXPECT_EQ( transact( parties ), 200 );
        EXPECT_FALSE( contains( authorizationOf( parties ), "nc=" ) ) << parties.wire;
    }
}

TEST_P( Registration, PassesWithoutCredentialsOnTheStrengthOfItsSessionByTheMinimalPreset )
{
    auto stack = this->stack( SIPAUTH_DEFAULTS_MINIMAL );
    Parties parties = this->parties( stack );
    EXPECT_EQ( transact( parties ), 401 );
    EXPECT_EQ( transact( parties ), 200 );
    EXPECT_EQ( transact( parties ), 200 );
    EXPECT_EQ( authorizationOf( parties ), "" );
}

TEST_P( Registration, MayUseItsNonceAgainOnlyWhereTheOptionsAllowIt )
{
    for( pbBool allowed : { 0, 1 } )
    {
        SCOPED_TRACE( allowed );
        auto options = this->options( SIPAUTH_DEFAULTS_MINIMAL );
        sipauthOptionsSetServerDigestAcceptNonceReuse( options.inout(), allowed );
        auto stack = own( sipauthStackCreate( options, nullptr ) );
        Parties parties = this->parties( stack );
        EXPECT_EQ( transact( parties ), 401 );
        EXPECT_EQ( transact( parties ), 200 );
        std::string before = parties.wire;
        EXPECT_EQ( transact( parties, "REGISTER", "", [&]( const std::string & ) { return before; } ),
                   allowed ? 200 : 401 );
    }
}

TEST_P( Registration, IsRefusedWithAWrongPassword )
{
    for( int64_t defaults : { SIPAUTH_DEFAULTS_STANDARD, SIPAUTH_DEFAULTS_MINIMAL } )
    {
        SCOPED_TRACE( defaults );
        auto stack = this->stack( defaults );
        Parties parties = this->parties( stack, "looking-glass" );
        EXPECT_EQ( transact( parties ), 401 );
        EXPECT_EQ( transact( parties ), 403 );
        EXPECT_FALSE( parties.challenge );
    }
}

TEST_P( Registration, IsChallengedAgainWithAWrongPasswordByTheCompatiblePreset )
{
    auto stack = this->stack( SIPAUTH_DEFAULTS_COMPATIBLE );
    Parties parties = this->parties( stack, "looking-glass" );
    for( int round = 0; round < 3; round++ )
    {
        EXPECT_EQ( transact( parties ), 401 ) << round;
        EXPECT_TRUE( parties.challenge ) << round;
    }
}

TEST_P( Registration, IsRefusedForAnUnknownUser )
{
    for( int64_t defaults : { SIPAUTH_DEFAULTS_STANDARD, SIPAUTH_DEFAULTS_COMPATIBLE, SIPAUTH_DEFAULTS_MINIMAL } )
    {
        SCOPED_TRACE( defaults );
        auto stack = this->stack( defaults );
        Parties parties = this->parties( stack, "wonderland", "hatter" );
        EXPECT_EQ( transact( parties ), 401 );
        EXPECT_EQ( transact( parties ), 403 );
        EXPECT_FALSE( sipauthSessionHasServerUser( parties.server ) );
    }
}

TEST_P( Registration, CanUseBasic )
{
    auto options = this->options( SIPAUTH_DEFAULTS_STANDARD );
    sipauthOptionsClearSchemes( options.inout() );
    sipauthOptionsSetScheme( options.inout(), SIPAUTH_SCHEME_BASIC );
    auto stack = own( sipauthStackCreate( options, nullptr ) );
    Parties parties = this->parties( stack );
    EXPECT_EQ( transact( parties ), 401 );
    EXPECT_EQ( transact( parties ), 200 );
    EXPECT_EQ( authorizationOf( parties ), "Basic YWxpY2U6d29uZGVybGFuZA==" );
    EXPECT_EQ( transact( parties ), 200 ) << "and at once from now on";

    Parties wrong = this->parties( stack, "looking-glass" );
    EXPECT_EQ( transact( wrong ), 401 );
    EXPECT_EQ( transact( wrong ), 403 );
}

TEST_P( Registration, IsChallengedByAProxy )
{
    auto stack = this->stack( SIPAUTH_DEFAULTS_STANDARD );
    Parties parties = this->parties( stack, "wonderland", "alice", SIPAUTH_SESSION_FLAG_PROXY );
    EXPECT_EQ( transact( parties ), 407 );
    EXPECT_EQ( transact( parties ), 200 );
    EXPECT_EQ( authorizationOf( parties ), "" );
    EXPECT_TRUE( headerOf( parties.wire, "Proxy-Authorization" ).starts_with( "Digest " ) ) << parties.wire;
    EXPECT_EQ( transact( parties ), 200 );
}

TEST_P( Registration, ProtectsTheBodyWithAuthInt )
{
    auto stack = stackWithQop( SIPAUTH_DIGEST_QOP_AUTH_INT );
    Parties parties = this->parties( stack );
    EXPECT_EQ( transact( parties, "MESSAGE", "Drink me." ), 401 );
    EXPECT_EQ( transact( parties, "MESSAGE", "Drink me." ), 200 );
    EXPECT_TRUE( contains( authorizationOf( parties ), "qop=auth-int" ) ) << parties.wire;
    EXPECT_EQ( transact( parties, "MESSAGE", "Drink me.", tamper ), 403 ) << "the body was changed on the way";
}

TEST_P( Registration, DoesNotProtectTheBodyWithAuth )
{
    auto stack = stackWithQop( SIPAUTH_DIGEST_QOP_AUTH );
    Parties parties = this->parties( stack );
    EXPECT_EQ( transact( parties, "MESSAGE", "Drink me." ), 401 );
    EXPECT_EQ( transact( parties, "MESSAGE", "Drink me.", tamper ), 200 );
}

TEST_P( Registration, IsRefusedWhenItsAuthorizationComesTwice )
{
    auto stack = this->stack( SIPAUTH_DEFAULTS_STANDARD );
    Parties parties = this->parties( stack );
    EXPECT_EQ( transact( parties ), 401 );
    EXPECT_EQ( transact( parties ), 200 );
    std::string before = parties.wire;
    EXPECT_EQ( transact( parties, "REGISTER", "", [&]( const std::string & ) { return before; } ), 403 );
}

TEST_P( Registration, IsChallengedAnewWhenItsChallengeHasExpired )
{
    auto options = this->options( SIPAUTH_DEFAULTS_STANDARD );
    sipauthOptionsSetServerChallengeExpiration( options.inout(), 1 );
    auto stack = own( sipauthStackCreate( options, nullptr ) );
    Parties parties = this->parties( stack );
    EXPECT_EQ( transact( parties ), 401 );
    auto challenge = parties.challenge;
    EXPECT_TRUE( host.untilTimePasses( [] { return pbSortLiveObjects( sipauthServerChallengeSort() ) == 0; } ) );

    auto lasting = this->options( SIPAUTH_DEFAULTS_STANDARD );
    sipauthStackConfigurationAddSignalable( stack, host.signalable() );
    sipauthStackSetOptions( stack, lasting );
    pb::Ref<sipauthOptions> applied;
    EXPECT_TRUE( host.until(
        [&]
        {
            sipauthStackConfiguration( stack, applied.inout() );
            return applied.get() == lasting.get();
        } ) );

    EXPECT_EQ( transact( parties ), 401 ) << "the answer came too late";
    EXPECT_TRUE( authorizationOf( parties ).starts_with( "Digest " ) );
    ASSERT_TRUE( parties.challenge );
    EXPECT_FALSE( sipauthChallengeEquals( parties.challenge, challenge ) ) << "its nonces are new ones";
    EXPECT_EQ( transact( parties ), 200 );
}

} // namespace scenario
