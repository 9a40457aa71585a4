# Sessions.
list( APPEND sipauth_test_sources
    session/sipauth_session_flags_test.cc )
