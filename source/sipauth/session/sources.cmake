# Sessions.
list( APPEND sipauth_sources
    session/sipauth_session.cc
    session/sipauth_session_flags.cc
    session/sipauth_session_state.cc )
