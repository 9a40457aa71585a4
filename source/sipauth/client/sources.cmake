# The client's side of a transaction.
list( APPEND sipauth_sources
    client/sipauth_client_cotrans.cc
    client/sipauth_client_cotrans_imp.cc
    client/sipauth_client_cotrans_imp_authorize.cc
    client/sipauth_client_cotrans_imp_steps.cc )
