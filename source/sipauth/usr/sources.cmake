# User directories.
list( APPEND sipauth_sources
    usr/sipauth_usr_lookup.cc
    usr/sipauth_usr_lookup_arguments.cc
    usr/sipauth_usr_query_credentials.cc )
