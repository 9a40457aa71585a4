// The tools that types are made with: references, fields, copy on write.
#include "support/text.h"

#include "pb/pb_object.h"

#include <pb/pb_buffer.h>
#include <pb/pb_string.h>

#include <gtest/gtest.h>

namespace
{

using pb::own;
using pb::Ref;
using support::buffer;
using support::string;
using support::textOf;

template<class T>
int64_t references( T *obj )
{
    return pb::toObj( obj )->object.references.load();
}

// An object of a sort of this test, with two fields and a number.
struct Thing
{
    pb::Object object;
    int64_t number;
    pb::Field<pbString> first;
    pb::Field<pbString> second;
};

void freeThing( pbObj *obj )
{
    auto thing = reinterpret_cast<Thing *>( obj );
    pb::poison( thing->first, thing->second );
}

constinit pbSort thingSort = {
    { &pb___sort_PB_SORT, 1 }, nullptr, "TEST_THING", freeThing, nullptr, nullptr, 0, nullptr };

Ref<Thing> thing( const char *first )
{
    auto made = pb::create<Thing>( &thingSort );
    made->number = 5;
    made->first = string( first );
    return made;
}

TEST( Ref, OwnsWhatAFunctionReturned )
{
    auto ref = own( pbStringCreateFromCstr( "a", -1 ) );
    EXPECT_TRUE( ref );
    EXPECT_EQ( references( ref.get() ), 1 );
}

TEST( Ref, SharesABorrowedPointer )
{
    auto ref = string( "a" );
    auto second = pb::share( ref.get() );
    EXPECT_EQ( second.get(), ref.get() );
    EXPECT_EQ( references( ref.get() ), 2 );
    EXPECT_FALSE( pb::share<pbString>( nullptr ) );
}

TEST( Ref, CopiesMovesAndAssigns )
{
    auto a = string( "a" );
    auto copy = a;
    EXPECT_EQ( references( a.get() ), 2 );
    auto moved = std::move( copy );
    EXPECT_EQ( references( a.get() ), 2 );
    moved = string( "b" );
    EXPECT_EQ( references( a.get() ), 1 );
    moved = a;
    moved = static_cast<const Ref<pbString> &>( moved );
    EXPECT_EQ( references( a.get() ), 2 );
    moved = nullptr;
    EXPECT_EQ( references( a.get() ), 1 );
}

TEST( Ref, GivesItsReferenceAway )
{
    auto ref = string( "a" );
    pbString *given = ref.give();
    EXPECT_FALSE( ref );
    EXPECT_EQ( references( given ), 1 );
    pbStringRelease( given );
}

TEST( Ref, LendsItsAddressToMutators )
{
    auto ref = string( "a" );
    auto other = ref;
    pbStringAppendChar( ref.inout(), 'b' );
    EXPECT_EQ( textOf( pbStringToString( ref ) ), "ab" );
    EXPECT_EQ( references( other.get() ), 1 );
}

TEST( Field, IsEmptyInANewObject )
{
    auto made = pb::create<Thing>( &thingSort );
    EXPECT_FALSE( made->first );
    EXPECT_EQ( made->first.get(), nullptr );
    EXPECT_EQ( made->first.shareOut(), nullptr );
    EXPECT_EQ( made->number, 0 );
}

TEST( Field, HoldsOneReference )
{
    auto text = string( "a" );
    auto made = pb::create<Thing>( &thingSort );
    made->first = text;
    EXPECT_EQ( references( text.get() ), 2 );
    made->second = made->first;
    EXPECT_EQ( references( text.get() ), 3 );
    made->second = made->second;
    EXPECT_EQ( references( text.get() ), 3 );
    made->first = string( "b" );
    EXPECT_EQ( references( text.get() ), 2 );
    auto shared = own( made->second.shareOut() );
    EXPECT_EQ( references( text.get() ), 3 );
    made->second.clear();
    EXPECT_EQ( references( text.get() ), 2 );
    made->first = pb::share( text.get() );
    auto taken = made->first.take();
    EXPECT_FALSE( made->first );
    EXPECT_EQ( references( text.get() ), 3 );
}

TEST( Field, IsAllOnesAfterPoison )
{
    auto text = string( "a" );
    pb::Field<pbString> field{};
    field = text;
    field.poison();
    EXPECT_EQ( references( text.get() ), 1 );
    EXPECT_EQ( reinterpret_cast<uintptr_t>( field.get() ), UINTPTR_MAX );
}

TEST( CopyOf, HasEqualFieldsAndSharesReferences )
{
    auto source = thing( "a" );
    auto copy = pb::copyOf( source.get() );
    EXPECT_NE( copy.get(), source.get() );
    EXPECT_EQ( references( copy.get() ), 1 );
    EXPECT_EQ( pbObjSort( pb::toObj( copy.get() ) ), &thingSort );
    EXPECT_EQ( copy->number, 5 );
    EXPECT_EQ( copy->first.get(), source->first.get() );
    EXPECT_EQ( references( copy->first.get() ), 2 );
    EXPECT_FALSE( copy->second );
}

TEST( Mutate, ChangesASoleHoldersObjectInPlace )
{
    auto holder = thing( "a" );
    Thing *before = holder;
    EXPECT_EQ( pb::mutate( holder.inout() ), before );
    EXPECT_EQ( holder.get(), before );
}

TEST( Mutate, CopiesASharedObject )
{
    auto holder = thing( "a" );
    auto other = holder;
    pb::mutate( holder.inout() )->number = 6;
    EXPECT_NE( holder.get(), other.get() );
    EXPECT_EQ( holder->number, 6 );
    EXPECT_EQ( other->number, 5 );
    EXPECT_EQ( references( holder.get() ), 1 );
    EXPECT_EQ( references( other.get() ), 1 );
}

TEST( StaticObject, IsNeverFreedAndAlwaysCountsAsShared )
{
    static constinit Thing single = { { &thingSort, pb::staticReferences }, 7, {}, {} };
    for( int index = 0; index < 3; index++ )
        pbObjRelease( pb::toObj( &single ) );
    EXPECT_EQ( references( &single ), pb::staticReferences );
    Thing *holder = &single;
    pb::mutate( &holder )->number = 8;
    auto changed = own( holder );
    EXPECT_EQ( single.number, 7 );
    EXPECT_EQ( changed->number, 8 );
}

TEST( PoisonGlobal, LeavesAllOnes )
{
    pbString *global = nullptr;
    pb::poisonGlobal( global );
    EXPECT_EQ( reinterpret_cast<uintptr_t>( global ), UINTPTR_MAX );
}

} // namespace
