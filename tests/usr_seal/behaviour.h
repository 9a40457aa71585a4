// What every driver that keeps sealed passwords does, as tests for each of them to instantiate. A driver's fixture is a
// users::Users with
//     open()            a directory on the database of the test, the same at each call
//     sql( TEXT )       runs a statement beside the driver and gives its value or what failed
//     keyFile()         the path of the key file
//     table()           the name of the table of users
#ifndef USR_SEAL_BEHAVIOUR_H
#define USR_SEAL_BEHAVIOUR_H

#include "usr_seal/users.h"

#include <gmock/gmock.h>

namespace behaviour
{

using pb::own;
using testing::ElementsAre;
using users::add;
using users::list;
using users::remove;
using users::setEnabled;
using users::setPassword;

template<class Fixture>
class Driver : public Fixture
{
};

TYPED_TEST_SUITE_P( Driver );

TYPED_TEST_P( Driver, FindsAUserWithPassword )
{
    auto directory = this->open();
    EXPECT_EQ( add( directory, "1", "alice", "", "secret" ), "ok" );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice secret" );
    EXPECT_EQ( this->queryId( directory, "1" ), "1 alice secret" );
    EXPECT_EQ( this->find( directory, "bob" ), "not found" );
    EXPECT_EQ( this->find( directory, "Alice" ), "not found" );
    EXPECT_EQ( this->queryId( directory, "2" ), "not found" );
}

TYPED_TEST_P( Driver, WithARealmPrefersTheUserOfThatRealm )
{
    auto directory = this->open();
    add( directory, "1", "alice", "", "none" );
    add( directory, "2", "alice", "a", "of a" );
    add( directory, "3", "alice", "b", "of b" );
    EXPECT_EQ( this->find( directory, "alice", "a" ), "2 alice of a" );
    EXPECT_EQ( this->find( directory, "alice", "b" ), "3 alice of b" );
    EXPECT_EQ( this->find( directory, "alice", "c" ), "1 alice none" );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice none" );
}

TYPED_TEST_P( Driver, WithoutARealmFindsTheOnlyOneOfAName )
{
    auto directory = this->open();
    const std::string ambiguous = "ambiguous: several realms have this user name";
    add( directory, "1", "alice", "a", "of a" );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice of a" );
    EXPECT_EQ( this->find( directory, "alice", "b" ), "not found" );
    EXPECT_EQ( this->find( directory, "alice", "A" ), "not found" );
    add( directory, "2", "alice", "b", "of b" );
    EXPECT_EQ( this->find( directory, "alice" ), ambiguous );
    add( directory, "3", "alice", "c", "of c" );
    EXPECT_EQ( this->find( directory, "alice" ), ambiguous );
    EXPECT_EQ( this->find( directory, "alice", "b" ), "2 alice of b" );
    remove( directory, "2" );
    setEnabled( directory, "3", false );
    EXPECT_EQ( this->find( directory, "alice" ), ambiguous ) << "a user who is disabled takes part in the choice";
}

TYPED_TEST_P( Driver, TellsWhoIsDisabledOrHasNoPassword )
{
    auto directory = this->open();
    add( directory, "1", "alice", "", "secret" );
    add( directory, "2", "alice", "a", "secret" );
    EXPECT_EQ( setEnabled( directory, "2", false ), "ok" );
    EXPECT_EQ( this->find( directory, "alice", "a" ), "disabled" ) << "the user without realm is no substitute";
    EXPECT_EQ( this->queryId( directory, "2" ), "disabled" );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice secret" );
    EXPECT_EQ( setEnabled( directory, "2", true ), "ok" );
    EXPECT_EQ( this->find( directory, "alice", "a" ), "2 alice secret" );
    this->sql( "UPDATE " + this->table() + " SET password = NULL WHERE id = '1'" );
    EXPECT_EQ( this->find( directory, "alice" ), "no password" );
    EXPECT_EQ( this->queryId( directory, "1" ), "no password" );
}

TYPED_TEST_P( Driver, TakesNamesOfAllKinds )
{
    auto directory = this->open();
    const std::vector<std::string> names = { "ünïcödé",          "a'b\"c;--", "%_\\",
                                             "\xF0\x9F\x98\x80", " a ",       std::string( 1000, 'x' ) };
    for( const std::string &name : names )
    {
        EXPECT_EQ( add( directory, name, name, name, name ), "ok" );
        EXPECT_EQ( this->find( directory, name, name ), name + " " + name + " " + name );
    }
    EXPECT_EQ( this->find( directory, "a" ), "not found" );
    EXPECT_EQ( list( directory ).size(), names.size() );
}

TYPED_TEST_P( Driver, ChangesAndDeletes )
{
    auto directory = this->open();
    add( directory, "1", "alice", "a", "old" );
    EXPECT_EQ( setPassword( directory, "1", "new" ), "ok" );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice new" );
    EXPECT_EQ( remove( directory, "1" ), "ok" );
    EXPECT_EQ( this->find( directory, "alice" ), "not found" );
    EXPECT_EQ( remove( directory, "1" ), "not found" );
    EXPECT_EQ( setPassword( directory, "1", "new" ), "not found" );
    EXPECT_EQ( setEnabled( directory, "1", true ), "not found" );
    EXPECT_EQ( add( directory, "1", "alice", "a", "again" ), "ok" );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice again" );
}

TYPED_TEST_P( Driver, RefusesASecondUserOfAnIdOrOfANameAndRealm )
{
    auto directory = this->open();
    EXPECT_EQ( add( directory, "1", "alice", "", "p" ), "ok" );
    EXPECT_EQ( add( directory, "1", "bob", "", "p" ), "exists" );
    EXPECT_EQ( add( directory, "2", "alice", "", "p" ), "exists" );
    EXPECT_EQ( add( directory, "2", "alice", "a", "p" ), "ok" );
    EXPECT_EQ( add( directory, "3", "alice", "a", "p" ), "exists" );
    EXPECT_THAT( list( directory ), ElementsAre( "1 alice", "2 alice a" ) );
}

TYPED_TEST_P( Driver, ListsThemInOrder )
{
    auto directory = this->open();
    EXPECT_THAT( list( directory ), ElementsAre() );
    add( directory, "3", "bob", "", "p" );
    add( directory, "4", "Zoe", "", "p" );
    add( directory, "2", "alice", "b", "p" );
    add( directory, "1", "alice", "", "p" );
    setEnabled( directory, "2", false );
    EXPECT_THAT( list( directory ), ElementsAre( "4 Zoe", "1 alice", "2 alice b (disabled)", "3 bob" ) );
}

TYPED_TEST_P( Driver, KeepsThemFromOneDirectoryToTheNext )
{
    add( this->open(), "1", "alice", "", "secret" );
    EXPECT_EQ( this->find( this->open(), "alice" ), "1 alice secret" );
}

TYPED_TEST_P( Driver, SharesTheDatabaseWithOtherDirectories )
{
    auto one = this->open();
    auto two = this->open();
    add( one, "1", "alice", "", "secret" );
    EXPECT_EQ( this->find( two, "alice" ), "1 alice secret" );
    setPassword( two, "1", "other" );
    EXPECT_EQ( this->find( one, "alice" ), "1 alice other" );
}

TYPED_TEST_P( Driver, TracesNoPassword )
{
    auto directory = this->open();
    add( directory, "1", "alice", "", "correct horse" );
    setPassword( directory, "1", "battery staple" );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice battery staple" );
    for( const char *secret : { "correct", "battery", "Y29ycmVjdC", "YmF0dGVye" } )
        EXPECT_FALSE( this->traced( secret ) ) << secret;
}

TYPED_TEST_P( Driver, DoesNotOpenAPasswordInAnotherRow )
{
    auto directory = this->open();
    const std::string table = this->table();
    add( directory, "1", "alice", "", "secret of alice" );
    add( directory, "2", "mallory", "", "secret of mallory" );
    const std::string why = "the sealed password does not open: the row or its key was changed";
    this->sql( "UPDATE " + table + " SET password = ( SELECT password FROM " + table +
               " WHERE id = '2' ) WHERE id = '1'" );
    EXPECT_EQ( this->find( directory, "alice" ), why );
    EXPECT_EQ( this->find( directory, "mallory" ), "2 mallory secret of mallory" );
    this->sql( "UPDATE " + table + " SET realm = 'other' WHERE id = '2'" );
    EXPECT_EQ( this->find( directory, "mallory" ), why );
    EXPECT_EQ( setPassword( directory, "1", "fresh" ), "ok" );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice fresh" );
}

TYPED_TEST_P( Driver, RotatesKeysByALineInTheKeyFile )
{
    auto directory = this->open();
    add( directory, "1", "alice", "", "old key" );
    std::ofstream( this->keyFile(), std::ios::app ) << "2147483648 QkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkI=\n";
    add( directory, "2", "bob", "", "new key" );
    EXPECT_EQ( this->sql( "SELECT key FROM " + this->table() + " WHERE id = '2'" ), "2147483648" );
    EXPECT_NE( this->sql( "SELECT key FROM " + this->table() + " WHERE id = '1'" ), "2147483648" );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice old key" );
    EXPECT_EQ( this->find( directory, "bob" ), "2 bob new key" );
}

TYPED_TEST_P( Driver, SealsNothingWhenTheKeyFileIsLost )
{
    auto directory = this->open();
    add( directory, "1", "alice", "", "secret" );
    const std::string keyFile = this->keyFile();
    std::filesystem::rename( keyFile, keyFile + ".away" );
    const std::string lost =
        "failed: " + keyFile + " is missing, but there are passwords that were sealed with its keys";
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), lost );
    EXPECT_EQ( setPassword( directory, "1", "other" ), lost );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice secret" ) << "the keys are still in memory";
    directory = this->open();
    EXPECT_THAT( this->find( directory, "alice" ), testing::StartsWith( "the password is sealed with key " ) );
    std::filesystem::rename( keyFile + ".away", keyFile );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice secret" );
    EXPECT_EQ( add( directory, "2", "bob", "", "secret" ), "ok" );
}

TYPED_TEST_P( Driver, EndsWhatWaitsWhenTheDirectoryGoes )
{
    auto directory = this->open();
    add( directory, "1", "alice", "", "secret" );
    std::vector<pb::Ref<usrLookup>> lookups;
    for( int index = 0; index < 500; index++ )
        lookups.push_back( this->begin( directory, "alice" ) );
    // A lookup keeps its directory, so both have to go.
    directory.clear();
    auto start = std::chrono::steady_clock::now();
    lookups.clear();
    EXPECT_LT( std::chrono::steady_clock::now() - start, std::chrono::seconds( 5 ) );
}

TYPED_TEST_P( Driver, AnswersManyLookupsAtOnce )
{
    auto directory = this->open();
    for( int index = 0; index < 20; index++ )
        add( directory, std::to_string( index ), "user" + std::to_string( index ), "", "secret" );
    std::vector<pb::Ref<usrLookup>> lookups;
    for( int index = 0; index < 1000; index++ )
        lookups.push_back( this->begin( directory, "user" + std::to_string( index % 25 ) ) );
    ASSERT_TRUE( this->runUntil( [&] { return users::allEnded( lookups ); } ) );
    for( size_t index = 0; index < lookups.size(); index++ )
    {
        auto user = pb::own( usrLookupResult( lookups[index] ) );
        std::string id = user ? support::textOf( usrUserId( user ) ) : "none";
        EXPECT_EQ( id, index % 25 < 20 ? std::to_string( index % 25 ) : "none" ) << index;
    }
}

TYPED_TEST_P( Driver, AnswersWhileUsersChange )
{
    auto directory = this->open();
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
        std::string answer = this->find( directory, "alice" );
        bool good = answer.rfind( "1 alice password ", 0 ) == 0;
        EXPECT_TRUE( good ) << answer;
        int seen = good ? std::stoi( answer.substr( 17 ) ) : last;
        EXPECT_GE( seen, last ) << "a password that was replaced came back";
        last = seen;
    }
    writer.join();
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice password 50" );
}

TYPED_TEST_P( Driver, TellsOfChangesThatItsDirectoryMakes )
{
    auto directory = this->open();
    EXPECT_TRUE( usrDirectoryTellsChanges( directory ) );
    int64_t before = usrDirectoryChanges( directory );
    auto grown = [&] { return std::exchange( before, usrDirectoryChanges( directory ) ) < before; };
    EXPECT_EQ( add( directory, "1", "alice", "", "secret" ), "ok" );
    EXPECT_TRUE( grown() );
    EXPECT_EQ( setPassword( directory, "1", "other" ), "ok" );
    EXPECT_TRUE( grown() );
    EXPECT_EQ( setEnabled( directory, "1", false ), "ok" );
    EXPECT_TRUE( grown() );
    EXPECT_EQ( remove( directory, "1" ), "ok" );
    EXPECT_TRUE( grown() );
}

TYPED_TEST_P( Driver, TellsOfChangesThatOthersMake )
{
    auto other = this->open();
    auto directory = this->open();
    // Time enough for all that is to be noticed.
    auto rest = [&]
    {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds( 1500 );
        this->runUntil( [&] { return std::chrono::steady_clock::now() > end; } );
        return usrDirectoryChanges( directory );
    };
    int64_t before = rest();
    EXPECT_EQ( rest(), before ) << "it grows without any change";
    auto noticed = [&]
    {
        bool grown = this->runUntil( [&] { return usrDirectoryChanges( directory ) > before; } );
        before = usrDirectoryChanges( directory );
        return grown;
    };
    EXPECT_EQ( add( other, "1", "alice", "", "secret" ), "ok" );
    EXPECT_TRUE( noticed() );
    EXPECT_EQ( setPassword( other, "1", "other" ), "ok" );
    EXPECT_TRUE( noticed() );
    EXPECT_EQ( setEnabled( other, "1", false ), "ok" );
    EXPECT_TRUE( noticed() );
    EXPECT_EQ( remove( other, "1" ), "ok" );
    EXPECT_TRUE( noticed() );
}

TYPED_TEST_P( Driver, EndsLookupsOfNobodyWithADecoy )
{
    auto directory = this->open();
    add( directory, "1", "alice", "", "secret" );
    add( directory, "2", "bob", "", "secret" );
    setEnabled( directory, "2", false );
    auto config = own( usrDirectoryConfig( directory, 0 ) );
    pbStoreSetValueBoolCstr( config.inout(), "decoys", -1, 1 );
    ASSERT_TRUE( usrDirectoryTrySetConfig( directory, config, nullptr ) );
    EXPECT_EQ( this->find( directory, "alice" ), "1 alice secret" );
    for( const char *name : { "bob", "carol" } )
    {
        std::string found = this->find( directory, name );
        std::string start = std::string( "decoy:" ) + name + " " + name + " ";
        EXPECT_EQ( found.substr( 0, start.size() ), start );
        EXPECT_EQ( found.size(), start.size() + 44 );
        EXPECT_EQ( this->find( directory, name ), found );
    }
}

REGISTER_TYPED_TEST_SUITE_P( Driver, FindsAUserWithPassword, WithARealmPrefersTheUserOfThatRealm,
                             WithoutARealmFindsTheOnlyOneOfAName, TellsWhoIsDisabledOrHasNoPassword,
                             TakesNamesOfAllKinds, ChangesAndDeletes, RefusesASecondUserOfAnIdOrOfANameAndRealm,
                             ListsThemInOrder, KeepsThemFromOneDirectoryToTheNext,
                             SharesTheDatabaseWithOtherDirectories, TracesNoPassword, DoesNotOpenAPasswordInAnotherRow,
                             RotatesKeysByALineInTheKeyFile, SealsNothingWhenTheKeyFileIsLost,
                             EndsWhatWaitsWhenTheDirectoryGoes, AnswersManyLookupsAtOnce, AnswersWhileUsersChange,
                             TellsOfChangesThatItsDirectoryMakes, TellsOfChangesThatOthersMake,
                             EndsLookupsOfNobodyWithADecoy );

} // namespace behaviour

#endif
