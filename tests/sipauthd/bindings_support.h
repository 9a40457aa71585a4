// What the tests of bindings share: a directory for their files, and bindings.
#ifndef SIPAUTHD_BINDINGS_SUPPORT_H
#define SIPAUTHD_BINDINGS_SUPPORT_H

#include "clockwork_engine.h"
#include "sipauthd/bindings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace clockwork
{

/// A directory of its own, gone with it.
class Directory
{
public:
    Directory()
    {
        std::string name = ( std::filesystem::temp_directory_path() / "bindings-XXXXXX" ).string();
        EXPECT_TRUE( mkdtemp( name.data() ) );
        path_ = name;
    }
    ~Directory() { std::filesystem::remove_all( path_ ); }
    Directory( const Directory & ) = delete;
    Directory &operator=( const Directory & ) = delete;
    std::string operator/( const char *name ) const { return ( path_ / name ).string(); }
    std::string path() const { return path_.string(); }

private:
    std::filesystem::path path_;
};

inline std::unique_ptr<sipauthd::Bindings> open( const std::string &path, engine::Engine &engine, bool fsync = false )
{
    std::string why;
    auto bindings = sipauthd::Bindings::open( path, fsync, engine, &why );
    EXPECT_TRUE( bindings ) << why;
    EXPECT_EQ( why, "" );
    return bindings;
}

/// A binding that lasts for a number of milliseconds.
inline sipauthd::Binding binding( const std::string &contact, int64_t lasts = 60000, uint32_t cseq = 1 )
{
    sipauthd::Binding made;
    made.contact = contact;
    made.parameters = ";q=0.5;+sip.instance=\"<urn:x>\"";
    made.expires = sipauthd::wallClock() + lasts;
    made.callId = "call";
    made.cseq = cseq;
    made.path = "<sip:edge.example;lr>";
    made.identity = "alice";
    made.target.transport = engine::Transport::Tls;
    made.target.remote.bytes = { 0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1 };
    made.target.remote.port = 5061;
    made.target.flow = 7;
    made.target.tlsName = "client.example";
    made.q = 500;
    return made;
}

inline std::vector<std::string> contacts( const std::vector<sipauthd::Binding> &bindings )
{
    std::vector<std::string> found;
    for( const sipauthd::Binding &item : bindings )
        found.push_back( item.contact );
    return found;
}

/// Replaces bindings and waits for what becomes of it.
inline bool replace( Engine &engine, sipauthd::Bindings &bindings, const std::string &addressOfRecord,
                     std::vector<sipauthd::Binding> now )
{
    int outcome = -1;
    bindings.replace( addressOfRecord, std::move( now ), [&outcome]( bool ok ) { outcome = ok; } );
    EXPECT_EQ( outcome, -1 ) << "told at once";
    EXPECT_TRUE( engine.runUntil( [&] { return outcome >= 0; } ) );
    return outcome == 1;
}

} // namespace clockwork

#endif
