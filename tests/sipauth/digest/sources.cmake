# Digest authentication.
list( APPEND sipauth_test_sources
    digest/sipauth_digest_algorithm_test.cc
    digest/sipauth_digest_filter_test.cc
    digest/sipauth_digest_qop_test.cc
    digest/sipauth_digest_random_test.cc
    digest/sipauth_digest_state_test.cc
    digest/sipauth_digest_state_authorization_test.cc
    digest/sipauth_digest_state_challenges_test.cc
    digest/sipauth_digest_state_response_test.cc )
