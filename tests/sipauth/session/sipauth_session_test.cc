// Sessions: what they are made of and what they tell.
#include "sipauth/session/sipauth_session_private.h"

#include "sipauth/digest/digest_support.h"
#include "sipauth/session/session_support.h"

namespace
{

using pb::own;
using support::string;
using support::text;
using support::textOf;

const char *path = "source/sipauth/session/sipauth_session";

class Session : public session::Simulated
{
protected:
    pb::Ref<sipauthSession> create()
    {
        return own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_CLIENT, nullptr ) );
    }

    pb::Ref<sipauthStack> stack = session::stackOf( session::optionsOf( 1000 ) );
};

class SessionDeathTest : public Session
{
};

pb::Ref<usrUser> user( const char *id )
{
    return own( usrUserCreate( own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) ), string( id ) ) );
}

pb::Ref<usrReference> reference()
{
    return own( usrReferenceCreate( string( "users" ), string( "alice" ) ) );
}

// Gives the session's state back with a server user.
void setServerUser( sipauthSession *sess, usrUser *user )
{
    auto state = own( sipauth___SessionTryAcquireState( sess ) );
    sipauth___SessionStateSetServerUser( state.inout(), user );
    sipauth___SessionReleaseAndUpdateState( sess, state );
}

TEST_F( Session, KeepsStackAndNormalizedFlags )
{
    uint64_t unknown = uint64_t{ 1 } << 40;
    auto sess = own(
        sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER | SIPAUTH_SESSION_FLAG_PROXY | unknown, nullptr ) );
    EXPECT_EQ( own( sipauthSessionStack( sess ) ).get(), stack.get() );
    EXPECT_EQ( sipauthSessionFlags( sess ), uint64_t{ SIPAUTH_SESSION_FLAG_SERVER | SIPAUTH_SESSION_FLAG_PROXY } );
}

TEST_F( Session, KeepsTheStacksOptionsOfItsCreation )
{
    auto before = own( sipauthStackOptions( stack ) );
    auto sess = create();
    auto changed = session::optionsOf( 5 );
    sipauthStackSetOptions( stack, changed );
    EXPECT_EQ( own( sipauthSessionOptions( sess ) ).get(), before.get() );
    // Options that the stack has not applied yet are those of a new session all the same.
    EXPECT_EQ( own( sipauthSessionOptions( create() ) ).get(), changed.get() );
    settle();
    EXPECT_EQ( own( sipauthSessionOptions( sess ) ).get(), before.get() );
}

TEST_F( Session, AuthenticatesNobodyUnlessItIsTold )
{
    auto sess = create();
    EXPECT_FALSE( sipauthSessionHasClientUser( sess ) );
    EXPECT_FALSE( sipauthSessionHasClientUserReference( sess ) );
    EXPECT_FALSE( sipauthSessionHasClientCredentials( sess ) );
    EXPECT_EQ( sipauthSessionClientUser( sess ), nullptr );
    EXPECT_EQ( sipauthSessionClientUserReference( sess ), nullptr );
    EXPECT_EQ( sipauthSessionClientCredentials( sess ), nullptr );
    EXPECT_FALSE( sipauthSessionHasServerUser( sess ) );
    EXPECT_EQ( sipauthSessionServerUser( sess ), nullptr );
    EXPECT_FALSE( sipauthSessionError( sess ) );
}

TEST_F( Session, KeepsItsClientUser )
{
    auto alice = user( "alice" );
    auto sess = own( sipauthSessionCreateWithClientUser( stack, SIPAUTH_SESSION_FLAG_CLIENT, alice, nullptr ) );
    EXPECT_TRUE( sipauthSessionHasClientUser( sess ) );
    EXPECT_EQ( own( sipauthSessionClientUser( sess ) ).get(), alice.get() );
    EXPECT_FALSE( sipauthSessionHasClientUserReference( sess ) );
    EXPECT_FALSE( sipauthSessionHasClientCredentials( sess ) );
    EXPECT_EQ( sipauthSessionFlags( sess ), uint64_t{ SIPAUTH_SESSION_FLAG_CLIENT } );
}

TEST_F( Session, KeepsItsClientUserReference )
{
    auto ref = reference();
    auto sess = own( sipauthSessionCreateWithClientUserReference( stack, SIPAUTH_SESSION_FLAG_CLIENT, ref, nullptr ) );
    EXPECT_TRUE( sipauthSessionHasClientUserReference( sess ) );
    EXPECT_EQ( own( sipauthSessionClientUserReference( sess ) ).get(), ref.get() );
    EXPECT_FALSE( sipauthSessionHasClientUser( sess ) );
    EXPECT_FALSE( sipauthSessionHasClientCredentials( sess ) );
}

TEST_F( Session, KeepsItsClientCredentials )
{
    auto cred = digest::credentials( "alice", "secret" );
    auto sess = own( sipauthSessionCreateWithClientCredentials( stack, SIPAUTH_SESSION_FLAG_CLIENT, cred, nullptr ) );
    EXPECT_TRUE( sipauthSessionHasClientCredentials( sess ) );
    EXPECT_EQ( own( sipauthSessionClientCredentials( sess ) ).get(), cred.get() );
    EXPECT_FALSE( sipauthSessionHasClientUser( sess ) );
    EXPECT_FALSE( sipauthSessionHasClientUserReference( sess ) );
}

TEST_F( Session, TellsTheServerUserOfTheStateThatWasGivenBack )
{
    auto sess = create();
    auto alice = user( "alice" );
    setServerUser( sess, alice );
    EXPECT_TRUE( sipauthSessionHasServerUser( sess ) );
    EXPECT_EQ( own( sipauthSessionServerUser( sess ) ).get(), alice.get() );
}

TEST_F( Session, ShowsNothingOfAStateThatIsHeld )
{
    auto sess = create();
    auto alice = user( "alice" );
    auto bob = user( "bob" );
    setServerUser( sess, alice );
    auto state = own( sipauth___SessionTryAcquireState( sess ) );
    sipauth___SessionStateSetServerUser( state.inout(), bob );
    sipauth___SessionStateSetError( state.inout(), 1 );
    EXPECT_EQ( own( sipauthSessionServerUser( sess ) ).get(), alice.get() );
    EXPECT_FALSE( sipauthSessionError( sess ) );
    sipauth___SessionReleaseAndUpdateState( sess, state );
    EXPECT_EQ( own( sipauthSessionServerUser( sess ) ).get(), bob.get() );
    EXPECT_TRUE( sipauthSessionError( sess ) );
}

TEST_F( Session, HasTheStandardFunctions )
{
    auto sess = create();
    EXPECT_EQ( sipauthSessionFrom( sipauthSessionObj( sess ) ), sess.get() );
    EXPECT_EQ( sipauthSessionFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauthSessionToString( sess ) ), "SIPAUTH_SESSION" );
    EXPECT_TRUE( sipauthSessionEquals( sess, sess ) );
    EXPECT_NE( sipauthSessionCompare( sess, create() ), 0 );
    EXPECT_EQ( sipauthSessionSort(), pbObjSort( sipauthSessionObj( sess ) ) );
    sipauthSessionRelease( sipauthSessionRetain( sess ) );
}

// The trace

class SessionTrace : public Session
{
protected:
    /// The one property line of the session's stream.
    pb::Ref<trLine> property()
    {
        auto lines = recording.lines( TR_LINE_KIND_PROPERTY, "SIPAUTH_SESSION" );
        EXPECT_EQ( lines.size(), 1u );
        return lines.empty() ? nullptr : lines[0];
    }

    digest::Recording recording;
    // Made once more, now that it is recorded.
    pb::Ref<sipauthStack> recorded = session::stackOf( session::optionsOf( 1000 ) );
};

TEST_F( SessionTrace, TellsTheFlags )
{
    auto sess =
        own( sipauthSessionCreate( recorded, SIPAUTH_SESSION_FLAG_SERVER | SIPAUTH_SESSION_FLAG_PROXY, nullptr ) );
    auto flags = textOf( sipauthSessionFlagsToString( SIPAUTH_SESSION_FLAG_SERVER | SIPAUTH_SESSION_FLAG_PROXY ) );
    EXPECT_EQ( recording.texts( "SIPAUTH_SESSION" ),
               std::vector<std::string>{ "[sipauthSessionCreate()] flags: " + flags } );
}

TEST_F( SessionTrace, LinksTheStackBelowTheSessionAndTheSessionBelowItsOwner )
{
    auto owner = own( trStreamCreateCstr( "OWNER", -1 ) );
    auto anchor = own( trAnchorCreate( owner, 17 ) );
    auto sess = own( sipauthSessionCreate( recorded, SIPAUTH_SESSION_FLAG_CLIENT, anchor ) );
    auto links = recording.lines( TR_LINE_KIND_ANCHOR, "SIPAUTH_SESSION" );
    ASSERT_EQ( links.size(), 1u );
    EXPECT_EQ( trLineAnchorKind( links[0] ), 18 );
    EXPECT_EQ( trLineChildNumber( links[0] ),
               trLineStreamNumber( recording.lines( TR_LINE_KIND_BEGIN, "SIPAUTH_STACK" )[0] ) );
    int64_t number = trLineStreamNumber( recording.lines( TR_LINE_KIND_BEGIN, "SIPAUTH_SESSION" )[0] );
    auto ownerLinks = recording.lines( TR_LINE_KIND_ANCHOR, "OWNER" );
    ASSERT_EQ( ownerLinks.size(), 1u );
    EXPECT_EQ( trLineChildNumber( ownerLinks[0] ), number );
    sipauthSessionTraceCompleteAnchor( sess, own( trAnchorCreate( owner, 5 ) ) );
    ownerLinks = recording.lines( TR_LINE_KIND_ANCHOR, "OWNER" );
    ASSERT_EQ( ownerLinks.size(), 2u );
    EXPECT_EQ( trLineChildNumber( ownerLinks[1] ), number );
    EXPECT_EQ( trLineAnchorKind( ownerLinks[1] ), 5 );
}

TEST_F( SessionTrace, LinksTheClientUser )
{
    auto sess =
        own( sipauthSessionCreateWithClientUser( recorded, SIPAUTH_SESSION_FLAG_CLIENT, user( "alice" ), nullptr ) );
    auto links = recording.lines( TR_LINE_KIND_ANCHOR, "SIPAUTH_SESSION" );
    ASSERT_EQ( links.size(), 2u );
    EXPECT_EQ( trLineAnchorKind( links[1] ), 9 );
    EXPECT_EQ( textOf( trLineText( links[1] ) ), "sipauthSessionClientUser" );
}

TEST_F( SessionTrace, TellsTheClientUserReference )
{
    auto ref = reference();
    auto sess =
        own( sipauthSessionCreateWithClientUserReference( recorded, SIPAUTH_SESSION_FLAG_CLIENT, ref, nullptr ) );
    auto line = property();
    ASSERT_TRUE( line );
    EXPECT_EQ( textOf( trLineProperty( line ) ), "sipauthSessionClientUserReference" );
    EXPECT_EQ( textOf( trLineText( line ) ), textOf( pbStoreToString( own( usrReferenceStore( ref ) ) ) ) );
}

TEST_F( SessionTrace, TellsTheClientCredentialsWithoutThePassword )
{
    auto cred = digest::credentials( "alice", "secret" );
    auto sess =
        own( sipauthSessionCreateWithClientCredentials( recorded, SIPAUTH_SESSION_FLAG_CLIENT, cred, nullptr ) );
    auto line = property();
    ASSERT_TRUE( line );
    EXPECT_EQ( textOf( trLineProperty( line ) ), "sipauthSessionClientCredentials" );
    std::string value = textOf( trLineText( line ) );
    EXPECT_EQ( value, textOf( pbStoreToString( own( sipauthCredentialsStore( cred, 0 ) ) ) ) );
    EXPECT_NE( value.find( "alice" ), std::string::npos );
    EXPECT_EQ( value.find( "secret" ), std::string::npos );
    EXPECT_EQ( value.find( "c2VjcmV0" ), std::string::npos );
}

// What is refused

TEST_F( SessionDeathTest, RefusesToBeMadeOfNothing )
{
    auto cred = digest::credentials( "alice", "secret" );
    EXPECT_ABORT( sipauthSessionCreate( nullptr, 0, nullptr ), path, "stack" );
    EXPECT_ABORT( sipauthSessionCreateWithClientUser( nullptr, 0, user( "alice" ), nullptr ), path, "stack" );
    EXPECT_ABORT( sipauthSessionCreateWithClientUser( stack, 0, nullptr, nullptr ), path, "clientUser" );
    EXPECT_ABORT( sipauthSessionCreateWithClientUserReference( nullptr, 0, reference(), nullptr ), path, "stack" );
    EXPECT_ABORT( sipauthSessionCreateWithClientUserReference( stack, 0, nullptr, nullptr ), path,
                  "clientUserReference" );
    EXPECT_ABORT( sipauthSessionCreateWithClientCredentials( nullptr, 0, cred, nullptr ), path, "stack" );
    EXPECT_ABORT( sipauthSessionCreateWithClientCredentials( stack, 0, nullptr, nullptr ), path, "clientCredentials" );
}

TEST_F( SessionDeathTest, RefusesNull )
{
    session::Probe probe;
    auto sess = create();
    auto anchor = own( trAnchorCreate( own( trStreamCreateCstr( "OWNER", -1 ) ), 9 ) );
    EXPECT_ABORT( sipauthSessionStack( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionFlags( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionOptions( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionClientUser( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionHasClientUser( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionClientUserReference( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionHasClientUserReference( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionClientCredentials( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionHasClientCredentials( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionTraceCompleteAnchor( nullptr, anchor ), path, "sess" );
    EXPECT_ABORT( sipauthSessionTraceCompleteAnchor( sess, nullptr ), path, "anchor" );
    EXPECT_ABORT( sipauthSessionError( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionServerUser( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauthSessionHasServerUser( nullptr ), path, "sess" );
    EXPECT_ABORT( sipauth___SessionTryAcquireState( nullptr ), path, "sess" );
    for( auto change : { sipauthSessionUpdateAddSignalable, sipauthSessionUpdateDelSignalable,
                         sipauthSessionErrorAddSignalable, sipauthSessionErrorDelSignalable } )
    {
        EXPECT_ABORT( change( nullptr, probe.signalable() ), path, "sess" );
        EXPECT_ABORT( change( sess, nullptr ), path, "signalable" );
    }
}

TEST_F( SessionDeathTest, RefusesAStateThatNobodyHolds )
{
    auto sess = create();
    auto state = own( sipauth___SessionStateCreate() );
    EXPECT_ABORT( sipauth___SessionReleaseAndUpdateState( sess, state ), path, "sess->extStateAcquired" );
    EXPECT_ABORT( sipauth___SessionReleaseAndUpdateState( nullptr, state ), path, "sess" );
    EXPECT_ABORT( sipauth___SessionReleaseAndUpdateState( sess, nullptr ), path, "state" );
    auto held = own( sipauth___SessionTryAcquireState( sess ) );
    sipauth___SessionReleaseAndUpdateState( sess, held );
    EXPECT_ABORT( sipauth___SessionReleaseAndUpdateState( sess, held ), path, "sess->extStateAcquired" );
}

} // namespace
