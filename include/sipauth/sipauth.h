// SIP Authentication, all of it.
#ifndef SIPAUTH_SIPAUTH_H
#define SIPAUTH_SIPAUTH_H

#include <sipauth/sipauth_authenticate.h>
#include <sipauth/sipauth_authorization.h>
#include <sipauth/sipauth_challenge.h>
#include <sipauth/sipauth_client_cotrans.h>
#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_defaults.h>
#include <sipauth/sipauth_digest_algorithm.h>
#include <sipauth/sipauth_digest_qop.h>
#include <sipauth/sipauth_digest_state.h>
#include <sipauth/sipauth_module.h>
#include <sipauth/sipauth_options.h>
#include <sipauth/sipauth_scheme.h>
#include <sipauth/sipauth_server_challenge.h>
#include <sipauth/sipauth_server_cotrans.h>
#include <sipauth/sipauth_session.h>
#include <sipauth/sipauth_session_flags.h>
#include <sipauth/sipauth_stack.h>
#include <sipauth/sipauth_usr_lookup.h>
#include <sipauth/sipauth_usr_lookup_arguments.h>
#include <sipauth/sipauth_usr_query_credentials.h>
#include <sipauth/sipauth_value.h>

#endif
