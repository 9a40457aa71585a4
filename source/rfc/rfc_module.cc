// The module: its record. It needs no start-up work.
#include "pb/pb_module_private.h"
#include "rfc/rfc_private.h"

#include <rfc/rfc_base_options.h>

static constexpr pb___ModuleRecord record = { "rfc", "RFC Encodings", "4.2", "pb" };
static constexpr const pbModule *( *needs[] )() = { pbBaseModule, nullptr };
static int64_t starts = 0;

constinit const pbModule rfc___module = { &record, needs, nullptr, nullptr, &starts };

const pbModule *rfcModule()
{
    return &rfc___module;
}
