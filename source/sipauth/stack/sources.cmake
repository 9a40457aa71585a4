# Stacks.
list( APPEND sipauth_sources
    stack/sipauth_stack.cc
    stack/sipauth_stack_cs.cc
    stack/sipauth_stack_imp.cc )
