// Bindings in memory and in their file.
#include "bindings_support.h"

#include <gmock/gmock.h>

#include <csignal>
#include <malloc.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <thread>

namespace
{

using clockwork::binding;
using clockwork::contacts;
using clockwork::replace;
using sipauthd::Binding;
using sipauthd::wallClock;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string alice = "sip:alice@example.com";
const std::string bob = "sip:bob@example.com";

class BindingsTest : public testing::Test
{
protected:
    void open( bool fsync = false ) { bindings_ = clockwork::open( path_, engine_, fsync ); }
    void reopen()
    {
        bindings_.reset();
        open();
    }

    clockwork::Directory directory_;
    std::string path_ = directory_ / "bindings.db";
    clockwork::Engine engine_;
    std::unique_ptr<sipauthd::Bindings> bindings_;
};

TEST_F( BindingsTest, AreFoundAtOnceAndTheHighestQFirst )
{
    open();
    EXPECT_THAT( bindings_->find( alice ), IsEmpty() );
    Binding first = binding( "sip:a" );
    Binding second = binding( "sip:b" );
    second.q = 501;
    Binding third = binding( "sip:c" );
    bindings_->replace( alice, { first, second, third }, nullptr );
    EXPECT_THAT( contacts( bindings_->find( alice ) ), ElementsAre( "sip:b", "sip:a", "sip:c" ) );
    EXPECT_THAT( bindings_->find( bob ), IsEmpty() );
    EXPECT_EQ( bindings_->size(), 3u );
    bindings_->replace( alice, {}, nullptr );
    EXPECT_THAT( bindings_->find( alice ), IsEmpty() );
    EXPECT_EQ( bindings_->size(), 0u );
}

TEST_F( BindingsTest, ComeBackWithEverythingButTheirFlow )
{
    open();
    Binding made = binding( "sip:a@192.0.2.1;transport=tls" );
    ASSERT_TRUE( replace( engine_, *bindings_, alice, { made } ) );
    EXPECT_EQ( bindings_->find( alice ).at( 0 ).target.flow, 7u );
    reopen();
    std::vector<Binding> found = bindings_->find( alice );
    ASSERT_EQ( found.size(), 1u );
    EXPECT_EQ( found[0].contact, made.contact );
    EXPECT_EQ( found[0].parameters, made.parameters );
    EXPECT_EQ( found[0].expires, made.expires );
    EXPECT_EQ( found[0].callId, made.callId );
    EXPECT_EQ( found[0].cseq, made.cseq );
    EXPECT_EQ( found[0].path, made.path );
    EXPECT_EQ( found[0].identity, made.identity );
    EXPECT_EQ( found[0].target.transport, made.target.transport );
    EXPECT_EQ( found[0].target.remote, made.target.remote );
    EXPECT_EQ( found[0].target.tlsName, made.target.tlsName );
    EXPECT_EQ( found[0].target.flow, 0u );
    EXPECT_EQ( found[0].q, made.q );
    EXPECT_EQ( bindings_->size(), 1u );
}

TEST_F( BindingsTest, KeepBytesOfAnyKind )
{
    open();
    Binding made = binding( std::string( "sip:\xFF\0'\"--", 9 ) );
    ASSERT_TRUE( replace( engine_, *bindings_, "sip:'; DROP TABLE bindings@x", { made } ) );
    reopen();
    EXPECT_THAT( contacts( bindings_->find( "sip:'; DROP TABLE bindings@x" ) ), ElementsAre( made.contact ) );
}

TEST_F( BindingsTest, AreRefreshedChangedAndRemovedInTheFile )
{
    open();
    Binding first = binding( "sip:a" );
    ASSERT_TRUE( replace( engine_, *bindings_, alice, { first, binding( "sip:b" ), binding( "sip:c" ) } ) );
    Binding refreshed = first;
    refreshed.expires += 5000;
    refreshed.cseq = 2;
    Binding changed = binding( "sip:b" );
    changed.callId = "other";
    ASSERT_TRUE( replace( engine_, *bindings_, alice, { refreshed, changed, binding( "sip:d" ) } ) );
    EXPECT_EQ( bindings_->size(), 3u );
    reopen();
    std::vector<Binding> found = bindings_->find( alice );
    EXPECT_THAT( contacts( found ), ElementsAre( "sip:a", "sip:b", "sip:d" ) );
    EXPECT_EQ( found[0].expires, refreshed.expires );
    EXPECT_EQ( found[0].cseq, 2u );
    EXPECT_EQ( found[1].callId, "other" );
    ASSERT_TRUE( replace( engine_, *bindings_, alice, {} ) );
    reopen();
    EXPECT_THAT( bindings_->find( alice ), IsEmpty() );
    EXPECT_EQ( bindings_->size(), 0u );
}

TEST_F( BindingsTest, OfTheSameContactTwiceAreTwo )
{
    open();
    ASSERT_TRUE( replace( engine_, *bindings_, alice, { binding( "sip:a" ) } ) );
    ASSERT_TRUE( replace( engine_, *bindings_, alice, { binding( "sip:a" ), binding( "sip:a" ) } ) );
    reopen();
    EXPECT_THAT( contacts( bindings_->find( alice ) ), ElementsAre( "sip:a", "sip:a" ) );
}

TEST_F( BindingsTest, AreTrulySyncedWhenAsked )
{
    open( true );
    ASSERT_TRUE( replace( engine_, *bindings_, alice, { binding( "sip:a" ) } ) );
    reopen();
    EXPECT_EQ( bindings_->size(), 1u );
}

TEST_F( BindingsTest, TellInTheOrderOfTheChanges )
{
    open();
    std::vector<int> told;
    for( int count = 0; count < 100; count++ )
        bindings_->replace( count % 2 ? alice : bob, { binding( "sip:a", 60000, static_cast<uint32_t>( count ) ) },
                            [&told, count]( bool ok ) { told.push_back( ok ? count : -1 ); } );
    ASSERT_TRUE( engine_.runUntil( [&] { return told.size() == 100; } ) );
    for( int count = 0; count < 100; count++ )
        EXPECT_EQ( told[static_cast<size_t>( count )], count );
}

TEST_F( BindingsTest, TellOfAChangeThatChangesNothing )
{
    open();
    Binding made = binding( "sip:a" );
    ASSERT_TRUE( replace( engine_, *bindings_, alice, { made } ) );
    EXPECT_TRUE( replace( engine_, *bindings_, alice, { made } ) );
    EXPECT_TRUE( replace( engine_, *bindings_, bob, {} ) );
}

TEST_F( BindingsTest, FlushReturnsWhenAllIsWritten )
{
    open();
    bool told = false;
    for( int count = 0; count < 1000; count++ )
        bindings_->replace( alice, { binding( "sip:a", 60000, static_cast<uint32_t>( count ) ) }, nullptr );
    bindings_->replace( bob, { binding( "sip:a" ) }, [&told]( bool ok ) { told = ok; } );
    bindings_->flush();
    EXPECT_FALSE( told );
    engine_.runPosted();
    EXPECT_TRUE( told );
    bindings_->flush();
}

TEST_F( BindingsTest, WriteWhatWaitsBeforeTheyGo )
{
    open();
    bool told = false;
    bindings_->replace( alice, { binding( "sip:a" ) }, [&told]( bool ok ) { told = ok; } );
    reopen();
    EXPECT_EQ( bindings_->size(), 1u );
    engine_.runPosted();
    EXPECT_TRUE( told );
}

TEST_F( BindingsTest, ThatHaveExpiredAreNeitherFoundNorRestored )
{
    open();
    ASSERT_TRUE( replace( engine_, *bindings_, alice, { binding( "sip:a", -1 ), binding( "sip:b" ) } ) );
    ASSERT_TRUE( replace( engine_, *bindings_, bob, { binding( "sip:c", -1 ) } ) );
    EXPECT_THAT( contacts( bindings_->find( alice ) ), ElementsAre( "sip:b" ) );
    EXPECT_THAT( bindings_->find( bob ), IsEmpty() );
    EXPECT_EQ( bindings_->size(), 3u );
    reopen();
    EXPECT_EQ( bindings_->size(), 1u );
    EXPECT_THAT( contacts( bindings_->find( alice ) ), ElementsAre( "sip:b" ) );
}

TEST_F( BindingsTest, ThatHaveExpiredArePurgedBitByBit )
{
    open();
    for( int count = 0; count < 2000; count++ )
        bindings_->replace( "sip:" + std::to_string( count ),
                            { binding( "sip:a", -1 ), binding( "sip:b", count < 1990 ? -1 : 60000 ) }, nullptr );
    bindings_->flush();
    EXPECT_EQ( bindings_->size(), 4000u );
    engine_.expireTimers();
    EXPECT_LT( bindings_->size(), 4000u );
    EXPECT_GT( bindings_->size(), 3500u );
    for( int count = 0; count < 200; count++ )
        engine_.expireTimers();
    EXPECT_EQ( bindings_->size(), 10u );
    EXPECT_THAT( contacts( bindings_->find( "sip:1995" ) ), ElementsAre( "sip:b" ) );
    reopen();
    EXPECT_EQ( bindings_->size(), 10u );
}

// What the process writes to a file ends at a size: a full disk.
class FullDisk
{
public:
    explicit FullDisk( const std::string &path )
    {
        signal( SIGXFSZ, SIG_IGN );
        getrlimit( RLIMIT_FSIZE, &before_ );
        rlimit limit = before_;
        limit.rlim_cur = std::filesystem::file_size( path );
        setrlimit( RLIMIT_FSIZE, &limit );
    }
    ~FullDisk()
    {
        setrlimit( RLIMIT_FSIZE, &before_ );
        signal( SIGXFSZ, SIG_DFL );
    }
    FullDisk( const FullDisk & ) = delete;
    FullDisk &operator=( const FullDisk & ) = delete;

private:
    rlimit before_{};
};

TEST_F( BindingsTest, GoBackToWhatTheFileHasWhenACommitFails )
{
    open();
    std::string reason;
    bindings_->setOnFailure( [&reason]( const std::string &why ) { reason = why; } );
    Binding old = binding( "sip:old" );
    ASSERT_TRUE( replace( engine_, *bindings_, alice, { old } ) );
    std::vector<int> told;
    auto tell = [&told]( int number ) { return [&told, number]( bool ok ) { told.push_back( ok ? 0 : number ); }; };
    {
        FullDisk full( path_ + "-wal" );
        bindings_->replace( alice, { old, binding( "sip:new" ) }, tell( 1 ) );
        bindings_->replace( alice, { binding( "sip:newer" ) }, tell( 2 ) );
        bindings_->replace( bob, { binding( "sip:b" ) }, tell( 3 ) );
        bindings_->flush();
        // The failure has not been told yet: what comes now is built upon what failed.
        bindings_->replace( alice, {}, tell( 4 ) );
        bindings_->replace( bob, { binding( "sip:b" ), binding( "sip:c" ) }, tell( 5 ) );
        EXPECT_THAT( told, IsEmpty() );
        EXPECT_EQ( bindings_->size(), 2u );
        ASSERT_TRUE( engine_.runUntil( [&] { return told.size() == 5; } ) );
    }
    EXPECT_THAT( told, ElementsAre( 1, 2, 3, 4, 5 ) );
    EXPECT_NE( reason, "" );
    EXPECT_THAT( contacts( bindings_->find( alice ) ), ElementsAre( "sip:old" ) );
    EXPECT_THAT( bindings_->find( bob ), IsEmpty() );
    EXPECT_EQ( bindings_->size(), 1u );
    ASSERT_TRUE( replace( engine_, *bindings_, bob, { binding( "sip:again" ) } ) );
    reopen();
    EXPECT_THAT( contacts( bindings_->find( alice ) ), ElementsAre( "sip:old" ) );
    EXPECT_THAT( contacts( bindings_->find( bob ) ), ElementsAre( "sip:again" ) );
}

// What they tell is bound to requests, and those to the engine, in whose thread alone it may go.
TEST_F( BindingsTest, LetGoOfWhomTheyTellInTheEnginesThread )
{
    open();
    engine_.setFast();
    std::thread::id gone;
    bool told = false;
    auto note = [&gone]( int *number )
    {
        gone = std::this_thread::get_id();
        delete number;
    };
    auto whom = std::shared_ptr<int>( new int( 1 ), note );
    bindings_->replace( alice, { binding( "sip:a" ) }, [whom = std::move( whom ), &told]( bool ) { told = true; } );
    ASSERT_TRUE( engine_.runUntil( [&] { return told; } ) );
    EXPECT_EQ( gone, std::this_thread::get_id() );
}

TEST_F( BindingsTest, AreNotWrittenToAFileThatIsGone )
{
    open();
    std::string reason;
    bindings_->setOnFailure( [&reason]( const std::string &why ) { reason = why; } );
    std::filesystem::rename( path_, directory_ / "elsewhere" );
    EXPECT_FALSE( replace( engine_, *bindings_, alice, { binding( "sip:a" ) } ) );
    EXPECT_EQ( reason, "the file was deleted or replaced" );
    EXPECT_EQ( bindings_->size(), 0u );
}

TEST_F( BindingsTest, MayGoWithAFailureUntold )
{
    open();
    std::filesystem::remove( path_ );
    bool told = false;
    bindings_->replace( alice, { binding( "sip:a" ) }, [&told]( bool ) { told = true; } );
    bindings_->flush();
    bindings_.reset();
    engine_.runPosted();
    EXPECT_FALSE( told );
}

TEST_F( BindingsTest, RefuseWhatComesTooFast )
{
    open();
    std::filesystem::rename( path_, directory_ / "elsewhere" );
    int good = 0;
    int bad = 0;
    auto tell = [&]( bool ok ) { ( ok ? good : bad )++; };
    bindings_->replace( alice, {}, tell );
    bindings_->flush();
    // The failure has not been dealt with: nothing is written meanwhile.
    for( int count = 0; count < 70000; count++ )
        bindings_->replace( bob, {}, tell );
    ASSERT_TRUE( engine_.runUntil( [&] { return good + bad == 70001; } ) );
    EXPECT_EQ( good, 0 );
}

// What is allocated but for SQLite's cache, which has a bound of its own.
size_t allocated()
{
    size_t all = mallinfo2().uordblks;
    return all == 0 ? 0 : all - static_cast<size_t>( sqlite3_memory_used() );
}

TEST_F( BindingsTest, TakeLessThanAKibibyteEach )
{
    open();
    constexpr size_t count = 5000;
    size_t before = allocated();
    if( before == 0 )
        GTEST_SKIP() << "this allocator does not count";
    for( size_t number = 0; number < count; number++ )
    {
        Binding made = binding( "sip:user" + std::to_string( number ) + "@192.0.2.1:5060;transport=tcp" );
        made.callId = "0123456789abcdef0123456789abcdef@192.0.2.1";
        bindings_->replace( "sip:user" + std::to_string( number ) + "@example.com", { made }, nullptr );
    }
    bindings_->flush();
    engine_.runPosted();
    size_t bytes = ( allocated() - before ) / count;
    EXPECT_LT( bytes, 1024u );
    EXPECT_GT( bytes, 100u );
}

} // namespace
