# The module itself.
list( APPEND sipauth_sources
    base/sipauth_module.cc
    base/sipauth_scheme.cc )

# The grammar and the header values.
list( APPEND sipauth_sources
    base/sipauth_authenticate.cc
    base/sipauth_authorization.cc
    base/sipauth_challenge.cc
    base/sipauth_char.cc
    base/sipauth_quotable_string.cc
    base/sipauth_skip.cc
    base/sipauth_token.cc
    base/sipauth_value.cc )

# Configuration.
list( APPEND sipauth_sources
    base/sipauth_credentials.cc
    base/sipauth_defaults.cc
    base/sipauth_options.cc )
