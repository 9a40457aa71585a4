# The server side.
list( APPEND sipauth_sources
    server/sipauth_server_challenge.cc
    server/sipauth_server_db.cc
    server/sipauth_server_db_record.cc )

# Co-transactions.
list( APPEND sipauth_sources
    server/sipauth_server_cotrans.cc
    server/sipauth_server_cotrans_imp.cc
    server/sipauth_server_cotrans_imp_challenge.cc
    server/sipauth_server_cotrans_imp_check.cc
    server/sipauth_server_cotrans_imp_steps.cc )
