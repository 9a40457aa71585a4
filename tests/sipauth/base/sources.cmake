# The module itself, and what its state machines share.
list( APPEND sipauth_test_sources
    base/sipauth_machine_test.cc
    base/sipauth_module_test.cc
    base/sipauth_null_test.cc
    base/sipauth_scheme_test.cc )

# The grammar and the header values.
list( APPEND sipauth_test_sources
    base/sipauth_authenticate_test.cc
    base/sipauth_authorization_test.cc
    base/sipauth_challenge_test.cc
    base/sipauth_char_test.cc
    base/sipauth_quotable_string_test.cc
    base/sipauth_skip_test.cc
    base/sipauth_token_test.cc
    base/sipauth_value_test.cc )

# Configuration.
list( APPEND sipauth_test_sources
    base/sipauth_credentials_test.cc
    base/sipauth_defaults_test.cc
    base/sipauth_options_test.cc )
