// The module of SIP message syntax.
#include "sipsn/sipsn_private.h"

#include "pb/pb_module_private.h"

#include <iri/iri_gens.h>
#include <sipsn/sipsn_message.h>
#include <tr/tr_stream.h>

static constexpr pb___ModuleRecord record = { "sipsn", "SIP Message Syntax", "4.2", "iri pb tr" };
static constexpr const pbModule *( *needs[] )() = { iriModule, pbBaseModule, trModule, nullptr };
static int64_t starts = 0;

constinit const pbModule sipsn___module = { &record, needs, nullptr, nullptr, &starts };

const pbModule *sipsnModule()
{
    return &sipsn___module;
}
