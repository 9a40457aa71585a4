// The module record of the trace service.
#include "tr/tr_private.h"

#include "pb/pb_module_private.h"

#include <tr/tr_stream.h>

static constexpr pb___ModuleRecord record = { "tr", "Trace", "4.2", "pb" };
static const pbModule *( *const needs[] )() = { pbBaseModule, nullptr };
static int64_t starts = 0;

constinit const pbModule tr___module = { &record, needs, nullptr, nullptr, &starts };

const pbModule *trModule()
{
    return &tr___module;
}
