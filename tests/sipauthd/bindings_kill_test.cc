// Whatever was reported as committed is there after the process was killed.
#include "bindings_support.h"

#include <gmock/gmock.h>

#include <csignal>
#include <map>
#include <sys/wait.h>

namespace
{

constexpr int users = 40;

struct Report
{
    int user;
    uint32_t cseq;
};

std::string addressOf( int user )
{
    return "sip:user" + std::to_string( user ) + "@example.com";
}

// In the child: registers all users again and again, one more contact or one less each time, and reports what has been
// committed.
[[noreturn]] void registerForEver( const std::string &path, uint32_t cseq, int pipe )
{
    clockwork::Engine engine;
    std::string why;
    auto bindings = sipauthd::Bindings::open( path, false, engine, &why );
    if( !bindings )
        _exit( 1 );
    for( ;; cseq++ )
    {
        int open = users;
        for( int user = 0; user < users; user++ )
        {
            std::vector<sipauthd::Binding> now( cseq % 3 + 1, clockwork::binding( "sip:x", 600000, cseq ) );
            for( size_t index = 0; index < now.size(); index++ )
                now[index].contact += std::to_string( index );
            auto committed = [&open, user, cseq, pipe]( bool ok )
            {
                Report report{ user, cseq };
                if( !ok || write( pipe, &report, sizeof report ) != sizeof report )
                    _exit( 2 );
                open--;
            };
            bindings->replace( addressOf( user ), now, committed );
        }
        if( !engine.runUntil( [&open] { return open == 0; } ) )
            _exit( 3 );
    }
}

// Reads reports until there have been a number of them, kills the child, and reads the others.
void killAfter( int count, pid_t child, int pipe, std::map<int, uint32_t> &reported )
{
    Report report{};
    int seen = 0;
    while( read( pipe, &report, sizeof report ) == sizeof report )
    {
        reported[report.user] = report.cseq;
        if( ++seen == count )
            kill( child, SIGKILL );
    }
    EXPECT_GE( seen, count );
    int status = 0;
    ASSERT_EQ( waitpid( child, &status, 0 ), child );
    EXPECT_TRUE( WIFSIGNALED( status ) && WTERMSIG( status ) == SIGKILL ) << status;
}

TEST( BindingsKill, LosesNothingThatWasReported )
{
    clockwork::Directory directory;
    std::string path = directory / "bindings.db";
    std::map<int, uint32_t> reported;
    for( int round = 0; round < 8; round++ )
    {
        int ends[2];
        ASSERT_EQ( pipe( ends ), 0 );
        uint32_t first = reported.empty() ? 1 : reported[0] + 2;
        pid_t child = fork();
        if( child == 0 )
        {
            close( ends[0] );
            registerForEver( path, first, ends[1] );
        }
        close( ends[1] );
        killAfter( 30 + 97 * round, child, ends[0], reported );
        close( ends[0] );
        clockwork::Engine engine;
        auto bindings = clockwork::open( path, engine );
        ASSERT_TRUE( bindings );
        for( const auto &[user, cseq] : reported )
        {
            std::vector<sipauthd::Binding> found = bindings->find( addressOf( user ) );
            ASSERT_FALSE( found.empty() ) << user;
            // A later change may have been written when there was no time to report it; but each is there whole.
            EXPECT_GE( found[0].cseq, cseq ) << user;
            EXPECT_EQ( found.size(), found[0].cseq % 3 + 1 ) << user;
            for( const sipauthd::Binding &item : found )
                EXPECT_EQ( item.cseq, found[0].cseq );
        }
    }
    EXPECT_EQ( reported.size(), static_cast<size_t>( users ) );
}

} // namespace
