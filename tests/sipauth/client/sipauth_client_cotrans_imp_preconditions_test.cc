// What must hold at the beginning of each step of client co-transactions: each condition, broken alone, aborts.
#include "client_support.h"

#include <functional>

using namespace client;
using namespace sipauth::client;

namespace
{

constexpr char path[] = "source/sipauth/client/sipauth_client_cotrans_imp_steps";

using Imp = sipauth___ClientCotransImp;

/// Some object in a field whose content the condition does not look at.
template<class T>
void fill( pb::Field<T> &field )
{
    field = own( reinterpret_cast<T *>( string( "any" ).give() ) );
}

struct Broken
{
    const char *text;
    std::function<void( Imp * )> change;
};

class ClientCotransPreconditionsDeathTest : public World
{
protected:
    /// An implementation for which all conditions of a state hold. Only aborting child processes make one.
    Imp *prepared( int64_t state )
    {
        Imp *imp = sipauth___ClientCotransImpCreateWithInitialChallenge( session(), challenge( { sha256 } ), nullptr );
        imp->intState = state;
        if( state >= STATE_REQUEST_AUTHENTICATE && state <= STATE_REQUEST_SETUP )
        {
            imp->intSessionState = own( sipauth___SessionStateCreate() );
            imp->intChallenge = challenge( { sha256 } );
            imp->intAuthenticate = own( sipauthAuthenticateCreate( SIPAUTH_SCHEME_DIGEST ) );
        }
        if( state == STATE_REQUEST_USER_CREDENTIALS )
            sipauth___SessionStateSetClientUser( imp->intSessionState.inout(), Directory().user() );
        if( state == STATE_REQUEST_SETUP )
            sipauth___SessionStateSetClientCredentials( imp->intSessionState.inout(),
                                                        credentials( "alice", "secret" ) );
        pbVectorAppendObj( imp->inResponses.inout(), sipsnMessageObj( response( 200, "OK" ) ) );
        imp->inRequest = request( "INVITE" );
        imp->inCancel = request( "CANCEL" );
        imp->inAck = request( "ACK" );
        return imp;
    }

    void check( int64_t state, const std::vector<Broken> &conditions )
    {
        for( const Broken &broken : conditions )
        {
            SCOPED_TRACE( broken.text );
            auto runBroken = [&]
            {
                Imp *imp = prepared( state );
                broken.change( imp );
                sipauth___ClientCotransImpSteps[state].run( imp );
            };
            EXPECT_ABORT( runBroken(), path, broken.text );
        }
    }

    const Broken noSessionState = { "imp->intSessionState", []( Imp *imp ) { imp->intSessionState.clear(); } };
    const Broken noChallenge = { "imp->intChallenge", []( Imp *imp ) { imp->intChallenge.clear(); } };
    const Broken noAuthenticate = { "imp->intAuthenticate", []( Imp *imp ) { imp->intAuthenticate.clear(); } };
    const Broken noInitialChallenge = { "imp->fixInitialChallenge",
                                        []( Imp *imp ) { imp->fixInitialChallenge.clear(); } };
    const Broken sessionState = { "!imp->intSessionState", []( Imp *imp ) { fill( imp->intSessionState ); } };
    const Broken challengeLeft = { "!imp->intChallenge", []( Imp *imp ) { fill( imp->intChallenge ); } };
    const Broken authenticate = { "!imp->intAuthenticate", []( Imp *imp ) { fill( imp->intAuthenticate ); } };
    const Broken lookup = { "!imp->intUsrLookupIdentifier", []( Imp *imp ) { fill( imp->intUsrLookupIdentifier ); } };
    const Broken query = { "!imp->intUsrQueryCredentials", []( Imp *imp ) { fill( imp->intUsrQueryCredentials ); } };
};

} // namespace

TEST_F( ClientCotransPreconditionsDeathTest, NothingIsUnderWayInIdle )
{
    check( STATE_IDLE, { sessionState, challengeLeft, authenticate, lookup, query } );
}

TEST_F( ClientCotransPreconditionsDeathTest, ARequestIsThereAndNoneIsOut )
{
    check( STATE_REQUEST, { { "imp->inRequest", []( Imp *imp ) { imp->inRequest.clear(); } },
                            { "!imp->outRequest", []( Imp *imp ) { imp->outRequest = request( "INVITE" ); } },
                            challengeLeft,
                            authenticate,
                            lookup,
                            query } );
}

TEST_F( ClientCotransPreconditionsDeathTest, AnAlternativeIsTakenForAClientThatHoldsTheState )
{
    check( STATE_REQUEST_AUTHENTICATE,
           { noInitialChallenge,
             { "sipauthSessionFlags( imp->fixSession ) & SIPAUTH_SESSION_FLAG_CLIENT",
               [this]( Imp *imp ) { imp->fixSession = bareSession( SIPAUTH_SESSION_FLAG_SERVER ); } },
             { "imp->intState == STATE_REQUEST_AUTHENTICATE", []( Imp *imp ) { imp->intState = STATE_IDLE; } },
             noSessionState,
             noChallenge,
             lookup,
             query } );
}

TEST_F( ClientCotransPreconditionsDeathTest, AUserIsLookedUpWhereThereIsNone )
{
    check( STATE_REQUEST_USER,
           { noInitialChallenge,
             noSessionState,
             { "!sipauth___SessionStateHasClientUser( imp->intSessionState )", []( Imp *imp )
               { sipauth___SessionStateSetClientUser( imp->intSessionState.inout(), Directory().user() ); } },
             noChallenge,
             noAuthenticate,
             lookup,
             query } );
}

TEST_F( ClientCotransPreconditionsDeathTest, CredentialsAreQueriedForAUser )
{
    check( STATE_REQUEST_USER_CREDENTIALS,
           { noInitialChallenge,
             noSessionState,
             { "sipauth___SessionStateHasClientUser( imp->intSessionState )",
               []( Imp *imp ) { sipauth___SessionStateDelClientUser( imp->intSessionState.inout() ); } },
             noChallenge,
             noAuthenticate,
             lookup } );
}

TEST_F( ClientCotransPreconditionsDeathTest, AStateIsSetUpWithCredentialsOnce )
{
    check( STATE_REQUEST_SETUP,
           { noInitialChallenge,
             noSessionState,
             { "!sipauth___SessionStateHasClientScheme( imp->intSessionState )", []( Imp *imp )
               { sipauth___SessionStateSetClientScheme( imp->intSessionState.inout(), SIPAUTH_SCHEME_BASIC ); } },
             { "sipauth___SessionStateHasClientCredentials( imp->intSessionState )",
               []( Imp *imp ) { sipauth___SessionStateDelClientCredentials( imp->intSessionState.inout() ); } },
             noChallenge,
             noAuthenticate,
             lookup,
             query } );
}

TEST_F( ClientCotransPreconditionsDeathTest, AResponseIsThere )
{
    check( STATE_RESPONSE,
           { { "pbVectorLength( imp->inResponses )", []( Imp *imp ) { pbVectorClear( imp->inResponses.inout() ); } },
             { "imp->intState == STATE_RESPONSE", []( Imp *imp ) { imp->intState = STATE_IDLE; } },
             sessionState,
             challengeLeft,
             authenticate,
             lookup,
             query } );
}

TEST_F( ClientCotransPreconditionsDeathTest, ACancelIsThereAndNoneIsOut )
{
    check( STATE_CANCEL, { { "imp->inCancel", []( Imp *imp ) { imp->inCancel.clear(); } },
                           { "!imp->outCancel", []( Imp *imp ) { imp->outCancel = request( "CANCEL" ); } },
                           sessionState,
                           challengeLeft,
                           authenticate,
                           lookup,
                           query } );
}

TEST_F( ClientCotransPreconditionsDeathTest, AnAckIsThereAndNoneIsOut )
{
    check( STATE_ACK, { { "imp->inAck", []( Imp *imp ) { imp->inAck.clear(); } },
                        { "!imp->outAck", []( Imp *imp ) { imp->outAck = request( "ACK" ); } },
                        sessionState,
                        challengeLeft,
                        authenticate,
                        lookup,
                        query } );
}

TEST_F( ClientCotransPreconditionsDeathTest, TheStateWasGivenBackAtTheEnd )
{
    check( STATE_ERROR, { sessionState } );
    check( STATE_END, { sessionState } );
}
