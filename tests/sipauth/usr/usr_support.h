// What the tests of lookups and queries share: a directory whose driver answers when the test says so.
#ifndef SIPAUTH_USR_USR_SUPPORT_H
#define SIPAUTH_USR_USR_SUPPORT_H

#include "sipauth/digest/digest_support.h"
#include "sipauth/session/session_support.h"
#include "usr/usr_driver.h"

#include <vector>

namespace usr
{

using pb::own;
using support::string;

/// A store with strings.
inline pb::Ref<pbStore> storeOf( std::initializer_list<std::pair<const char *, const char *>> values )
{
    auto store = own( pbStoreCreate() );
    for( auto [key, value] : values )
        pbStoreSetValueCstr( store.inout(), key, -1, string( value ) );
    return store;
}

/// A test with a directory that answers nothing by itself.
class Waiting : public session::Simulated
{
protected:
    Waiting()
    {
        asked.clear();
        driver.name = "waiting";
        driver.tryCreate = []( pbStore *, trStream *, pbString ** )
        { return pbStringObj( string( "driver" ).give() ); };
        driver.lookup = []( pbObj *, usr___Request *request, pbString *userName, pbString *realm )
        { ask( request, userName, realm ); };
        driver.query = []( pbObj *, usr___Request *request, pbString *userId ) { ask( request, userId, nullptr ); };
        usr___DriverRegister( &driver );
    }

    ~Waiting() override { usr___DriverUnregister( &driver ); }

    void SetUp() override
    {
        Simulated::SetUp();
        directory = create( 1000 );
        ASSERT_TRUE( directory );
    }

    void TearDown() override
    {
        for( Asked &one : asked )
            usr___RequestEndWithout( one.request, "the test ends" );
        asked.clear();
        directory.clear();
        Simulated::TearDown();
    }

    /// A directory that has at most so many lookups and queries open.
    static pb::Ref<usrDirectory> create( int64_t maxLookups )
    {
        auto config = storeOf( { { "driver", "waiting" } } );
        pbStoreSetValueIntCstr( config.inout(), "maxLookups", -1, maxLookups );
        return own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    }

    /// What the driver was asked: a name and a realm, or a user's id.
    struct Asked
    {
        pb::Ref<usr___Request> request;
        std::string text;
        std::string realm;
    };

    static void ask( usr___Request *request, pbString *text, pbString *realm )
    {
        asked.push_back( { own( usr___RequestRetain( request ) ), support::text( text ), support::text( realm ) } );
    }

    /// Answers what was asked last.
    static void answer( const char *userId, pbStore *credentials )
    {
        usr___RequestEnd( asked.back().request, string( userId ), credentials );
    }

    static inline std::vector<Asked> asked;
    usr___Driver driver = {};
    pb::Ref<usrDirectory> directory;
};

} // namespace usr

#endif
