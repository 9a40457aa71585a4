// The module record of the user directory.
#include "usr/usr_private.h"

#include "pb/pb_module_private.h"

#include <cs/cs_object_record.h>
#include <tr/tr_stream.h>
#include <usr/usr_reference.h>

static constexpr pb___ModuleRecord record = { "usr", "User Directory", "4.2", "cs pb tr" };
static const pbModule *( *const needs[] )() = { csModule, pbBaseModule, trModule, nullptr };
static int64_t starts = 0;

constinit const pbModule usr___module = { &record, needs, nullptr, nullptr, &starts };

const pbModule *usrModule()
{
    return &usr___module;
}
