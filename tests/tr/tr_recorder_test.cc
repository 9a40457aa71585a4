// Recorders: the memory recorder and what all have in common.
#include "recorded.h"
#include "support/abort.h"

namespace
{

using pb::own;
using recorded::Recorded;
using recorded::stream;
using recorded::textOf;

class Recorder : public Recorded
{
};

TEST_F( Recorder, CountsLinesWithAText )
{
    auto one = stream();
    trStreamTextCstr( one, "twice", -1 );
    trStreamMessageCstr( one, 0, support::buffer( "" ), "twice", -1 );
    trStreamTextCstr( one, "twice and more", -1 );
    EXPECT_EQ( trRecorderCountTextCstr( recorder, "twice", -1 ), 2 );
    EXPECT_EQ( trRecorderCountTextCstr( recorder, "twice!", 5 ), 2 );
    EXPECT_EQ( trRecorderCountTextCstr( recorder, "never", -1 ), 0 );
}

TEST_F( Recorder, GivesTheTextsOfAStreamInOrder )
{
    auto one = stream( "ONE" );
    auto other = stream( "OTHER" );
    trStreamTextCstr( one, "a", -1 );
    trStreamTextCstr( other, "x", -1 );
    trStreamSetPropertyCstrString( one, "property", -1, support::string( "no text line" ) );
    trStreamMessageCstr( one, 0, support::buffer( "payload" ), "b", -1 );
    auto texts = own( trRecorderTextsCstr( recorder, "ONE", -1 ) );
    ASSERT_EQ( pbVectorLength( texts ), 2 );
    EXPECT_EQ( support::textOf( pbStringFrom( pbVectorObjAt( texts, 0 ) ) ), "a" );
    EXPECT_EQ( support::textOf( pbStringFrom( pbVectorObjAt( texts, 1 ) ) ), "b" );
}

TEST_F( Recorder, ClearsItsLinesButNotThoseOfOthers )
{
    trStreamTextCstr( stream(), "text", -1 );
    auto lines = own( trRecorderLinesVector( recorder ) );
    trRecorderClearLines( recorder );
    EXPECT_EQ( trRecorderLinesLength( recorder ), 0 );
    EXPECT_EQ( pbVectorLength( lines ), 3 );
    EXPECT_TRUE( pbVectorContainsOnly( lines, trLineSort() ) );
}

TEST_F( Recorder, LosesNothingInMemory )
{
    trStreamTextCstr( stream(), "text", -1 );
    EXPECT_EQ( trRecorderLostLines( recorder ), 0 );
}

TEST_F( Recorder, ShowsSecretsOnlyWhenTold )
{
    auto one = stream();
    EXPECT_FALSE( trRecorderSecrets( recorder ) );
    trStreamTextCstr( one, "H(A1): 939e7578ed9e3c518a452acee763bce9", -1 );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "H(A1): (masked)" );
    trRecorderSetSecrets( recorder, 1 );
    EXPECT_TRUE( trRecorderSecrets( recorder ) );
    trStreamTextCstr( one, "H(A1): 939e7578ed9e3c518a452acee763bce9", -1 );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "H(A1): 939e7578ed9e3c518a452acee763bce9" );
    trRecorderSetSecrets( recorder, 0 );
    trStreamTextCstr( one, "H(A1): 939e7578ed9e3c518a452acee763bce9", -1 );
    EXPECT_EQ( textOf( lineAt( -1 ) ), "H(A1): (masked)" );
}

TEST_F( Recorder, LeavesTheCallersValuesAlone )
{
    auto text = support::string( "H(A1): 00" );
    auto payload = support::buffer( "Authorization: Basic QWxhZGRpbg==\r\n" );
    auto one = stream();
    trStreamSetPropertyCstrString( one, "name", -1, text );
    trStreamSetPropertyCstrBuffer( one, "name", -1, payload );
    EXPECT_EQ( support::text( text ), "H(A1): 00" );
    EXPECT_EQ( support::bytes( payload ), "Authorization: Basic QWxhZGRpbg==\r\n" );
}

TEST( RecorderDeathTest, RefusesNullAndIndicesOutside )
{
    auto recorder = own( trRecorderCreateMemory() );
    EXPECT_ABORT( trRecorderLinesVector( nullptr ), "source/tr/tr_recorder_memory", "recorder" );
    EXPECT_ABORT( trRecorderCountTextCstr( recorder, nullptr, -1 ), "source/tr/tr_recorder_memory", "text" );
    EXPECT_ABORT( trRecorderLineAt( recorder, 0 ), "source/pb/pb_vector", "index >= 0 && index < vec->length" );
    EXPECT_ABORT( trRecorderSetSecrets( nullptr, 1 ), "source/tr/tr_recorder", "recorder" );
    EXPECT_ABORT( trRecorderTryCreateFile( nullptr, nullptr ), "source/tr/tr_recorder_file", "path" );
}

} // namespace
