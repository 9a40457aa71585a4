// The module record of the configuration service.
#include "cs/cs_private.h"

#include "cs/cs_object_private.h"
#include "pb/pb_module_private.h"

#include <cs/cs_object_record.h>
#include <tr/tr_stream.h>

static constexpr pb___ModuleRecord record = { "cs", "Configuration Service", "4.2", "pb tr" };
static const pbModule *( *const needs[] )() = { pbBaseModule, trModule, nullptr };
static int64_t starts = 0;

constinit const pbModule cs___module = { &record, needs, nullptr, cs::clearObjects, &starts };

const pbModule *csModule()
{
    return &cs___module;
}
