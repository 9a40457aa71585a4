// Modules: counted starts and stops, needed modules first.
#include "pb/pb_assert.h"
#include "pb/pb_module_private.h"
#include "pb/pb_private.h"

static constexpr pb___ModuleRecord record = { "pb", "Base Runtime", "4.2", "" };
static int64_t starts = 0;

constinit const pbModule pb___module = { &record, nullptr, nullptr, nullptr, &starts };

namespace
{

// Stops the needed modules of MODULE before the one at END, the last first.
void stopNeeds( const pbModule *module, int64_t end )
{
    while( end > 0 )
        pbModuleStop( module->needs[--end]() );
}

int64_t startNeeds( const pbModule *module, bool &ok )
{
    int64_t index = 0;
    for( ok = true; module->needs && module->needs[index]; index++ )
    {
        if( !pbModuleStart( module->needs[index]() ) )
        {
            ok = false;
            break;
        }
    }
    return index;
}

} // namespace

pbBool pbModuleStart( const pbModule *module )
{
    PB_ASSERT( module );
    if( *module->starts > 0 )
    {
        ++*module->starts;
        return 1;
    }
    bool ok = false;
    int64_t started = startNeeds( module, ok );
    if( !ok || ( module->startup && !module->startup() ) )
    {
        stopNeeds( module, started );
        return 0;
    }
    *module->starts = 1;
    return 1;
}

void pbModuleStop( const pbModule *module )
{
    PB_ASSERT( module );
    PB_ASSERT( *module->starts > 0 );
    if( --*module->starts > 0 )
        return;
    if( module->shutdown )
        module->shutdown();
    int64_t length = 0;
    while( module->needs && module->needs[length] )
        length++;
    stopNeeds( module, length );
}

const char *pbModuleName( const pbModule *module )
{
    PB_ASSERT( module );
    return module->record->name;
}

const char *pbModuleTitle( const pbModule *module )
{
    PB_ASSERT( module );
    return module->record->title;
}

const char *pbModuleVersionText( const pbModule *module )
{
    PB_ASSERT( module );
    return module->record->version;
}

const char *pbModuleNeeds( const pbModule *module )
{
    PB_ASSERT( module );
    return module->record->needs;
}

const pbModule *pbBaseModule()
{
    return &pb___module;
}
