// What the fuzz targets of the host library share: its start, and requests with what a transaction layer needs of them.
#ifndef FUZZ_FUZZ_HOST_H
#define FUZZ_FUZZ_HOST_H

#include "fuzz_cotrans.h"

#include <host/host_bridge.h>
#include <host/host_module.h>
#include <usr/usr_administration.h>

namespace fuzz
{

/// Starts the host library, for good; as startLibrary.
inline void startHost()
{
    startLibrary();
    [[maybe_unused]] static const bool started = []
    {
        FUZZ_CHECK( pbModuleStart( hostModule() ) );
        return true;
    }();
}

/// One of a few methods, all that a channel may take and some that it may not; most often INVITE, which has the longest
/// life.
inline std::string methodOf( Input &input )
{
    constexpr const char *methods[] = { "REGISTER", "INVITE", "INVITE", "INVITE",
                                        "STRANGE",  "CANCEL", "ACK",    "invite" };
    return methods[input.below( 8 )];
}

/// The bytes of a request. CSEQ is the value of that header.
inline std::string requestBytes( const std::string &method, const std::string &cseq, const std::string &headers )
{
    return method +
           " sip:example.org SIP/2.0\r\nVia: SIP/2.0/UDP host;branch=z9hG4bK1\r\nFrom: "
           "<sip:alice@example.org>;tag=1\r\n"
           "To: <sip:alice@example.org>\r\nCall-ID: fuzz\r\nCSeq: " +
           cseq + "\r\n" + headers + "Content-Length: 0\r\n\r\n";
}

inline pb::Ref<sipsnMessage> decodedBytes( const std::string &bytes )
{
    return pb::own( sipsnMessageTryDecode( pb::buffer( bytes ), nullptr, nullptr ) );
}

inline std::string encodedBytes( sipsnMessage *message )
{
    return pb::bytes( pb::own( sipsnMessageEncode( message ) ) );
}

/// The credentials of the one user that every directory has.
inline pb::Ref<sipauthCredentials> credentialsOfAlice()
{
    auto credentials = pb::own( sipauthCredentialsCreate() );
    sipauthCredentialsSetUserName( credentials.inout(), pb::string( "alice" ) );
    sipauthCredentialsSetPassword( credentials.inout(), pb::string( "secret" ) );
    return credentials;
}

} // namespace fuzz

#endif
