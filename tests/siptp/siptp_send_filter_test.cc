// Send filters.
#include "sipsn/messages.h"
#include "support/abort.h"

#include <siptp/siptp_send_filter.h>

namespace
{

using namespace messages;

Ref<sipsnMessage> request()
{
    return own( sipsnMessageCreateRequest( support::string( "INVITE" ), support::string( "sip:b" ) ) );
}

// Adds the closure, a string, as a line of the header X.
pbBool addLine( pbObj *closure, sipsnMessage **message, trAnchor * )
{
    auto made = own( sipsnMessageHeaderCstr( *message, "X", -1 ) );
    if( !made )
        made = own( sipsnMessageHeaderCreateCstr( "X", -1 ) );
    sipsnMessageHeaderAppendLine( made.inout(), pbStringFrom( closure ) );
    sipsnMessageSetHeader( message, made );
    return 1;
}

pbBool doNothing( pbObj *, sipsnMessage **, trAnchor * )
{
    return 0;
}

pbBool sayFortyTwo( pbObj *, sipsnMessage **, trAnchor * )
{
    return 42;
}

// Succeeds when there is neither closure nor anchor.
pbBool expectNothing( pbObj *closure, sipsnMessage **, trAnchor *anchor )
{
    return !closure && !anchor;
}

trAnchor *expectedAnchor = nullptr;

pbBool expectAnchor( pbObj *, sipsnMessage **, trAnchor *anchor )
{
    return anchor && anchor == expectedAnchor;
}

Ref<siptpSendFilter> lineFilter( const char *text )
{
    return own( siptpSendFilterCreate( addLine, pbStringObj( support::string( text ) ) ) );
}

Ref<siptpSendFilter> filter( pbBool ( *tryExecute )( pbObj *, sipsnMessage **, trAnchor * ) )
{
    return own( siptpSendFilterCreate( tryExecute, nullptr ) );
}

Ref<pbVector> filters( std::initializer_list<siptpSendFilter *> items )
{
    auto vec = own( pbVectorCreate() );
    for( siptpSendFilter *item : items )
        pbVectorAppendObj( vec.inout(), siptpSendFilterObj( item ) );
    return vec;
}

TEST( SendFilter, ChangesTheMessageWithItsClosure )
{
    auto made = lineFilter( "a" );
    auto message = request();
    auto before = message;
    EXPECT_EQ( siptpSendFilterTryExecute( made, message.inout(), nullptr ), 1 );
    EXPECT_EQ( headerLines( message, "X" ), Lines{ "a" } );
    EXPECT_EQ( headerLines( before, "X" ), std::nullopt );
    EXPECT_EQ( siptpSendFilterTryExecute( made, message.inout(), nullptr ), 1 );
    EXPECT_EQ( headerLines( message, "X" ), ( Lines{ "a", "a" } ) );
}

TEST( SendFilter, KeepsItsClosure )
{
    auto closure = support::string( "kept" );
    auto made = own( siptpSendFilterCreate( addLine, pbStringObj( closure ) ) );
    closure.clear();
    auto message = request();
    siptpSendFilterTryExecute( made, message.inout(), nullptr );
    EXPECT_EQ( headerLines( message, "X" ), Lines{ "kept" } );
}

TEST( SendFilter, NeedsNeitherClosureNorAnchor )
{
    auto message = request();
    EXPECT_EQ( siptpSendFilterTryExecute( filter( expectNothing ), message.inout(), nullptr ), 1 );
}

TEST( SendFilter, HandsOverTheAnchor )
{
    auto stream = own( trStreamCreateCstr( "stream", -1 ) );
    auto anchor = own( trAnchorCreate( stream, 0 ) );
    expectedAnchor = anchor;
    auto message = request();
    EXPECT_EQ( siptpSendFilterTryExecute( filter( expectAnchor ), message.inout(), anchor ), 1 );
    EXPECT_EQ( siptpSendFiltersExecute( filters( { filter( expectAnchor ) } ), message.inout(), anchor ), 1 );
}

TEST( SendFilter, SaysJustWhetherItChangedTheMessage )
{
    auto message = request();
    sipsnMessage *before = message;
    EXPECT_EQ( siptpSendFilterTryExecute( filter( doNothing ), message.inout(), nullptr ), 0 );
    EXPECT_EQ( message.get(), before );
    EXPECT_EQ( siptpSendFilterTryExecute( filter( sayFortyTwo ), message.inout(), nullptr ), 1 );
}

TEST( SendFilters, RunInTheirOrderEachOnWhatTheOneBeforeLeft )
{
    auto a = lineFilter( "a" );
    auto message = request();
    EXPECT_EQ( siptpSendFiltersExecute( filters( { a, filter( doNothing ), lineFilter( "b" ), a } ), message.inout(),
                                        nullptr ),
               3 );
    EXPECT_EQ( headerLines( message, "X" ), ( Lines{ "a", "b", "a" } ) );
}

TEST( SendFilters, MayBeNone )
{
    auto message = request();
    EXPECT_EQ( siptpSendFiltersExecute( filters( {} ), message.inout(), nullptr ), 0 );
}

TEST( SendFilterDeathTest, RefusesNull )
{
    const char *path = "source/siptp/siptp_send_filter";
    auto message = request();
    sipsnMessage *none = nullptr;
    EXPECT_ABORT( siptpSendFilterCreate( nullptr, nullptr ), path, "tryExecute" );
    EXPECT_ABORT( siptpSendFilterTryExecute( nullptr, message.inout(), nullptr ), path, "filter" );
    EXPECT_ABORT( siptpSendFilterTryExecute( filter( doNothing ), nullptr, nullptr ), path, "message" );
    EXPECT_ABORT( siptpSendFilterTryExecute( filter( doNothing ), &none, nullptr ), path, "*message" );
    EXPECT_ABORT( siptpSendFiltersExecute( nullptr, message.inout(), nullptr ), path, "filters" );
    EXPECT_ABORT( siptpSendFiltersExecute( filters( {} ), &none, nullptr ), path, "*message" );
}

TEST( SendFilterDeathTest, IsWhatAVectorOfFiltersHolds )
{
    auto vec = own( pbVectorCreate() );
    pbVectorAppendString( vec.inout(), support::string( "no filter" ) );
    auto message = request();
    EXPECT_ABORT( siptpSendFiltersExecute( vec, message.inout(), nullptr ), "source/siptp/siptp_send_filter",
                  "stdfunc from: !obj || pbObjSort(obj)==&siptp___sort_SIPTP_SEND_FILTER" );
}

} // namespace
