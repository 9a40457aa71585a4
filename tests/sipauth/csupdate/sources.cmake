# Updates of stored configurations.
list( APPEND sipauth_test_sources
    csupdate/sipauth_csupdate_20160512_test.cc )
