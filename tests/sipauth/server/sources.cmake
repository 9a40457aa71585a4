# The server side.
list( APPEND sipauth_test_sources
    server/sipauth_server_challenge_test.cc
    server/sipauth_server_db_random_test.cc
    server/sipauth_server_db_record_test.cc
    server/sipauth_server_db_test.cc )

# Co-transactions.
list( APPEND sipauth_test_sources
    server/sipauth_server_cotrans_test.cc
    server/sipauth_server_cotrans_imp_test.cc
    server/sipauth_server_cotrans_imp_challenge_test.cc
    server/sipauth_server_cotrans_imp_check_test.cc
    server/sipauth_server_cotrans_imp_steps_test.cc
    server/sipauth_server_cotrans_session_test.cc )
