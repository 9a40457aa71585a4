// Processes: one atomic word says what a process is about, and its changes decide who queues the process, who runs it
// and who lets its object go.
#include "pb/pb_process_private.h"

#include "pb/pb_private.h"
#include "pb/pb_process_object.h"
#include "pb/pb_scheduler_private.h"
#include "pb/pb_type.h"

PB_TYPE( pbProcess, PB_PROCESS, pb, pb___ProcessFreeFunc, nullptr );

static void pb___ProcessFreeFunc( pbObj *obj )
{
    pbProcess *process = pbProcessFrom( obj );
    PB_ASSERT( process );
    process->owner.poison();
    process->drive->release();
}

using namespace pb::processState;

static pb::Ref<pbProcess> create( const char *name )
{
    pb::Drive *scheduler = pb::currentDrive();
    PB_ASSERT( scheduler );
    auto process = pb::create<pbProcess>( &pb___sort_PB_PROCESS );
    process->drive = scheduler;
    process->name = name;
    return process;
}

bool pb::runProcess( pbProcess *process )
{
    // Scheduled ends and running begins in one step.
    if( process->state.fetch_add( running - scheduled, std::memory_order_acq_rel ) & halted )
    {
        release( process->object );
        return false;
    }
    if( process->ownerFunc )
        process->ownerFunc( process->owner );
    else
        process->contextFunc( process->context );
    uint32_t before = process->state.fetch_sub( running, std::memory_order_acq_rel );
    if( before & halted )
        process->owner.clear();
    if( ( before & ( halted | scheduled ) ) == scheduled )
        process->drive->ready( process );
    else
        release( process->object );
    return true;
}

pbProcess *pbProcessCreate( void ( *func )( void *context ), void *context, const char *name )
{
    PB_ASSERT( func );
    PB_ASSERT( name );
    auto process = create( name );
    process->contextFunc = func;
    process->context = context;
    return process.give();
}

pbProcess *pb___ProcessCreate( int64_t flags, void ( *func )( pbObj *obj ), pbObj *obj, const char *name )
{
    PB_ASSERT( flags == 0 );
    PB_ASSERT( func );
    PB_ASSERT( obj );
    PB_ASSERT( name );
    auto process = create( name );
    process->ownerFunc = func;
    process->owner = pb::share( obj );
    return process.give();
}

const char *pbProcessName( pbProcess *process )
{
    PB_ASSERT( process );
    return process->name;
}

void pbProcessSchedule( pbProcess *process )
{
    PB_ASSERT( process );
    if( !pb::requestRun( process ) )
        return;
    pb::retain( process->object );
    process->drive->ready( process );
}

void pbProcessHalt( pbProcess *process )
{
    PB_ASSERT( process );
    uint32_t before = process->state.fetch_or( halted, std::memory_order_acq_rel );
    // A run in progress lets the object go at its end.
    if( !( before & ( halted | running ) ) )
        process->owner.clear();
}

pbBool pbProcessHalted( pbProcess *process )
{
    PB_ASSERT( process );
    return process->state.load( std::memory_order_acquire ) & halted ? 1 : 0;
}
