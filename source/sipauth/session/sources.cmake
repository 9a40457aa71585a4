# Sessions.
list( APPEND sipauth_sources
    session/sipauth_session_flags.cc )
