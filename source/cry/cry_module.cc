// The module: its record. It needs no start-up work.
#include "cry/cry_private.h"
#include "pb/pb_module_private.h"

#include <cry/cry_hash.h>

static constexpr pb___ModuleRecord record = { "cry", "Cryptography", "4.2", "pb" };
static constexpr const pbModule *( *needs[] )() = { pbBaseModule, nullptr };
static int64_t starts = 0;

constinit const pbModule cry___module = { &record, needs, nullptr, nullptr, &starts };

const pbModule *cryModule()
{
    return &cry___module;
}
