// The library as a module of the runtime.
#include "sipauth/base/sipauth_module_private.h"

#include "pb/pb_module_private.h"
#include "sipauth/base/sipauth_defaults_private.h"
#include "sipauth/base/sipauth_scheme_private.h"
#include "sipauth/csupdate/sipauth_csupdate_20160512_private.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"
#include "sipauth/session/sipauth_session_flags_private.h"
#include "sipauth/sipauth_private.h"
#include "sipauth/stack/sipauth_stack_cs_private.h"

#include <cry/cry_hash.h>
#include <cs/cs_object_record.h>
#include <iri/iri_gens.h>
#include <rfc/rfc_base.h>
#include <sipauth/sipauth_module.h>
#include <sipbn/sipbn_method.h>
#include <sipsn/sipsn_message.h>
#include <siptp/siptp_send_filter.h>
#include <tr/tr_stream.h>
#include <usr/usr_reference.h>

static constexpr pb___ModuleRecord record = { "sipauth", "SIP Authentication", "4.2",
                                              "cry cs iri pb rfc sipbn sipsn siptp tr usr" };
static const pbModule *( *const needs[] )() = { cryModule,   csModule,    iriModule, rfcModule, sipbnModule,
                                                sipsnModule, siptpModule, trModule,  usrModule, nullptr };
static int64_t starts = 0;

constinit const pbModule sipauth___module = { &record, needs, sipauth___ModuleStartup, sipauth___ModuleShutdown,
                                              &starts };

const pbModule *sipauthModule()
{
    return &sipauth___module;
}

pbBool sipauth___ModuleStartup()
{
    sipauth___DefaultsStartup();
    sipauth___SchemeStartup();
    sipauth___DigestAlgorithmStartup();
    sipauth___DigestQopStartup();
    sipauth___SessionFlagsStartup();
    sipauth___StackCsStartup();
    sipauth___Csupdate20160512Startup();
    return 1;
}

void sipauth___ModuleShutdown()
{
    sipauth___Csupdate20160512Shutdown();
    sipauth___StackCsShutdown();
    sipauth___SessionFlagsShutdown();
    sipauth___DigestQopShutdown();
    sipauth___DigestAlgorithmShutdown();
    sipauth___SchemeShutdown();
    sipauth___DefaultsShutdown();
}
