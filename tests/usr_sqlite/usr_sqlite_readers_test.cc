// The threads that look users up.
#include "sqlite_users.h"

namespace
{

using namespace sqlite_users;

TEST_F( SqliteUsers, AnswersManyLookupsAtOnce )
{
    auto configured = configuration();
    users::set( configured, "readers", int64_t{ 4 } );
    auto directory = tryCreate( configured );
    for( int index = 0; index < 20; index++ )
        add( directory, std::to_string( index ), "user" + std::to_string( index ), "", "secret" );
    std::vector<pb::Ref<usrLookup>> lookups;
    for( int index = 0; index < 1000; index++ )
        lookups.push_back( begin( directory, "user" + std::to_string( index % 25 ) ) );
    EXPECT_TRUE( runUntil(
        [&]
        {
            return std::all_of( lookups.begin(), lookups.end(),
                                []( usrLookup *lookup ) { return usrLookupEnd( lookup ); } );
        } ) );
    for( int index = 0; index < 1000; index++ )
    {
        auto user = own( usrLookupResult( lookups[static_cast<size_t>( index )] ) );
        ASSERT_EQ( static_cast<bool>( user ), index % 25 < 20 ) << index;
        std::string id = user ? support::textOf( usrUserId( user ) ) : "";
        EXPECT_EQ( id, user ? std::to_string( index % 25 ) : "" );
    }
}

TEST_F( SqliteUsers, EndsWhatWaitsWhenTheDirectoryGoes )
{
    auto configured = configuration();
    users::set( configured, "readers", int64_t{ 1 } );
    auto directory = tryCreate( configured );
    add( directory, "1", "alice", "", "secret" );
    std::vector<pb::Ref<usrLookup>> lookups;
    for( int index = 0; index < 500; index++ )
        lookups.push_back( begin( directory, "alice" ) );
    directory.clear();
    EXPECT_TRUE( runUntil(
        [&]
        {
            return std::all_of( lookups.begin(), lookups.end(),
                                []( usrLookup *lookup ) { return usrLookupEnd( lookup ); } );
        } ) );
}

TEST_F( SqliteUsers, AnswersWhileUsersChange )
{
    auto directory = open();
    add( directory, "1", "alice", "", "password 0" );
    std::thread writer(
        [&]
        {
            for( int round = 1; round <= 50; round++ )
                EXPECT_EQ( setPassword( directory, "1", "password " + std::to_string( round ) ), "ok" );
        } );
    int last = 0;
    for( int round = 0; round < 200; round++ )
    {
        std::string answer = find( directory, "alice" );
        ASSERT_EQ( answer.rfind( "1 alice password ", 0 ), 0u ) << answer;
        int seen = std::stoi( answer.substr( 17 ) );
        EXPECT_GE( seen, last ) << "a password that was replaced came back";
        last = seen;
    }
    writer.join();
    EXPECT_EQ( find( directory, "alice" ), "1 alice password 50" );
}

TEST_F( SqliteUsers, IsMadeByManyAtTheSameTime )
{
    std::vector<std::thread> threads;
    std::vector<std::string> results( 8 );
    for( size_t index = 0; index < results.size(); index++ )
    {
        threads.emplace_back(
            [&, index]
            {
                pbString *why = nullptr;
                auto configured = configuration();
                users::set( configured, "busyTimeout", int64_t{ 10'000 } );
                auto directory = own( usrDirectoryTryCreate( configured, nullptr, &why ) );
                std::string id = std::to_string( index );
                results[index] = directory ? add( directory, id, id, "", "secret " + id ) : support::textOf( why );
            } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( results, std::vector<std::string>( 8, "ok" ) );
    auto directory = open();
    for( size_t index = 0; index < results.size(); index++ )
    {
        std::string id = std::to_string( index );
        EXPECT_EQ( find( directory, id ), id + " " + id + " secret " + id ) << "all of them use one key file";
    }
}

} // namespace
