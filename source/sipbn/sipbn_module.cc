// The module of what every SIP element does with requests. It needs no start-up work.
#include "sipbn/sipbn_private.h"

#include "pb/pb_module_private.h"

#include <iri/iri_gens.h>
#include <sipbn/sipbn_method.h>
#include <tr/tr_stream.h>

static constexpr pb___ModuleRecord record = { "sipbn", "SIP Base", "4.2", "iri pb sipsn tr" };
static constexpr const pbModule *( *needs[] )() = { iriModule, pbBaseModule, sipsnModule, trModule, nullptr };
static int64_t starts = 0;

constinit const pbModule sipbn___module = { &record, needs, nullptr, nullptr, &starts };

const pbModule *sipbnModule()
{
    return &sipbn___module;
}
