// What the tests of traps share: the same attack on a plain host, which drives co-transactions as it likes, and on a
// server of the host library.
#ifndef HOST_TRAP_SUPPORT_H
#define HOST_TRAP_SUPPORT_H

#include "server_support.h"

#include <usr/usr_user.h>

namespace trap
{

using namespace serving;

/// Credentials with a nonce that nobody issued.
inline std::string worthless( const std::string &user )
{
    return "Authorization: Digest username=\"" + user +
           "\", realm=\"example.org\", nonce=\"worthless\", uri=\"sip:example.org\", "
           "response=\"0123456789abcdef0123456789abcdef\", algorithm=MD5, cnonce=\"x\", qop=auth, nc=00000001\r\n";
}

/// A driver for directories whose lookups end as a test says: never, or with a user of whom no credentials are known.
namespace odd
{

inline bool never = false;
inline int64_t asked = 0;
inline std::vector<usr___Request *> waiting;

inline void lookup( pbObj *, usr___Request *request, pbString *userName, pbString * )
{
    asked++;
    if( never )
        waiting.push_back( usr___RequestRetain( request ) );
    else
        usr___RequestEnd( request, userName, nullptr );
}

inline constexpr usr___Driver driver = {
    .name = "odd",
    .tryCreate = []( pbStore *config, trStream *, pbString ** ) { return pbStoreObj( pbStoreRetain( config ) ); },
    .close =
        []( pbObj * )
    {
        for( usr___Request *request : waiting )
            usr___RequestRelease( request );
        waiting.clear();
    },
    .lookup = lookup,
    .query = []( pbObj *, usr___Request *request, pbString * )
    { usr___RequestEndWithout( request, usr___noPassword ); },
    .add = nullptr,
    .setPassword = nullptr,
    .setEnabled = nullptr,
    .remove = nullptr,
    .list = nullptr,
};

} // namespace odd

/// A world with both kinds of hosts, on one stack.
class Trap : public Serving
{
protected:
    ~Trap() override
    {
        if( odd_ )
        {
            server.clear();
            stack.clear();
            options.clear();
            directory.clear();
            run();
            usr___DriverUnregister( &odd::driver );
        }
    }

    /// The plain host's session with a peer.
    pb::Ref<sipauthSession> plainSession()
    {
        return own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER, nullptr ) );
    }

    /// Has the plain host take a request into a session: "passed", or the status of the library's answer, or "nothing"
    /// as long as there is neither.
    std::string plain( sipauthSession *session, const std::string &wire )
    {
        last.clear();
        last = own( sipauthServerCotransCreate( session, nullptr ) );
        sipauthServerCotransRequestWrite( last, decoded( wire ) );
        run();
        return plainOutcome( last );
    }

    std::string plainOutcome( sipauthServerCotrans *cotrans )
    {
        if( own( sipauthServerCotransRequestRead( cotrans ) ) )
            return "passed";
        auto response = own( sipauthServerCotransResponseRead( cotrans, nullptr ) );
        plainAnswer = response ? encoded( response ) : "";
        return response ? std::to_string( sipsnMessageResponseStatusCode( response ) ) : "nothing";
    }

    /// A phone logs in with the plain host; what came of it.
    std::string plainLogin( sipauthSession *session, Phone &phone, const std::string &method = "REGISTER" )
    {
        EXPECT_EQ( plain( session, phone.sign( method ) ), "401" );
        phone.receive( plainAnswer );
        return plain( session, phone.sign( method ) );
    }

    /// Whom the session belongs to, for the library.
    static std::string userOf( sipauthSession *session )
    {
        auto user = own( sipauthSessionServerUser( session ) );
        return user ? textOf( usrUserId( user ) ) : "nobody";
    }

    /// The plain host writes into the last co-transaction.
    void plainRespond( int64_t statusCode )
    {
        sipauthServerCotransResponseWrite( last, own( sipsnMessageCreateResponse( statusCode, string( "Fine" ) ) ) );
        run();
    }
    void plainCancel( const std::string &wire )
    {
        sipauthServerCotransCancelWrite( last, decoded( wire ) );
        run();
    }
    void plainAck( const std::string &wire )
    {
        sipauthServerCotransAckWrite( last, decoded( wire ) );
        run();
    }

    /// The same for the host library's server; 1 when it was taken.
    pbBool cancelWith( hostServerTransaction *transaction, const std::string &wire )
    {
        told.clear();
        pbBool taken = hostServerTransactionCancel( transaction, decoded( wire ) );
        run();
        return taken;
    }
    pbBool ackWith( hostServerTransaction *transaction, const std::string &wire )
    {
        told.clear();
        pbBool taken = hostServerTransactionAck( transaction, decoded( wire ) );
        run();
        return taken;
    }

    /// What the server of the host library makes of a request: "accepted", a status, "drop".
    std::string guarded( const std::string &wire, int64_t port = 5060, const char *binding = "alice" )
    {
        receive( wire, udpPeer( port ), binding ).clear();
        return outcome();
    }

    /// An honest client can still log in.
    void expectUnharmed()
    {
        Phone honest( *this, "bob", "builder", tcpPeer( 77, 99 ), "honest" );
        honest.login().clear();
        EXPECT_EQ( outcome(), "accepted" );
    }

    /// From now on users are in a directory with the driver above.
    void useOddDirectory( bool never, int64_t maxLookups = 1000 )
    {
        odd_ = true;
        odd::never = never;
        odd::asked = 0;
        usr___DriverRegister( &odd::driver );
        auto config = own( pbStoreCreate() );
        pbStoreSetValueCstr( config.inout(), "driver", -1, string( "odd" ) );
        pbStoreSetValueIntCstr( config.inout(), "lookupTimeout", -1, 2000 );
        pbStoreSetValueIntCstr( config.inout(), "maxLookups", -1, maxLookups );
        directory = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
        sipauthOptionsSetServerUsrDirectory( options.inout(), directory );
    }

    /// How many objects of a sort are alive.
    static int64_t alive( const std::string &name )
    {
        for( pbSort *sort = pbSortNext( nullptr ); sort; sort = pbSortNext( sort ) )
            if( pbSortName( sort ) == name )
                return pbSortLiveObjects( sort );
        return 0;
    }

    pb::Ref<sipauthServerCotrans> last; ///< the plain host's
    std::string plainAnswer;            ///< the library's answer there

private:
    bool odd_ = false;
};

} // namespace trap

#endif
