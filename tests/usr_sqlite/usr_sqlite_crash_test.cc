// A process that administrates users is killed, again and again, without warning. Whatever it had been told was done
// must be there afterwards; what it was doing when it died may be there or not.
#include "sqlite_users.h"

#include <csignal>
#include <map>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using namespace sqlite_users;

// What is known of a user: the password, and whether the user is enabled.
struct Known
{
    std::string password;
    bool enabled = true;

    bool operator==( const Known &other ) const { return password == other.password && enabled == other.enabled; }
};
using Ledger = std::map<std::string, Known>;

// One change. Written as one line to the ledger's pipe before it is made, with '+' in front, and after it, with '='.
struct Change
{
    enum Kind
    {
        addUser,
        changePassword,
        disable,
        enable,
        deleteUser,
        kinds
    };
    Kind kind;
    std::string user;
    std::string password;

    void apply( Ledger &ledger ) const
    {
        auto known = ledger.find( user );
        if( kind == addUser )
            ledger.emplace( user, Known{ password, true } );
        else if( known == ledger.end() )
            return;
        else if( kind == changePassword )
            known->second.password = password;
        else if( kind == deleteUser )
            ledger.erase( known );
        else
            known->second.enabled = kind == enable;
    }

    std::string line() const { return std::to_string( kind ) + " " + user + " " + password + "\n"; }

    static Change draw( std::mt19937 &random, int number )
    {
        return { static_cast<Kind>( random() % kinds ), "user" + std::to_string( random() % 20 ),
                 "p" + std::to_string( random() % 1000 ) + "." + std::to_string( number ) };
    }

    static Change parse( const std::string &line )
    {
        size_t second = line.find( ' ', 2 );
        return { static_cast<Kind>( line[0] - '0' ), line.substr( 2, second - 2 ), line.substr( second + 1 ) };
    }
};

std::string make( usrDirectory *directory, const Change &change )
{
    switch( change.kind )
    {
    case Change::addUser:
        return add( directory, change.user, change.user, "", change.password );
    case Change::changePassword:
        return setPassword( directory, change.user, change.password );
    case Change::deleteUser:
        return remove( directory, change.user );
    default:
        return setEnabled( directory, change.user, change.kind == Change::enable );
    }
}

// The process that is to be killed. A change that fails, other than for what the ledger knows, ends it by itself.
[[noreturn]] void administrate( pbStore *configuration, int ledger, unsigned seed )
{
    auto tell = [ledger]( const std::string &line )
    {
        if( ::write( ledger, line.data(), line.size() ) != static_cast<ssize_t>( line.size() ) )
            _exit( 3 );
    };
    auto directory = own( usrDirectoryTryCreate( configuration, nullptr, nullptr ) );
    if( !directory )
        _exit( 4 );
    std::mt19937 random( seed );
    for( int number = 0;; number++ )
    {
        Change change = Change::draw( random, number );
        tell( "+" + change.line() );
        std::string result = make( directory, change );
        if( result.rfind( "failed", 0 ) == 0 )
            _exit( 5 );
        tell( "=" + change.line() );
    }
}

class SqliteCrash : public SqliteUsers
{
protected:
    // Runs a process until it is killed; what it had written to the ledger's pipe.
    std::vector<std::string> runAndKill( unsigned seed )
    {
        int ends[2];
        EXPECT_EQ( pipe( ends ), 0 );
        auto configured = configuration();
        pid_t child = fork();
        if( child == 0 )
        {
            trSetRecorder( nullptr );
            ::close( ends[0] );
            administrate( configured, ends[1], seed );
        }
        ::close( ends[1] );
        std::string text = readUntilKilled( ends[0], child, seed );
        ::close( ends[0] );
        int status = 0;
        EXPECT_EQ( waitpid( child, &status, 0 ), child );
        EXPECT_TRUE( WIFSIGNALED( status ) && WTERMSIG( status ) == SIGKILL ) << "it ended by itself: " << status;
        std::vector<std::string> lines;
        for( size_t start = 0, end = 0; ( end = text.find( '\n', start ) ) != std::string::npos; start = end + 1 )
            lines.push_back( text.substr( start, end - start ) );
        return lines;
    }

    // Kills after a number of bytes and a time that the seed gives, so that it hits every stage of a change.
    std::string readUntilKilled( int pipe, pid_t child, unsigned seed )
    {
        std::mt19937 random( seed + 1'000'000 );
        size_t enough = random() % 3000;
        std::string text;
        char bytes[512];
        bool killed = false;
        ssize_t count = 0;
        while( ( count = read( pipe, bytes, sizeof bytes ) ) > 0 )
        {
            text.append( bytes, static_cast<size_t>( count ) );
            if( killed || text.size() < enough )
                continue;
            // Mostly at once: what is written when it dies is not lost, so the moment before that is the one to hit.
            std::this_thread::sleep_for( std::chrono::microseconds( random() % 4 ? 0 : random() % 5000 ) );
            kill( child, SIGKILL );
            killed = true;
        }
        return text;
    }

    Ledger stored( usrDirectory *directory )
    {
        Ledger ledger;
        for( const std::string &line : list( directory ) )
        {
            std::string user = line.substr( 0, line.find( ' ' ) );
            Known known{ "", line.find( "(disabled)" ) == std::string::npos };
            setEnabled( directory, user, true );
            std::string answer = find( directory, user );
            EXPECT_EQ( answer.rfind( user + " " + user + " ", 0 ), 0u ) << answer;
            known.password = answer.substr( std::min( answer.size(), 2 * user.size() + 2 ) );
            setEnabled( directory, user, known.enabled );
            ledger.emplace( user, known );
        }
        return ledger;
    }
};

TEST_F( SqliteCrash, LosesNothingThatWasAcknowledged )
{
    Ledger ledger;
    int changes = 0;
    int unfinished = 0;
    for( unsigned round = 0; round < 20; round++ )
    {
        std::vector<std::string> lines = runAndKill( round );
        Ledger withLast = ledger;
        for( const std::string &line : lines )
        {
            Change change = Change::parse( line.substr( 1 ) );
            Ledger &written = line[0] == '+' ? withLast : ledger;
            change.apply( written );
            changes += line[0] == '=';
        }
        unfinished += !lines.empty() && lines.back()[0] == '+';
        auto directory = open();
        EXPECT_EQ( Other( path ).run( "PRAGMA integrity_check" ), "ok" );
        Ledger there = stored( directory );
        EXPECT_TRUE( there == ledger || there == withLast ) << "round " << round;
        ledger = there;
    }
    EXPECT_GT( changes, 100 );
    EXPECT_GT( unfinished, 0 ) << "no process was killed in the middle of a change";
}

} // namespace
