# Updates of stored configurations.
list( APPEND sipauth_sources
    csupdate/sipauth_csupdate_20160512.cc )
