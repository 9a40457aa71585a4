# The client's side of a transaction.
list( APPEND sipauth_test_sources
    client/seam.cc
    client/sipauth_client_cotrans_test.cc
    client/sipauth_client_cotrans_imp_test.cc
    client/sipauth_client_cotrans_imp_authorize_test.cc
    client/sipauth_client_cotrans_imp_preconditions_test.cc
    client/sipauth_client_cotrans_imp_steps_test.cc
    client/sipauth_client_cotrans_session_test.cc
    client/sipauth_client_cotrans_threads_test.cc )
