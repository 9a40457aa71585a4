// Observers.
#include "cs_support.h"
#include "support/abort.h"

#include <cs/cs_object_observer.h>
#include <cs/cs_object_record.h>

#include <atomic>
#include <thread>
#include <vector>

namespace
{

using namespace cs_support;
using Observer = pb::Ref<csObjectObserver>;

Observer observerOf( const char *name, pbObj *object = nullptr )
{
    Observer observer = own( csObjectObserverCreateWithRequiredSort( pbStringSort() ) );
    csObjectObserverConfigure( observer, name ? string( name ) : nullptr, object );
    return observer;
}

pb::Ref<pbObj> shown( csObjectObserver *observer )
{
    return own( csObjectObserverObject( observer ) );
}

TEST( Observer, ShowsNothingAtFirst )
{
    Observer observer = own( csObjectObserverCreateWithRequiredSort( pbStringSort() ) );
    EXPECT_FALSE( shown( observer ) );
    EXPECT_EQ( support::textOf( csObjectObserverToString( observer ) ), "CS_OBJECT_OBSERVER" );
    EXPECT_TRUE( csObjectObserverEquals( observer, observer ) );
}

TEST( Observer, ShowsTheObjectOfItsName )
{
    auto object = stringObject( "first" );
    Observer observer = observerOf( "one" );
    EXPECT_FALSE( shown( observer ) );
    Named one( "one", object );
    Named two( "two", stringObject( "second" ) );
    EXPECT_EQ( shown( observer ).get(), object.get() );
    auto replaced = stringObject( "replaced" );
    csSetObject( string( "one" ), replaced );
    EXPECT_EQ( shown( observer ).get(), replaced.get() );
    csSetObject( string( "one" ), nullptr );
    EXPECT_FALSE( shown( observer ) );
}

TEST( Observer, ShowsADirectObjectInsteadOfTheName )
{
    auto direct = stringObject( "direct" );
    Named one( "one", stringObject( "first" ) );
    EXPECT_EQ( shown( observerOf( "one", direct ) ).get(), direct.get() );
    EXPECT_EQ( shown( observerOf( nullptr, direct ) ).get(), direct.get() );
}

TEST( Observer, ShowsNoObjectOfAnotherSort )
{
    auto wrong = bufferObject();
    Named one( "one", wrong );
    Named two( "two", stringObject( "second" ) );
    EXPECT_FALSE( shown( observerOf( "one" ) ) );
    EXPECT_FALSE( shown( observerOf( nullptr, wrong ) ) );
    EXPECT_FALSE( shown( observerOf( "two", wrong ) ) ) << "a direct object wins, whatever its sort";
}

TEST( Observer, MayBeConfiguredAgain )
{
    auto first = stringObject( "first" );
    auto second = stringObject( "second" );
    Named one( "one", first );
    Observer observer = observerOf( "one" );
    csObjectObserverConfigure( observer, string( "two" ), second );
    EXPECT_EQ( shown( observer ).get(), second.get() );
    csObjectObserverConfigure( observer, nullptr, nullptr );
    EXPECT_FALSE( shown( observer ) );
    csObjectObserverConfigure( observer, string( "one" ), nullptr );
    EXPECT_EQ( shown( observer ).get(), first.get() );
}

using ObserverUpdate = Scheduled;

TEST_F( ObserverUpdate, ComesWhenTheNameIsSetReplacedAndTakenAway )
{
    Waiter waiter;
    auto signalable = waiter.signalable();
    Observer observer = observerOf( "one" );
    auto change = [&]( pbObj *object )
    {
        csObjectObserverUpdateAddSignalable( observer, signalable );
        run();
        int before = waiter.runs;
        csSetObject( string( "one" ), object );
        run();
        return waiter.runs - before;
    };
    auto first = stringObject( "first" );
    EXPECT_EQ( change( first ), 1 );
    EXPECT_EQ( change( first ), 0 ) << "the same object again";
    EXPECT_EQ( change( stringObject( "second" ) ), 1 );
    EXPECT_EQ( change( nullptr ), 1 );
    EXPECT_EQ( change( nullptr ), 0 );
}

TEST_F( ObserverUpdate, ComesOnceUntilAddedAgain )
{
    Waiter waiter;
    auto signalable = waiter.signalable();
    Observer observer = observerOf( "one" );
    csObjectObserverUpdateAddSignalable( observer, signalable );
    csObjectObserverUpdateAddSignalable( observer, signalable );
    Named one( "one", stringObject( "first" ) );
    run();
    csSetObject( string( "one" ), stringObject( "second" ) );
    run();
    EXPECT_EQ( waiter.runs, 1 );
    csObjectObserverUpdateAddSignalable( observer, signalable );
    run();
    EXPECT_EQ( waiter.runs, 1 ) << "a change of the past does not count";
    csSetObject( string( "one" ), stringObject( "third" ) );
    run();
    EXPECT_EQ( waiter.runs, 2 );
}

TEST_F( ObserverUpdate, ComesToAllThatWait )
{
    Waiter waiters[3];
    Observer observers[] = { observerOf( "one" ), observerOf( "one" ), observerOf( "two" ) };
    for( int index = 0; index < 3; index++ )
        csObjectObserverUpdateAddSignalable( observers[index], waiters[index].signalable() );
    Waiter second;
    csObjectObserverUpdateAddSignalable( observers[0], second.signalable() );
    Named one( "one", stringObject( "first" ) );
    run();
    EXPECT_EQ( waiters[0].runs, 1 );
    EXPECT_EQ( second.runs, 1 );
    EXPECT_EQ( waiters[1].runs, 1 );
    EXPECT_EQ( waiters[2].runs, 0 ) << "of another name";
    Named two( "two", stringObject( "second" ) );
    run();
    EXPECT_EQ( waiters[2].runs, 1 );
}

TEST_F( ObserverUpdate, DoesNotComeForWhatIsNotShown )
{
    Waiter waiter;
    Observer named = observerOf( "one" );
    Observer direct = observerOf( "one", stringObject( "direct" ) );
    csObjectObserverUpdateAddSignalable( named, waiter.signalable() );
    csObjectObserverUpdateAddSignalable( direct, waiter.signalable() );
    Named one( "one", bufferObject() );
    run();
    csSetObject( string( "one" ), bufferObject() );
    run();
    EXPECT_EQ( waiter.runs, 0 );
    csSetObject( string( "one" ), stringObject( "first" ) );
    run();
    EXPECT_EQ( waiter.runs, 1 ) << "of the named one";
    csObjectObserverUpdateAddSignalable( named, waiter.signalable() );
    csSetObject( string( "one" ), bufferObject() );
    run();
    EXPECT_EQ( waiter.runs, 2 ) << "an object of another sort took its place";
}

TEST_F( ObserverUpdate, ComesWhenConfiguringChangesWhatIsShown )
{
    Waiter waiter;
    auto signalable = waiter.signalable();
    auto object = stringObject( "first" );
    Named one( "one", object );
    Observer observer = observerOf( nullptr );
    auto configure = [&]( const char *name, pbObj *direct )
    {
        csObjectObserverUpdateAddSignalable( observer, signalable );
        int before = waiter.runs;
        csObjectObserverConfigure( observer, name ? string( name ) : nullptr, direct );
        run();
        return waiter.runs - before;
    };
    EXPECT_EQ( configure( "two", nullptr ), 0 );
    EXPECT_EQ( configure( "one", nullptr ), 1 );
    EXPECT_EQ( configure( nullptr, object ), 0 ) << "the same object by another way";
    EXPECT_EQ( configure( nullptr, nullptr ), 1 );
    EXPECT_EQ( configure( nullptr, bufferObject() ), 0 );
}

TEST_F( ObserverUpdate, FollowsTheNewName )
{
    Waiter waiter;
    Observer observer = observerOf( "one" );
    csObjectObserverUpdateAddSignalable( observer, waiter.signalable() );
    csObjectObserverConfigure( observer, string( "two" ), nullptr );
    Named one( "one", stringObject( "first" ) );
    run();
    EXPECT_EQ( waiter.runs, 0 );
    Named two( "two", stringObject( "second" ) );
    run();
    EXPECT_EQ( waiter.runs, 1 );
}

TEST_F( ObserverUpdate, DoesNotComeToOneThatWasTakenOut )
{
    Waiter waiter;
    Waiter stays;
    auto signalable = waiter.signalable();
    Observer observer = observerOf( "one" );
    csObjectObserverUpdateDelSignalable( observer, signalable );
    csObjectObserverUpdateAddSignalable( observer, signalable );
    csObjectObserverUpdateAddSignalable( observer, stays.signalable() );
    csObjectObserverUpdateDelSignalable( observer, signalable );
    Named one( "one", stringObject( "first" ) );
    run();
    EXPECT_EQ( waiter.runs, 0 );
    EXPECT_EQ( stays.runs, 1 );
}

TEST_F( ObserverUpdate, DoesNotComeFromAnObserverThatWasFreed )
{
    Waiter waiter;
    Observer first = observerOf( "one" );
    Observer second = observerOf( "one" );
    Observer third = observerOf( "one" );
    for( csObjectObserver *observer : { first.get(), second.get(), third.get() } )
        csObjectObserverUpdateAddSignalable( observer, waiter.signalable() );
    second.clear();
    third.clear();
    first.clear();
    Named one( "one", stringObject( "first" ) );
    run();
    EXPECT_EQ( waiter.runs, 0 );
}

TEST_F( ObserverUpdate, ComesWhenTheModuleStops )
{
    ASSERT_TRUE( pbModuleStart( csModule() ) );
    Waiter waiter;
    Waiter other;
    csSetObject( string( "one" ), stringObject( "first" ) );
    Observer observer = observerOf( "one" );
    Observer direct = observerOf( "one", stringObject( "direct" ) );
    csObjectObserverUpdateAddSignalable( observer, waiter.signalable() );
    csObjectObserverUpdateAddSignalable( direct, other.signalable() );
    pbModuleStop( csModule() );
    run();
    EXPECT_FALSE( shown( observer ) );
    EXPECT_EQ( waiter.runs, 1 );
    EXPECT_EQ( other.runs, 0 );
}

// Eight threads make, configure, read and free observers, as servers do at each request, and share one more, while
// another thread sets, replaces and takes away the object. Run under the thread sanitizer.
TEST_F( ObserverUpdate, IsSafeWhileOtherThreadsSetObjects )
{
    constexpr int readers = 8;
    constexpr int rounds = 400;
    Waiter waiter;
    auto signalable = waiter.signalable();
    Observer sharedObserver = observerOf( "one" );
    std::atomic<int> running = readers;
    auto read = [&]
    {
        for( int round = 0; round < rounds; round++ )
        {
            Observer observer = observerOf( "one" );
            if( round % 4 == 0 )
                csObjectObserverUpdateAddSignalable( observer, signalable );
            csObjectObserverUpdateAddSignalable( sharedObserver, signalable );
            for( csObjectObserver *each : { observer.get(), sharedObserver.get() } )
            {
                auto object = shown( each );
                EXPECT_TRUE( !object || pbStringLength( pbStringFrom( object ) ) == 5 );
            }
            if( round % 8 == 0 )
                csObjectObserverConfigure( observer, string( "two" ), nullptr );
            csObjectObserverUpdateDelSignalable( sharedObserver, signalable );
        }
        running--;
    };
    std::vector<std::thread> threads;
    for( int index = 0; index < readers; index++ )
        threads.emplace_back( read );
    int sets = 0;
    while( running > 0 )
        csSetObject( string( "one" ), sets++ % 3 == 2 ? nullptr : stringObject( "first" ).get() );
    for( std::thread &thread : threads )
        thread.join();
    csSetObject( string( "one" ), nullptr );
    EXPECT_GT( sets, 0 );
    run();
}

TEST( ObserverDeathTest, RefusesNull )
{
    const char *path = "source/cs/cs_object_observer";
    Observer observer = observerOf( nullptr );
    EXPECT_ABORT( csObjectObserverCreateWithRequiredSort( nullptr ), path, "sort" );
    EXPECT_ABORT( csObjectObserverConfigure( nullptr, nullptr, nullptr ), path, "observer" );
    EXPECT_ABORT( csObjectObserverObject( nullptr ), path, "observer" );
    EXPECT_ABORT( csObjectObserverUpdateAddSignalable( nullptr, nullptr ), path, "observer" );
    EXPECT_ABORT( csObjectObserverUpdateAddSignalable( observer, nullptr ), path, "signalable" );
    EXPECT_ABORT( csObjectObserverUpdateDelSignalable( nullptr, nullptr ), path, "observer" );
    EXPECT_ABORT( csObjectObserverUpdateDelSignalable( observer, nullptr ), path, "signalable" );
}

} // namespace
