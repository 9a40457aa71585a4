// The module record of the user directory.
#include "usr/usr_private.h"

#include "pb/pb_module_private.h"
#include "usr/usr_directory_private.h"

#include <cs/cs_object_record.h>
#include <rfc/rfc_base.h>
#include <tr/tr_stream.h>
#include <usr/usr_reference.h>

static constexpr pb___ModuleRecord record = { "usr", "User Directory", "4.2", "cs pb rfc tr" };
static const pbModule *( *const needs[] )() = { csModule, pbBaseModule, rfcModule, trModule, nullptr };
static int64_t starts = 0;

static pbBool usr___ModuleStartup()
{
    usr___DirectoryStartup();
    return 1;
}

static void usr___ModuleShutdown()
{
    usr___DirectoryShutdown();
}

constinit const pbModule usr___module = { &record, needs, usr___ModuleStartup, usr___ModuleShutdown, &starts };

const pbModule *usrModule()
{
    return &usr___module;
}
