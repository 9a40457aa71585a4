// The module record of the host library.
#include "host/host_private.h"

#include "pb/pb_module_private.h"

#include <host/host_module.h>
#include <sipauth/sipauth_module.h>
#include <sipbn/sipbn_method.h>
#include <sipsn/sipsn_message.h>
#include <siptp/siptp_send_filter.h>
#include <tr/tr_stream.h>
#include <usr/usr_reference.h>

static constexpr pb___ModuleRecord record = { "host", "SIP Host", "4.2", "pb sipauth sipbn sipsn siptp tr usr" };
static constexpr const pbModule *( *needs[] )() = { pbBaseModule, sipauthModule, sipbnModule, sipsnModule,
                                                    siptpModule,  trModule,      usrModule,   nullptr };
static int64_t starts = 0;

constinit const pbModule host___module = { &record, needs, nullptr, nullptr, &starts };

const pbModule *hostModule()
{
    return &host___module;
}
