// Processes: when they run, when not, and what they keep alive.
#include "pb/drives.h"
#include "support/abort.h"
#include "support/text.h"

#include "pb/pb_process_object.h"

#include <pb/pb_buffer.h>

namespace
{

using drives::Counter;
using drives::Hosted;
using pb::own;

TEST( Process, HasANameAndStandardFunctions )
{
    Hosted hosted;
    auto process = own( pbProcessCreate( []( void * ) {}, nullptr, "sipauth___ProcessFunc" ) );
    EXPECT_STREQ( pbProcessName( process ), "sipauth___ProcessFunc" );
    EXPECT_EQ( pbProcessFrom( pbProcessObj( process ) ), process.get() );
    EXPECT_EQ( pbObjSort( pbProcessObj( process ) ), pbProcessSort() );
    EXPECT_EQ( support::text( own( pbProcessToString( process ) ) ), "PB_PROCESS" );
    EXPECT_TRUE( pbProcessEquals( process, process ) );
    EXPECT_EQ( pbProcessCompare( process, process ), 0 );
    pbProcessRelease( pbProcessRetain( process ) );
}

TEST( Process, RunsOnceWhenScheduled )
{
    Hosted hosted;
    Counter counter;
    EXPECT_EQ( hosted.run(), 0 );
    pbProcessSchedule( counter );
    EXPECT_EQ( counter.runs(), 0 );
    EXPECT_EQ( hosted.run(), 1 );
    EXPECT_EQ( counter.runs(), 1 );
    EXPECT_EQ( hosted.run(), 0 );
}

TEST( Process, TakesSeveralRequestsBeforeARunAsOne )
{
    Hosted hosted;
    Counter counter;
    for( int index = 0; index < 5; index++ )
        pbProcessSchedule( counter );
    EXPECT_EQ( hosted.run(), 1 );
    pbProcessSchedule( counter );
    EXPECT_EQ( hosted.run(), 1 );
}

TEST( Process, RunsOnceMoreAfterRequestsDuringARun )
{
    Hosted hosted;
    Counter *self = nullptr;
    Counter counter(
        [&]
        {
            if( self->runs() > 1 )
                return;
            pbProcessSchedule( *self );
            pbProcessSchedule( *self );
            EXPECT_EQ( self->runs(), 1 ) << "it runs within its run";
        } );
    self = &counter;
    pbProcessSchedule( counter );
    EXPECT_EQ( hosted.run(), 2 );
    EXPECT_EQ( counter.runs(), 2 );
}

TEST( Process, NeverRunsAfterItWasHalted )
{
    Hosted hosted;
    Counter counter;
    EXPECT_FALSE( pbProcessHalted( counter ) );
    pbProcessHalt( counter );
    EXPECT_TRUE( pbProcessHalted( counter ) );
    pbProcessSchedule( counter );
    hosted.run();
    EXPECT_EQ( counter.runs(), 0 );
    pbProcessHalt( counter );
    EXPECT_TRUE( pbProcessHalted( counter ) );
}

TEST( Process, NeverRunsWhenHaltedWhileScheduled )
{
    Hosted hosted;
    Counter counter;
    pbProcessSchedule( counter );
    pbProcessHalt( counter );
    hosted.run();
    EXPECT_EQ( counter.runs(), 0 );
    pbProcessSchedule( counter );
    hosted.run();
    EXPECT_EQ( counter.runs(), 0 );
}

TEST( Process, FinishesTheRunInWhichItIsHalted )
{
    Hosted hosted;
    bool finished = false;
    Counter *self = nullptr;
    Counter counter(
        [&]
        {
            pbProcessSchedule( *self );
            pbProcessHalt( *self );
            pbProcessSchedule( *self );
            finished = true;
        } );
    self = &counter;
    pbProcessSchedule( counter );
    EXPECT_EQ( hosted.run(), 1 );
    EXPECT_TRUE( finished );
    EXPECT_EQ( counter.runs(), 1 );
}

TEST( Process, RunsThoughReleasedWhileScheduled )
{
    Hosted hosted;
    int64_t runs = 0;
    auto process = own( pbProcessCreate( []( void *context ) { ++*static_cast<int64_t *>( context ); }, &runs, "p" ) );
    pbProcessSchedule( process );
    process.clear();
    EXPECT_EQ( pbSortLiveObjects( pbProcessSort() ), 1 );
    hosted.run();
    EXPECT_EQ( runs, 1 );
    EXPECT_EQ( pbSortLiveObjects( pbProcessSort() ), 0 );
}

// An object with a process of its own, as libraries have them: a buffer stands for it.
int64_t objectRuns;

void runObject( pbObj *obj )
{
    EXPECT_EQ( support::bytes( pbBufferFrom( obj ) ), "object" );
    objectRuns++;
}

TEST( Process, KeepsItsObjectUntilItIsHalted )
{
    Hosted hosted;
    objectRuns = 0;
    auto object = support::buffer( "object" );
    auto process = own( pb___ProcessCreate( 0, runObject, pbBufferObj( object ), "runObject" ) );
    object.clear();
    pbProcessSchedule( process );
    hosted.run();
    EXPECT_EQ( objectRuns, 1 );
    EXPECT_EQ( pbSortLiveObjects( pbBufferSort() ), 1 );
    pbProcessHalt( process );
    EXPECT_EQ( pbSortLiveObjects( pbBufferSort() ), 0 );
    pbProcessHalt( process );
}

TEST( Process, LetsItsObjectGoOnceWhenHaltedWhileScheduled )
{
    Hosted hosted;
    objectRuns = 0;
    auto object = support::buffer( "object" );
    auto process = own( pb___ProcessCreate( 0, runObject, pbBufferObj( object ), "runObject" ) );
    pbProcessSchedule( process );
    pbProcessHalt( process );
    EXPECT_EQ( hosted.run(), 0 );
    EXPECT_EQ( objectRuns, 0 );
    EXPECT_EQ( support::bytes( object ), "object" );
}

TEST( Process, LetsItsObjectGoWhenNeverHalted )
{
    Hosted hosted;
    auto object = support::buffer( "object" );
    auto process = own( pb___ProcessCreate( 0, runObject, pbBufferObj( object ), "runObject" ) );
    object.clear();
    process.clear();
    EXPECT_EQ( pbSortLiveObjects( pbBufferSort() ), 0 );
}

pbProcess *endingProcess;

void haltInRun( pbObj *obj )
{
    pbProcessHalt( endingProcess );
    EXPECT_EQ( support::bytes( pbBufferFrom( obj ) ), "object" ) << "the object ends within the run";
    objectRuns++;
}

TEST( Process, LetsItsObjectGoAfterTheRunThatHaltsIt )
{
    Hosted hosted;
    objectRuns = 0;
    auto object = support::buffer( "object" );
    auto process = own( pb___ProcessCreate( 0, haltInRun, pbBufferObj( object ), "haltInRun" ) );
    endingProcess = process;
    object.clear();
    pbProcessSchedule( process );
    hosted.run();
    EXPECT_EQ( objectRuns, 1 );
    EXPECT_EQ( pbSortLiveObjects( pbBufferSort() ), 0 );
}

TEST( Process, EndsAfterTheRunThatReleasesItsLastReference )
{
    Hosted hosted;
    struct Last
    {
        pb::Ref<pbProcess> process;
        bool alive;
    } last = {};
    auto run = []( void *context )
    {
        auto it = static_cast<Last *>( context );
        it->process.clear();
        it->alive = pbSortLiveObjects( pbProcessSort() ) == 1;
    };
    last.process = own( pbProcessCreate( run, &last, "run" ) );
    pbProcessSchedule( last.process );
    hosted.run();
    EXPECT_TRUE( last.alive );
    EXPECT_EQ( pbSortLiveObjects( pbProcessSort() ), 0 );
}

TEST( Process, DoesNothingOnceItsSchedulerHasGone )
{
    auto hosted = std::make_unique<Hosted>();
    auto object = support::buffer( "object" );
    auto process = own( pb___ProcessCreate( 0, runObject, pbBufferObj( object ), "runObject" ) );
    Counter counter;
    hosted.reset();
    objectRuns = 0;
    pbProcessSchedule( process );
    pbProcessSchedule( process );
    pbProcessSchedule( counter );
    EXPECT_EQ( objectRuns, 0 );
    EXPECT_FALSE( pbProcessHalted( process ) );
    pbProcessHalt( process );
    EXPECT_EQ( counter.runs(), 0 );
}

TEST( ProcessDeathTest, NeedsACurrentScheduler )
{
    EXPECT_ABORT( pbProcessCreate( []( void * ) {}, nullptr, "p" ), "source/pb/pb_process", "scheduler" );
    auto object = support::buffer( "object" );
    EXPECT_ABORT( pb___ProcessCreate( 0, runObject, pbBufferObj( object ), "p" ), "source/pb/pb_process",
                  "scheduler" );
}

TEST( ProcessDeathTest, RefusesWhatIsMissing )
{
    Hosted hosted;
    auto object = support::buffer( "object" );
    const char *path = "source/pb/pb_process";
    EXPECT_ABORT( pbProcessCreate( nullptr, nullptr, "p" ), path, "func" );
    EXPECT_ABORT( pbProcessCreate( []( void * ) {}, nullptr, nullptr ), path, "name" );
    EXPECT_ABORT( pb___ProcessCreate( 1, runObject, pbBufferObj( object ), "p" ), path, "flags == 0" );
    EXPECT_ABORT( pb___ProcessCreate( 0, nullptr, pbBufferObj( object ), "p" ), path, "func" );
    EXPECT_ABORT( pb___ProcessCreate( 0, runObject, nullptr, "p" ), path, "obj" );
    EXPECT_ABORT( pb___ProcessCreate( 0, runObject, pbBufferObj( object ), nullptr ), path, "name" );
    EXPECT_ABORT( pbProcessName( nullptr ), path, "process" );
    EXPECT_ABORT( pbProcessSchedule( nullptr ), path, "process" );
    EXPECT_ABORT( pbProcessHalt( nullptr ), path, "process" );
    EXPECT_ABORT( pbProcessHalted( nullptr ), path, "process" );
}

} // namespace
