# User directories.
list( APPEND sipauth_test_sources
    usr/sipauth_usr_lookup_arguments_test.cc
    usr/sipauth_usr_lookup_test.cc
    usr/sipauth_usr_query_credentials_test.cc )
