// Names to addresses.
#include "engine/resolver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using engine::Address;

TEST( Resolver, TakesAddressesAsTheyAre )
{
    std::string why;
    EXPECT_EQ( engine::resolve( "192.0.2.1", 5070, &why ), std::vector{ *Address::parse( "192.0.2.1:5070" ) } );
    EXPECT_EQ( engine::resolve( "[2001:db8::1]", 5070, &why ), std::vector{ *Address::parse( "[2001:db8::1]:5070" ) } );
    EXPECT_EQ( engine::resolve( "::1", 5070, &why ), std::vector{ *Address::parse( "[::1]:5070" ) } );
    EXPECT_EQ( why, "" );
}

TEST( Resolver, FindsWhatTheSystemKnows )
{
    std::string why;
    const std::vector<Address> addresses = engine::resolve( "localhost", 5060, &why );
    ASSERT_FALSE( addresses.empty() ) << why;
    for( const Address &address : addresses )
    {
        EXPECT_TRUE( address.isLoopback() ) << address.text();
        EXPECT_EQ( address.port, 5060 );
        EXPECT_EQ( std::count( addresses.begin(), addresses.end(), address ), 1 );
    }
}

TEST( Resolver, SaysWhyANameHasNoAddress )
{
    for( const char *name : { "", "no such name", "192.0.2.1:5060", "name.invalid" } )
    {
        std::string why;
        EXPECT_TRUE( engine::resolve( name, 5060, &why ).empty() ) << name;
        EXPECT_TRUE( why.starts_with( std::string( name ) + ": " ) ) << why;
    }
}

TEST( Resolver, AnswersInTheThreadOfTheEngine )
{
    const auto engine = engine::createEngine( nullptr );
    engine::Resolver resolver( *engine );
    std::vector<Address> found;
    const auto self = std::this_thread::get_id();
    resolver.ask( "localhost", 5060,
                  [&]( std::vector<Address> addresses, const std::string &why )
                  {
                      EXPECT_EQ( why, "" );
                      EXPECT_TRUE( std::this_thread::get_id() == self );
                      found = std::move( addresses );
                      engine->stop();
                  } );
    EXPECT_TRUE( found.empty() ) << "not before ask returns";
    engine->run();
    ASSERT_FALSE( found.empty() );
    EXPECT_TRUE( found.front().isLoopback() );
}

TEST( Resolver, AnswersForAnAddressAtOnce )
{
    const auto engine = engine::createEngine( nullptr );
    engine::Resolver resolver( *engine );
    std::vector<Address> found;
    resolver.ask( "192.0.2.1", 5060,
                  [&]( std::vector<Address> addresses, const std::string & ) { found = addresses; } );
    EXPECT_EQ( found, std::vector{ *Address::parse( "192.0.2.1:5060" ) } );
}

TEST( Resolver, AnswersEachQuestionOnceAndRefusesTooManyAtOnce )
{
    const auto engine = engine::createEngine( nullptr );
    engine::Resolver resolver( *engine );
    constexpr int questions = 2000;
    int answers = 0;
    int refused = 0;
    for( int number = 0; number < questions; ++number )
        resolver.ask( "localhost", 5060,
                      [&]( const std::vector<Address> &addresses, const std::string &why )
                      {
                          refused += addresses.empty() && why == "localhost: too many names are being looked up";
                          if( ++answers == questions )
                              engine->stop();
                      } );
    EXPECT_GT( refused, 0 );
    engine->run();
    EXPECT_EQ( answers, questions );
    EXPECT_LE( questions - refused, questions );
}

TEST( Resolver, AnswersNobodyAfterItsEnd )
{
    const auto engine = engine::createEngine( nullptr );
    {
        engine::Resolver resolver( *engine );
        for( int number = 0; number < 100; ++number )
            resolver.ask( "localhost", 5060, []( const std::vector<Address> &, const std::string & ) { FAIL(); } );
    }
    const auto timer = engine->after( 50, [&] { engine->stop(); } );
    engine->run();
}
