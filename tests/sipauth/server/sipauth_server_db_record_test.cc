// Records of the database of challenges.
#include "sipauth/server/sipauth_server_db_record_private.h"

#include "sipauth/server/server_support.h"

namespace
{

using pb::own;
using support::string;
using support::textOf;

const char *path = "source/sipauth/server/sipauth_server_db_record";

TEST( ServerDbRecord, KeepsItsChallenge )
{
    auto ch = server::challenge( {} );
    auto rec = own( sipauth___ServerDbRecordCreate( ch, nullptr ) );
    EXPECT_EQ( own( sipauth___ServerDbRecordChallenge( rec ) ).get(), ch.get() );
}

TEST( ServerDbRecord, HasAStreamThatAnchorsAreCompletedWith )
{
    digest::Recording recording;
    auto owner = own( trStreamCreateCstr( "OWNER", -1 ) );
    auto rec = own( sipauth___ServerDbRecordCreate( server::challenge( {} ), own( trAnchorCreate( owner, 3 ) ) ) );
    sipauth___ServerDbRecordTraceCompleteAnchor( rec, own( trAnchorCreate( owner, 4 ) ) );
    auto begins = recording.lines( TR_LINE_KIND_BEGIN, "SIPAUTH___SERVER_DB_RECORD" );
    ASSERT_EQ( begins.size(), 1u );
    auto links = recording.lines( TR_LINE_KIND_ANCHOR, "OWNER" );
    ASSERT_EQ( links.size(), 2u );
    for( size_t index = 0; index < links.size(); index++ )
    {
        EXPECT_EQ( trLineAnchorKind( links[index] ), static_cast<int64_t>( 3 + index ) );
        EXPECT_EQ( trLineChildNumber( links[index] ), trLineStreamNumber( begins[0] ) );
    }
    rec.clear();
    EXPECT_EQ( recording.lines( TR_LINE_KIND_END, "SIPAUTH___SERVER_DB_RECORD" ).size(), 1u );
}

TEST( ServerDbRecord, HasTheStandardFunctions )
{
    auto rec = own( sipauth___ServerDbRecordCreate( server::challenge( {} ), nullptr ) );
    auto other = own( sipauth___ServerDbRecordCreate( server::challenge( {} ), nullptr ) );
    EXPECT_EQ( sipauth___ServerDbRecordFrom( sipauth___ServerDbRecordObj( rec ) ), rec.get() );
    EXPECT_EQ( sipauth___ServerDbRecordFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauth___ServerDbRecordToString( rec ) ), "SIPAUTH___SERVER_DB_RECORD" );
    EXPECT_TRUE( sipauth___ServerDbRecordEquals( rec, rec ) );
    EXPECT_NE( sipauth___ServerDbRecordCompare( rec, other ), 0 );
    sipauth___ServerDbRecordRelease( sipauth___ServerDbRecordRetain( rec ) );
}

TEST( ServerDbRecordDeathTest, RefusesNull )
{
    auto rec = own( sipauth___ServerDbRecordCreate( server::challenge( {} ), nullptr ) );
    auto anchor = own( trAnchorCreate( own( trStreamCreateCstr( "OWNER", -1 ) ), 9 ) );
    EXPECT_ABORT( sipauth___ServerDbRecordCreate( nullptr, nullptr ), path, "challenge" );
    EXPECT_ABORT( sipauth___ServerDbRecordChallenge( nullptr ), path, "rec" );
    EXPECT_ABORT( sipauth___ServerDbRecordTraceCompleteAnchor( nullptr, anchor ), path, "rec" );
    EXPECT_ABORT( sipauth___ServerDbRecordTraceCompleteAnchor( rec, nullptr ), path, "anchor" );
    auto other = string( "no record" );
    EXPECT_ABORT( sipauth___ServerDbRecordFrom( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH___SERVER_DB_RECORD" );
}

} // namespace
