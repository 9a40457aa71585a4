# Stacks.
list( APPEND sipauth_test_sources
    stack/sipauth_stack_cs_test.cc
    stack/sipauth_stack_expiry_test.cc
    stack/sipauth_stack_imp_test.cc
    stack/sipauth_stack_test.cc )
