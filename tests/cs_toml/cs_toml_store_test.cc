// Stores as TOML text.
#include "support/abort.h"
#include "support/text.h"

#include <cs_toml/cs_toml.h>

#include <vector>

namespace
{

using pb::own;
using support::string;

struct Told
{
    std::vector<std::string> keys;
    std::vector<std::string> findings;

    static void key( void *told, const char *key, int64_t line )
    {
        static_cast<Told *>( told )->keys.push_back( std::to_string( line ) + " " + key );
    }
    static void finding( void *told, int64_t line, int64_t column, const char *what )
    {
        static_cast<Told *>( told )->findings.push_back( std::to_string( line ) + ":" + std::to_string( column ) + " " +
                                                         what );
    }
};

pb::Ref<pbStore> decode( const std::string &text, Told &told )
{
    return own( csTomlTryDecodeStore( support::buffer( text ), Told::key, Told::finding, &told ) );
}

pb::Ref<pbStore> decode( const std::string &text )
{
    Told told;
    auto store = decode( text, told );
    EXPECT_EQ( told.findings, std::vector<std::string>{} );
    return store;
}

std::string decoded( const std::string &text )
{
    return support::textOf( pbStoreToString( decode( text ) ) );
}

std::string encode( pbStore *store )
{
    return support::bytes( own( csTomlEncodeStore( store, nullptr, nullptr ) ) );
}

TEST( TomlStore, HoldsTextIntegersBooleansAndTables )
{
    EXPECT_EQ( decoded( "" ), "{}" );
    EXPECT_EQ( decoded( "s = 'x'\ni = -5\nb = true\nf = false\n[t]\nn = 0x10\n[t.u]\n" ),
               "{ s = \"x\", i = -5, b = true, f = false, t = { n = 16, u = {} } }" );
    EXPECT_EQ( decoded( "i = 9223372036854775807" ), "{ i = 9223372036854775807 }" );
    EXPECT_EQ( decoded( "t = { a = 1, b = { c = 2 } }\nx.y.z = 3" ),
               "{ t = { a = 1, b = { c = 2 } }, x = { y = { z = 3 } } }" );
}

TEST( TomlStore, KeepsTheOrderOfTheText )
{
    EXPECT_EQ( decoded( "z = 1\na = 2\nm = 3\n[zz]\nb = 1\na = 2\n[aa]\n" ),
               "{ z = 1, a = 2, m = 3, zz = { b = 1, a = 2 }, aa = {} }" );
    EXPECT_EQ( decoded( "[o.z]\n[o.a]\n[o.z.k]\nx = 1\n" ), "{ o = { z = { k = { x = 1 } }, a = {} } }" );
    EXPECT_EQ( decoded( "t = { z = 1, a = 2 }" ), "{ t = { z = 1, a = 2 } }" );
}

TEST( TomlStore, TellsTheLineOfEachKey )
{
    Told told;
    EXPECT_TRUE( decode( "\na = 1\n\n[t]\n# remark\nb = 2\n'a b' = 3\n", told ) );
    EXPECT_EQ( told.keys, ( std::vector<std::string>{ "2 a", "4 t", "6 t.b", "7 t.a b" } ) );
}

TEST( TomlStore, LeavesOutWhatAStoreDoesNotHave )
{
    Told told;
    auto store = decode( "a = 1.5\nb = 1\nc = [1]\n[t]\nd = 1979-05-27\n", told );
    EXPECT_EQ( support::textOf( pbStoreToString( store ) ), "{ b = 1, t = {} }" );
    EXPECT_EQ( told.findings, ( std::vector<std::string>{ "1:5 'a' is neither text, integer, boolean nor table",
                                                          "3:5 'c' is neither text, integer, boolean nor table",
                                                          "5:5 't.d' is neither text, integer, boolean nor table" } ) );
}

TEST( TomlStore, IsNotMadeOfWhatIsNoToml )
{
    for( const char *text : { "a = ", "\n\na = 1\na = 2\n", "[x", "a = '\xff'\n", "a = 99999999999999999999" } )
    {
        Told told;
        EXPECT_FALSE( decode( text, told ) ) << text;
        EXPECT_EQ( told.findings.size(), 1u ) << text;
        EXPECT_TRUE( told.keys.empty() );
    }
    Told told;
    EXPECT_FALSE( decode( "a = 1\n\nb = ?\n", told ) );
    EXPECT_EQ( told.findings[0].substr( 0, 4 ), "3:5 " );
}

TEST( TomlStore, IsWrittenValuesFirst )
{
    EXPECT_EQ( encode( own( pbStoreCreate() ) ), "" );
    EXPECT_EQ( encode( decode( "[t]\nx = 1\n[u]\n[v.w]\ny = 'z'\n" ) ), "[t]\nx = 1\n\n[u]\n\n[v.w]\ny = 'z'\n" );
    auto store = decode( "t = { x = 1 }\na = 'b'\nc = true\n" );
    EXPECT_EQ( encode( store ), "a = 'b'\nc = true\n\n[t]\nx = 1\n" );
}

TEST( TomlStore, IsReadBackAsItWas )
{
    auto store = own( pbStoreCreate() );
    auto nested = own( pbStoreCreate() );
    const char *texts[] = { "",
                            "plain",
                            "with \"quotes\"",
                            "with 'quotes'",
                            "both \"'",
                            "back\\slash",
                            "two\nlines",
                            "\ttab\r",
                            "\x01\x1f\x7f",
                            "stra\u00dfe \u4e2d\U0001F600" };
    for( const char *text : texts )
    {
        pbStoreSetValue( store.inout(), string( text ), string( text ) );
        pbStoreSetValue( nested.inout(), string( text ), string( text ) );
    }
    pbStoreSetValue( store.inout(), string( "a.b" ), string( "dotted" ) );
    pbStoreSetValueInt( nested.inout(), string( "least" ), INT64_MIN );
    pbStoreSetStore( store.inout(), string( "a.b.c" ), nested );
    pbStoreSetStore( store.inout(), string( "" ), nested );
    EXPECT_TRUE( pbStoreEquals( decode( encode( store ) ), store ) ) << encode( store );
}

TEST( TomlStore, IsWrittenWithRemarks )
{
    auto remark = []( void *context, const char *key ) -> pbString *
    {
        EXPECT_EQ( context, nullptr );
        return std::string( key ) == "a" ? nullptr : string( std::string( "of " ) + key ).give();
    };
    auto store = decode( "a = 1\nb = 2\n[t]\nx = 1\n[v.w]\n" );
    EXPECT_EQ( support::bytes( own( csTomlEncodeStore( store, remark, nullptr ) ) ),
               "a = 1\nb = 2  # of b\n\n[t]  # of t\nx = 1  # of t.x\n\n[v]  # of v\n\n[v.w]  # of v.w\n" );
}

TEST( TomlStoreDeathTest, RefusesNull )
{
    const char *path = "source/cs_toml/cs_toml_store";
    EXPECT_ABORT( csTomlTryDecodeStore( nullptr, nullptr, Told::finding, nullptr ), path, "text" );
    EXPECT_ABORT( csTomlTryDecodeStore( support::buffer( "" ), nullptr, nullptr, nullptr ), path, "finding" );
    EXPECT_ABORT( csTomlEncodeStore( nullptr, nullptr, nullptr ), path, "store" );
}

} // namespace
