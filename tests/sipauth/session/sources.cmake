# Sessions.
list( APPEND sipauth_test_sources
    session/sipauth_session_flags_test.cc
    session/sipauth_session_handover_test.cc
    session/sipauth_session_state_test.cc
    session/sipauth_session_test.cc )
