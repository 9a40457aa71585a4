// Assertions and the end of the process.
#include "support/abort.h"

#include "pb/pb_assert.h"

namespace
{

using testing::KilledBySignal;

TEST( AbortDeathTest, PrintsPathLineAndExpression )
{
    EXPECT_EXIT( pb___Abort( nullptr, "source/pb/pb_some.cc", 7, "a == b" ), KilledBySignal( SIGABRT ),
                 testing::ContainsRegex( "(^|\n)source/pb/pb_some:7: abort: a == b\n$" ) );
}

TEST( AbortDeathTest, PrintsTheContextBeforeTheExpression )
{
    EXPECT_EXIT( pb___Abort( "stdfunc retain", "source/pb/pb_some.cc", 12, "obj" ), KilledBySignal( SIGABRT ),
                 testing::ContainsRegex( "(^|\n)source/pb/pb_some:12: abort: stdfunc retain: obj\n$" ) );
}

TEST( AbortDeathTest, TakesAPathWithoutExtension )
{
    EXPECT_EXIT( pb___Abort( nullptr, "some.dir/file", 1, "x" ), KilledBySignal( SIGABRT ),
                 testing::ContainsRegex( "(^|\n)some.dir/file:1: abort: x\n$" ) );
    EXPECT_EXIT( pb___Abort( nullptr, "file", 1, "x" ), KilledBySignal( SIGABRT ),
                 testing::ContainsRegex( "(^|\n)file:1: abort: x\n$" ) );
}

TEST( AbortDeathTest, AssertionPrintsItsConditionAsWritten )
{
    int64_t index = 3;
    EXPECT_ABORT( PB_ASSERT( index >= 0 && index < 3 ), "tests/pb/pb_abort_test", "index >= 0 && index < 3" );
    EXPECT_ABORT( PB_ASSERT_TEXT( index < 3, "another text" ), "tests/pb/pb_abort_test", "another text" );
    EXPECT_ABORT( PB_ASSERT_CONTEXT( "context", index < 3, "text" ), "tests/pb/pb_abort_test", "context: text" );
}

TEST( Assertion, ThatHoldsHasNoEffectAndIsEvaluatedOnce )
{
    int evaluations = 0;
    PB_ASSERT( ++evaluations == 1 );
    EXPECT_EQ( evaluations, 1 );
}

} // namespace
