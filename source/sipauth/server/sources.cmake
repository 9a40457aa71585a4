# The server side.
list( APPEND sipauth_sources
    server/sipauth_server_challenge.cc
    server/sipauth_server_db.cc
    server/sipauth_server_db_record.cc )
