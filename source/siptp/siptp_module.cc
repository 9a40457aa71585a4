// The module of what happens to SIP messages on their way to the network. It needs no start-up work.
#include "siptp/siptp_private.h"

#include "pb/pb_module_private.h"

#include <iri/iri_gens.h>
#include <siptp/siptp_send_filter.h>
#include <tr/tr_stream.h>

static constexpr pb___ModuleRecord record = { "siptp", "SIP Transport", "4.2", "iri pb sipsn tr" };
static constexpr const pbModule *( *needs[] )() = { iriModule, pbBaseModule, sipsnModule, trModule, nullptr };
static int64_t starts = 0;

constinit const pbModule siptp___module = { &record, needs, nullptr, nullptr, &starts };

const pbModule *siptpModule()
{
    return &siptp___module;
}
