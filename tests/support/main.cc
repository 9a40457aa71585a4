// The main program of every test program: runs the tests and fails each one that leaves an object alive.
#include <pb/pb_obj.h>

#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <string>

#ifdef SIPAUTH_COVERAGE
extern "C" void __gcov_dump();
#endif

namespace
{

class LiveObjectCheck : public testing::EmptyTestEventListener
{
    void OnTestStart( const testing::TestInfo & ) override { before_ = count(); }

    void OnTestEnd( const testing::TestInfo & ) override
    {
        for( const auto &[sort, live] : count() )
            EXPECT_EQ( live, before_[sort] ) << "live objects of sort " << sort << " after the test";
    }

    static std::map<std::string, int64_t> count()
    {
        std::map<std::string, int64_t> counts;
        for( pbSort *sort = pbSortNext( nullptr ); sort; sort = pbSortNext( sort ) )
            counts[pbSortName( sort )] = pbSortLiveObjects( sort );
        return counts;
    }

    std::map<std::string, int64_t> before_;
};

// What a test that expects an abort has run counts as covered, too: a measured process writes its counts as it aborts.
void countAborts()
{
#ifdef SIPAUTH_COVERAGE
    std::signal( SIGABRT, []( int ) { __gcov_dump(); } );
#endif
}

} // namespace

int main( int argc, char **argv )
{
    countAborts();
    testing::InitGoogleTest( &argc, argv );
    testing::UnitTest::GetInstance()->listeners().Append( new LiveObjectCheck );
    return RUN_ALL_TESTS();
}
