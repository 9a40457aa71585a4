# Digest authentication.
list( APPEND sipauth_sources
    digest/sipauth_digest_algorithm.cc
    digest/sipauth_digest_filter.cc
    digest/sipauth_digest_qop.cc
    digest/sipauth_digest_random.cc
    digest/sipauth_digest_state.cc
    digest/sipauth_digest_state_authorization.cc
    digest/sipauth_digest_state_challenges.cc
    digest/sipauth_digest_state_response.cc )
