# The server side.
list( APPEND sipauth_test_sources
    server/sipauth_server_challenge_test.cc
    server/sipauth_server_db_random_test.cc
    server/sipauth_server_db_record_test.cc
    server/sipauth_server_db_test.cc )
