// What the tests of this module share: objects to configure, and somebody who waits for a signal.
#ifndef CS_SUPPORT_H
#define CS_SUPPORT_H

#include "support/text.h"

#include <cs/cs_object.h>
#include <cs/cs_sort_backend.h>
#include <pb/pb_buffer.h>
#include <pb/pb_scheduler.h>
#include <pb/pb_signal.h>

#include <gtest/gtest.h>

#include <map>
#include <vector>

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

/// A sort of objects for configurations: buffers, whose configurations are kept here. A configuration has an "id", for
/// the log, a "size" (10 without it, not below 0), and a nested "more.size" of the same kind; an object with the size
/// 13 cannot be made.
class Things
{
public:
    Things() { current_ = this; }
    ~Things() { current_ = nullptr; }
    Things( const Things & ) = delete;
    Things &operator=( const Things & ) = delete;

    /// What was called since the last look.
    std::vector<std::string> takeLog() { return std::exchange( log_, {} ); }

    std::string configOf( pbObj *object ) { return support::textOf( pbStoreToString( configs_[object] ) ); }

private:
    static int64_t sizeOf( pbStore *config )
    {
        int64_t size = 10;
        pbStoreValueIntCstr( config, "size", -1, &size );
        return size;
    }
    static void note( const char *what, pbStore *config )
    {
        auto id = own( pbStoreValueCstr( config, "id", -1 ) );
        current_->log_.push_back( std::string( what ) + " " + ( id ? support::text( id ) : "?" ) );
    }
    static pbObj *tryCreate( pbStore *config, trAnchor *anchor )
    {
        EXPECT_TRUE( anchor );
        note( "create", config );
        if( sizeOf( config ) == 13 )
            return nullptr;
        pbObj *object = bufferObject().give();
        current_->configs_[object] = pb::share( config );
        return object;
    }
    static pbStore *config( pbObj *object, int64_t storeFlags )
    {
        return normalize( current_->configs_[object], storeFlags );
    }
    static void setConfig( pbObj *object, pbStore *config )
    {
        note( "set", config );
        current_->configs_[object] = pb::share( config );
    }
    static pbStore *normalize( pbStore *config, int64_t storeFlags )
    {
        auto normal = own( pbStoreCreate() );
        if( auto id = own( pbStoreValueCstr( config, "id", -1 ) ) )
            pbStoreSetValueCstr( normal.inout(), "id", -1, id );
        if( storeFlags || sizeOf( config ) != 10 )
            pbStoreSetValueIntCstr( normal.inout(), "size", -1, sizeOf( config ) );
        return normal.give();
    }
    static pbBool check( pbStore *config, pbString **reason )
    {
        auto more = own( pbStoreStoreCstr( config, "more", -1 ) );
        if( sizeOf( config ) < 0 )
            *reason = string( "size: must not be below 0" ).give();
        else if( more && sizeOf( more ) < 0 )
            *reason = string( "more.size: must not be below 0" ).give();
        else if( pbStoreValueTypeCstr( config, "strange", -1 ) != PB_STORE_TYPE_INVALID )
            *reason = string( "it is too strange" ).give();
        else if( more && pbStoreLength( more ) == 0 )
            *reason = string( "more.size.least: there must be one" ).give();
        return *reason == nullptr;
    }
    static void complete( pbObj *, trAnchor * ) {}
    static void end( pbObj *object )
    {
        note( "end", current_->configs_[object] );
        current_->configs_.erase( object );
    }

    static inline Things *current_ = nullptr;
    pb::Ref<csSortBackend> backend_ =
        own( csSortBackendCreate( pbBufferSort(), tryCreate, config, setConfig, normalize, check, complete, end ) );
    std::vector<std::string> log_;
    std::map<pbObj *, pb::Ref<pbStore>> configs_;
};

} // namespace cs_support

#endif
