// The state of a session.
#include "sipauth/digest/digest_support.h"
#include "sipauth/session/sipauth_session_state_private.h"

#include <sipauth/sipauth_digest_algorithm.h>
#include <sipauth/sipauth_scheme.h>

#include <type_traits>

namespace
{

using pb::own;
using support::string;
using support::textOf;

using State = sipauth___SessionState;

const char *path = "source/sipauth/session/sipauth_session_state";

class SessionState : public Started
{
};

class SessionStateDeathTest : public Started
{
};

pb::Ref<State> state()
{
    return own( sipauth___SessionStateCreate() );
}

pb::Ref<usrUser> user( const char *id )
{
    return own( usrUserCreate( own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) ), string( id ) ) );
}

pb::Ref<sipauthDigestState> digestState()
{
    return digest::state( SIPAUTH_DIGEST_ALGORITHM_MD5, digest::auth );
}

pb::Ref<sipauthAuthorization> authorization()
{
    return own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_DIGEST ) );
}

/// The four functions of an object field.
template<class Item>
struct ObjectField
{
    Item *( *get )( State * );
    pbBool ( *has )( State * );
    void ( *set )( State **, Item * );
    void ( *del )( State ** );
    const char *value; ///< the name of the setter's argument
};

#define OBJECT_FIELD( Name, Item, value )                                                                              \
    ObjectField<Item>                                                                                                  \
    {                                                                                                                  \
        sipauth___SessionState##Name, sipauth___SessionStateHas##Name, sipauth___SessionStateSet##Name,                \
            sipauth___SessionStateDel##Name, #value                                                                    \
    }

// Calls TEST with each object field and two values for it.
template<class Test>
void forEachObjectField( Test test )
{
    auto alice = user( "alice" );
    auto bob = user( "bob" );
    auto firstCredentials = digest::credentials( "alice", "secret" );
    auto secondCredentials = digest::credentials( "bob", "secret" );
    auto firstDigest = digestState();
    auto secondDigest = digestState();
    auto firstAuthorization = authorization();
    auto secondAuthorization = authorization();
    test( OBJECT_FIELD( ClientUser, usrUser, user ), alice.get(), bob.get() );
    test( OBJECT_FIELD( ClientCredentials, sipauthCredentials, credentials ), firstCredentials.get(),
          secondCredentials.get() );
    test( OBJECT_FIELD( ClientDigest, sipauthDigestState, digestState ), firstDigest.get(), secondDigest.get() );
    test( OBJECT_FIELD( ServerUser, usrUser, user ), alice.get(), bob.get() );
    test( OBJECT_FIELD( ServerCredentials, sipauthCredentials, credentials ), firstCredentials.get(),
          secondCredentials.get() );
    test( OBJECT_FIELD( ServerDigest, sipauthDigestState, digestState ), firstDigest.get(), secondDigest.get() );
    test( OBJECT_FIELD( ServerPreviousAuthorization, sipauthAuthorization, authorization ), firstAuthorization.get(),
          secondAuthorization.get() );
}

/// The four functions of a scheme field.
struct SchemeField
{
    int64_t ( *get )( State * );
    pbBool ( *has )( State * );
    void ( *set )( State **, int64_t );
    void ( *del )( State ** );
};

constexpr SchemeField schemeFields[] = {
    { sipauth___SessionStateClientScheme, sipauth___SessionStateHasClientScheme, sipauth___SessionStateSetClientScheme,
      sipauth___SessionStateDelClientScheme },
    { sipauth___SessionStateServerScheme, sipauth___SessionStateHasServerScheme, sipauth___SessionStateSetServerScheme,
      sipauth___SessionStateDelServerScheme },
};

TEST_F( SessionState, IsEmptyWhenCreated )
{
    auto empty = state();
    EXPECT_EQ( sipauth___SessionStateError( empty ), 0 );
    forEachObjectField(
        [&]( auto field, auto, auto )
        {
            EXPECT_EQ( field.get( empty ), nullptr );
            EXPECT_EQ( field.has( empty ), 0 );
        } );
    for( const SchemeField &field : schemeFields )
    {
        EXPECT_EQ( field.get( empty ), -1 );
        EXPECT_EQ( field.has( empty ), 0 );
    }
}

TEST_F( SessionState, KeepsEachObjectUntilItIsTakenAway )
{
    forEachObjectField(
        []( auto field, auto first, auto second )
        {
            auto changed = state();
            field.set( changed.inout(), first );
            EXPECT_EQ( own( field.get( changed ) ).get(), first );
            field.set( changed.inout(), second );
            EXPECT_EQ( own( field.get( changed ) ).get(), second );
            EXPECT_EQ( field.has( changed ), 1 );
            field.del( changed.inout() );
            EXPECT_EQ( field.get( changed ), nullptr );
            EXPECT_EQ( field.has( changed ), 0 );
        } );
}

TEST_F( SessionState, KeepsItsFieldsApart )
{
    // Fields that took each other's place would show here: each is set in a state of its own, and all others stay.
    forEachObjectField(
        []( auto field, auto first, auto )
        {
            auto changed = state();
            field.set( changed.inout(), first );
            int set = 0;
            forEachObjectField( [&]( auto other, auto, auto ) { set += other.has( changed ); } );
            for( const SchemeField &other : schemeFields )
                set += other.has( changed );
            EXPECT_EQ( set, 1 );
            EXPECT_EQ( sipauth___SessionStateError( changed ), 0 );
        } );
}

TEST_F( SessionState, KeepsSchemesUntilTheyAreTakenAway )
{
    for( const SchemeField &field : schemeFields )
    {
        auto changed = state();
        for( int64_t scheme : { SIPAUTH_SCHEME_BASIC, SIPAUTH_SCHEME_DIGEST } )
        {
            field.set( changed.inout(), scheme );
            EXPECT_EQ( field.get( changed ), scheme );
            EXPECT_EQ( field.has( changed ), 1 );
        }
        field.del( changed.inout() );
        EXPECT_EQ( field.get( changed ), -1 );
        EXPECT_EQ( field.has( changed ), 0 );
    }
}

TEST_F( SessionState, HasNoClientSchemeAfterItWasTakenAway )
{
    auto changed = state();
    sipauth___SessionStateSetClientScheme( changed.inout(), SIPAUTH_SCHEME_DIGEST );
    sipauth___SessionStateSetServerScheme( changed.inout(), SIPAUTH_SCHEME_BASIC );
    sipauth___SessionStateDelClientScheme( changed.inout() );
    EXPECT_FALSE( sipauth___SessionStateHasClientScheme( changed ) );
    EXPECT_EQ( sipauth___SessionStateClientScheme( changed ), -1 );
    EXPECT_EQ( sipauth___SessionStateServerScheme( changed ), SIPAUTH_SCHEME_BASIC );
}

TEST_F( SessionState, KeepsAnyTrueErrorAsOne )
{
    auto changed = state();
    for( pbBool error : { 1, 2, -1 } )
    {
        sipauth___SessionStateSetError( changed.inout(), error );
        EXPECT_EQ( sipauth___SessionStateError( changed ), 1 );
    }
    sipauth___SessionStateSetError( changed.inout(), 0 );
    EXPECT_EQ( sipauth___SessionStateError( changed ), 0 );
}

TEST_F( SessionState, LeavesTheOtherHolderAloneWhenItChanges )
{
    forEachObjectField(
        []( auto field, auto first, auto second )
        {
            auto changed = state();
            field.set( changed.inout(), first );
            auto other = changed;
            field.set( changed.inout(), second );
            EXPECT_NE( changed.get(), other.get() );
            EXPECT_EQ( own( field.get( other ) ).get(), first );
            EXPECT_EQ( own( field.get( changed ) ).get(), second );
            other = changed;
            field.del( changed.inout() );
            EXPECT_TRUE( field.has( other ) );
        } );
    for( const SchemeField &field : schemeFields )
    {
        auto changed = state();
        auto other = changed;
        field.set( changed.inout(), SIPAUTH_SCHEME_DIGEST );
        EXPECT_FALSE( field.has( other ) );
        other = changed;
        field.del( changed.inout() );
        EXPECT_TRUE( field.has( other ) );
    }
    auto changed = state();
    auto other = changed;
    sipauth___SessionStateSetError( changed.inout(), 1 );
    EXPECT_FALSE( sipauth___SessionStateError( other ) );
}

TEST_F( SessionState, ChangesInPlaceWhenItHasOneHolder )
{
    auto changed = state();
    State *before = changed;
    sipauth___SessionStateSetError( changed.inout(), 1 );
    sipauth___SessionStateSetServerScheme( changed.inout(), SIPAUTH_SCHEME_BASIC );
    sipauth___SessionStateDelServerUser( changed.inout() );
    EXPECT_EQ( changed.get(), before );
}

TEST_F( SessionState, IsCopiedWithEveryField )
{
    auto source = state();
    sipauth___SessionStateSetError( source.inout(), 1 );
    sipauth___SessionStateSetClientScheme( source.inout(), SIPAUTH_SCHEME_DIGEST );
    sipauth___SessionStateSetServerScheme( source.inout(), SIPAUTH_SCHEME_BASIC );
    forEachObjectField( [&]( auto field, auto first, auto ) { field.set( source.inout(), first ); } );
    auto copy = own( sipauth___SessionStateCreateFrom( source ) );
    EXPECT_NE( copy.get(), source.get() );
    EXPECT_EQ( sipauth___SessionStateError( copy ), 1 );
    EXPECT_EQ( sipauth___SessionStateClientScheme( copy ), SIPAUTH_SCHEME_DIGEST );
    EXPECT_EQ( sipauth___SessionStateServerScheme( copy ), SIPAUTH_SCHEME_BASIC );
    forEachObjectField(
        [&]( auto field, auto, auto )
        {
            EXPECT_TRUE( field.has( copy ) );
            EXPECT_EQ( own( field.get( copy ) ).get(), own( field.get( source ) ).get() );
        } );
}

TEST_F( SessionState, HasTheStandardFunctions )
{
    auto one = state();
    EXPECT_EQ( sipauth___SessionStateFrom( sipauth___SessionStateObj( one ) ), one.get() );
    EXPECT_EQ( sipauth___SessionStateFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauth___SessionStateToString( one ) ), "SIPAUTH___SESSION_STATE" );
    EXPECT_TRUE( sipauth___SessionStateEquals( one, one ) );
    EXPECT_NE( sipauth___SessionStateCompare( one, state() ), 0 );
    sipauth___SessionStateRelease( sipauth___SessionStateRetain( one ) );
}

TEST_F( SessionStateDeathTest, RefusesNull )
{
    auto good = state();
    State *none = nullptr;
    EXPECT_ABORT( sipauth___SessionStateCreateFrom( nullptr ), path, "source" );
    EXPECT_ABORT( sipauth___SessionStateError( nullptr ), path, "state" );
    EXPECT_ABORT( sipauth___SessionStateSetError( nullptr, 1 ), path, "state" );
    EXPECT_ABORT( sipauth___SessionStateSetError( &none, 1 ), path, "*state" );
    forEachObjectField(
        [&]( auto field, auto first, auto )
        {
            using Item = std::remove_pointer_t<decltype( first )>;
            Item *nothing = nullptr;
            EXPECT_ABORT( (void) field.get( nullptr ), path, "state" );
            EXPECT_ABORT( (void) field.has( nullptr ), path, "state" );
            EXPECT_ABORT( field.set( nullptr, first ), path, "state" );
            EXPECT_ABORT( field.set( &none, first ), path, "*state" );
            EXPECT_ABORT( field.set( good.inout(), nothing ), path, field.value );
            EXPECT_ABORT( field.del( nullptr ), path, "state" );
            EXPECT_ABORT( field.del( &none ), path, "*state" );
        } );
}

TEST_F( SessionStateDeathTest, RefusesSchemesThatThereAreNot )
{
    auto good = state();
    State *none = nullptr;
    for( const SchemeField &field : schemeFields )
    {
        for( int64_t scheme : { -1, 2 } )
            EXPECT_ABORT( field.set( good.inout(), scheme ), path, "SIPAUTH_SCHEME_OK( scheme )" );
        EXPECT_ABORT( (void) field.get( nullptr ), path, "state" );
        EXPECT_ABORT( (void) field.has( nullptr ), path, "state" );
        EXPECT_ABORT( field.set( nullptr, SIPAUTH_SCHEME_BASIC ), path, "state" );
        EXPECT_ABORT( field.set( &none, SIPAUTH_SCHEME_BASIC ), path, "*state" );
        EXPECT_ABORT( field.del( nullptr ), path, "state" );
        EXPECT_ABORT( field.del( &none ), path, "*state" );
    }
}

TEST_F( SessionStateDeathTest, RefusesAnObjectOfAnotherSort )
{
    auto other = string( "no state" );
    EXPECT_ABORT( sipauth___SessionStateFrom( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH___SESSION_STATE" );
}

} // namespace
