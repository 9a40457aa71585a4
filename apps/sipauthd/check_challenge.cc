// The challenges that a configuration leads to, made by the library itself.
#include "sipauthd/check.h"

#include "sip/message.h"

#include <host/host_bridge.h>
#include <pb/pb_scheduler.h>
#include <pb/pb_std.hh>
#include <sipauth/sipauth_server_cotrans.h>
#include <sipauth/sipauth_session_flags.h>

namespace sipauthd
{

namespace
{

// A scheduler for as long as one challenge is made.
class Drive
{
public:
    Drive() { pbSchedulerSetCurrent( scheduler_ ); }
    ~Drive()
    {
        pbSchedulerStop( scheduler_ );
        pbSchedulerSetCurrent( nullptr );
    }
    Drive( const Drive & ) = delete;
    Drive &operator=( const Drive & ) = delete;

    void run()
    {
        while( pbSchedulerRun( scheduler_, 100 ) )
            continue;
    }

private:
    pb::Ref<pbScheduler> scheduler_ = pb::own( pbSchedulerCreateHosted( nullptr, nullptr ) );
};

// A request of the size that phones send.
sip::Message usualRequest( bool proxy, const std::string &realm )
{
    std::string method = proxy ? "INVITE" : "REGISTER";
    sip::Message request = sip::Message::request( method, "sip:" + realm );
    request.set( "Via", "SIP/2.0/UDP 192.0.2.100:5060;branch=z9hG4bKa1b2c3d4e5f60718;rport=5060;received=192.0.2.100" );
    request.set( "Max-Forwards", "70" );
    request.set( "From", "\"Alice Example\" <sip:alice@" + realm + ">;tag=a1b2c3d4e5f60718" );
    request.set( "To", "<sip:alice@" + realm + ">" );
    request.set( "Call-ID", "a1b2c3d4e5f6071829304a5b6c7d8e9f@192.0.2.100" );
    request.set( "CSeq", "1 " + method );
    request.set( "Contact", "<sip:alice@192.0.2.100:5060;transport=udp>" );
    return request;
}

} // namespace

Challenge challengeOf( sipauthOptions *options, bool proxy, int64_t profile )
{
    Drive drive;
    auto own = pb::share( options );
    sipauthOptionsSetServerUsrDirectory( own.inout(), pb::own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) ) );
    auto stack = pb::own( sipauthStackCreate( own, nullptr ) );
    drive.run();
    uint64_t flags = SIPAUTH_SESSION_FLAG_SERVER | ( proxy ? SIPAUTH_SESSION_FLAG_PROXY : 0 );
    auto session = pb::own( sipauthSessionCreate( stack, flags, nullptr ) );
    auto cotrans = pb::own( sipauthServerCotransCreate( session, nullptr ) );
    std::string realm = pb::textOf( sipauthOptionsServerRealm( options ) );
    sipauthServerCotransRequestWrite( cotrans, usualRequest( proxy, realm ).get() );
    drive.run();
    auto response = pb::own( sipauthServerCotransResponseRead( cotrans, nullptr ) );
    if( !response )
        return {};
    hostBridgeResponseOut( response.inout(), proxy, profile, 0 );
    sip::Message message( response );
    Challenge challenge;
    challenge.status = message.status();
    challenge.lines = message.lines( proxy ? "Proxy-Authenticate" : "WWW-Authenticate" );
    challenge.bytes = static_cast<int64_t>( message.encode().size() );
    return challenge;
}

} // namespace sipauthd
