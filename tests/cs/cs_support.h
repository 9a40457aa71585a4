// What the tests of this module share: objects to configure, and somebody who waits for a signal.
#ifndef CS_SUPPORT_H
#define CS_SUPPORT_H

#include "support/text.h"

#include <cs/cs_object.h>
#include <pb/pb_buffer.h>
#include <pb/pb_scheduler.h>
#include <pb/pb_signal.h>

#include <gtest/gtest.h>

namespace cs_support
{

using pb::own;
using support::string;

/// A test with a scheduler, driven by hand.
class Scheduled : public testing::Test
{
protected:
    Scheduled() { pbSchedulerSetCurrent( scheduler ); }
    ~Scheduled() override
    {
        pbSchedulerStop( scheduler );
        pbSchedulerSetCurrent( nullptr );
    }

    /// Runs until nothing is ready.
    void run()
    {
        while( pbSchedulerRun( scheduler, 100 ) > 0 )
            continue;
    }

    pb::Ref<pbScheduler> scheduler = own( pbSchedulerCreateHosted( nullptr, nullptr ) );
};

/// A process that counts how often it was woken.
class Waiter
{
public:
    Waiter() = default;
    ~Waiter() { pbProcessHalt( process_ ); }
    Waiter( const Waiter & ) = delete;
    Waiter &operator=( const Waiter & ) = delete;

    pb::Ref<pbSignalable> signalable() { return own( pbSignalableCreateWithProcess( process_ ) ); }

    int runs = 0;

private:
    static void count( void *waiter ) { static_cast<Waiter *>( waiter )->runs++; }

    pb::Ref<pbProcess> process_ = own( pbProcessCreate( count, this, "waiter" ) );
};

/// Takes the object of a name away at the end of a block.
class Named
{
public:
    Named( const char *name, pbObj *object ) : name_( string( name ) ) { csSetObject( name_, object ); }
    ~Named() { csSetObject( name_, nullptr ); }
    Named( const Named & ) = delete;
    Named &operator=( const Named & ) = delete;

private:
    pb::Ref<pbString> name_;
};

/// Two sorts of objects that nothing else knows.
inline pb::Ref<pbObj> bufferObject()
{
    return own( pbBufferObj( pbBufferCreateFromBytes( "x", 1 ) ) );
}

inline pb::Ref<pbObj> stringObject( const char *text )
{
    return own( pbStringObj( string( text ).give() ) );
}

} // namespace cs_support

#endif
