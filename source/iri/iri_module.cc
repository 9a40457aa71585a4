// The module: its record. It needs no start-up work.
#include "iri/iri_private.h"
#include "pb/pb_module_private.h"

#include <iri/iri_gens.h>

static constexpr pb___ModuleRecord record = { "iri", "Internationalized Resource Identifiers", "4.2", "pb" };
static constexpr const pbModule *( *needs[] )() = { pbBaseModule, nullptr };
static int64_t starts = 0;

constinit const pbModule iri___module = { &record, needs, nullptr, nullptr, &starts };

const pbModule *iriModule()
{
    return &iri___module;
}
