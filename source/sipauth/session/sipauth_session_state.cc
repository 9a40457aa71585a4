// The state of a session.
#include "sipauth/session/sipauth_session_state_private.h"

#include "pb/pb_type.h"
#include "sipauth/sipauth_private.h"

#include <sipauth/sipauth_scheme.h>

namespace
{

// What a scheme is as long as there is none.
constexpr int64_t none = -1;

} // namespace

struct sipauth___SessionState
{
    pb::Object object;
    pbBool error;
    pb::Field<usrUser> clientUser;
    pb::Field<sipauthCredentials> clientCredentials;
    int64_t clientScheme; ///< -1 for none
    pb::Field<sipauthDigestState> clientDigest;
    pb::Field<usrUser> serverUser;
    pb::Field<sipauthCredentials> serverCredentials;
    int64_t serverScheme; ///< -1 for none
    pb::Field<sipauthDigestState> serverDigest;
    pb::Field<sipauthAuthorization> serverPreviousAuthorization;
};

PB_TYPE( sipauth___SessionState, SIPAUTH___SESSION_STATE, sipauth, sipauth___SessionStateFreeFunc, nullptr );
PB_FIELD_BOOL( sipauth___SessionState, state, Error, error );
PB_FIELD_OBJECT( sipauth___SessionState, state, ClientUser, clientUser, usrUser, user, user );
PB_FIELD_OBJECT( sipauth___SessionState, state, ClientCredentials, clientCredentials, sipauthCredentials, credentials,
                 credentials );
PB_FIELD_ENUM( sipauth___SessionState, state, ClientScheme, clientScheme, scheme, SIPAUTH_SCHEME_OK( scheme ) );
PB_FIELD_OBJECT( sipauth___SessionState, state, ClientDigest, clientDigest, sipauthDigestState, digestState,
                 digestState );
PB_FIELD_OBJECT( sipauth___SessionState, state, ServerUser, serverUser, usrUser, user, user );
PB_FIELD_OBJECT( sipauth___SessionState, state, ServerCredentials, serverCredentials, sipauthCredentials, credentials,
                 credentials );
PB_FIELD_ENUM( sipauth___SessionState, state, ServerScheme, serverScheme, scheme, SIPAUTH_SCHEME_OK( scheme ) );
PB_FIELD_OBJECT( sipauth___SessionState, state, ServerDigest, serverDigest, sipauthDigestState, digestState,
                 digestState );
PB_FIELD_OBJECT( sipauth___SessionState, state, ServerPreviousAuthorization, serverPreviousAuthorization,
                 sipauthAuthorization, authorization, authorization );

sipauth___SessionState *sipauth___SessionStateCreate()
{
    auto state = pb::create<sipauth___SessionState>( sipauth___SessionStateSort() );
    state->clientScheme = none;
    state->serverScheme = none;
    return state.give();
}

sipauth___SessionState *sipauth___SessionStateCreateFrom( sipauth___SessionState *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

static void sipauth___SessionStateFreeFunc( pbObj *obj )
{
    sipauth___SessionState *state = sipauth___SessionStateFrom( obj );
    PB_ASSERT( state );
    pb::poison( state->clientUser, state->clientCredentials, state->clientDigest, state->serverUser,
                state->serverCredentials, state->serverDigest, state->serverPreviousAuthorization );
}

pbBool sipauth___SessionStateHasClientScheme( sipauth___SessionState *state )
{
    PB_ASSERT( state );
    return state->clientScheme != none;
}

void sipauth___SessionStateDelClientScheme( sipauth___SessionState **state )
{
    PB_ASSERT( state );
    PB_ASSERT( *state );
    pb::mutate( state )->clientScheme = none;
}

pbBool sipauth___SessionStateHasServerScheme( sipauth___SessionState *state )
{
    PB_ASSERT( state );
    return state->serverScheme != none;
}

void sipauth___SessionStateDelServerScheme( sipauth___SessionState **state )
{
    PB_ASSERT( state );
    PB_ASSERT( *state );
    pb::mutate( state )->serverScheme = none;
}
