// What the benchmarks work on: one exchange with values of typical length.
#ifndef BENCH_SAMPLE_H
#define BENCH_SAMPLE_H

#include <pb/pb_std.hh>
#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_digest_state.h>
#include <sipauth/sipauth_options.h>
#include <sipsn/sipsn_message.h>

#include <string>

namespace bench
{

inline const std::string userName = "alice";
inline const std::string realm = "sip.example.com";
inline const std::string password = "correct horse";
inline const std::string nonce = "q2J4a9Xx0dUOq3sQ8k9v1ZbFh7cJm0c5T2pWnE4rY6A=";
inline const std::string cnonce = "Zk3LrP0yXv5sTq8uBn1mCw7eHd2gJf9aKo4iVt6xUyE=";
inline const std::string opaque = "pO8nM2kL5jH7gF4dS1aQ9wE3rT6yU0iP2lK8jH5gF4c=";
inline const std::string uri = "sip:sip.example.com";
inline const std::string method = "REGISTER";
inline const std::string body( 150, 'b' );

/// The challenge with all of its parameters.
inline std::string challengeText( const std::string &algorithm, const std::string &qop )
{
    return "Digest realm=\"" + realm + "\", domain=\"sip:sip.example.com sip:proxy.example.com\", nonce=\"" + nonce +
           "\", opaque=\"" + opaque + "\", stale=true, algorithm=" + algorithm + ", qop=\"" + qop + "\"";
}

/// A REGISTER of about 700 bytes; with a body for auth-int.
inline std::string registerText( bool withBody )
{
    std::string text = "REGISTER sip:sip.example.com SIP/2.0\r\n"
                       "Via: SIP/2.0/UDP 192.0.2.15:5060;branch=z9hG4bKd3f0a2b1c4e5;rport\r\n"
                       "Max-Forwards: 70\r\n"
                       "From: \"Alice\" <sip:alice@sip.example.com>;tag=7f3b9c2e1a\r\n"
                       "To: <sip:alice@sip.example.com>\r\n"
                       "Call-ID: 4c8e1f7a-93b2-4d06-8a51-2e9d0b7c6f35@192.0.2.15\r\n"
                       "CSeq: 2 REGISTER\r\n"
                       "Contact: <sip:alice@192.0.2.15:5060;ob>;expires=3600;+sip.instance="
                       "\"<urn:uuid:0f8c2d4e-7a61-4b39-9e05-d1c3b5a79f28>\"\r\n"
                       "Expires: 3600\r\n"
                       "Allow: INVITE, ACK, CANCEL, BYE, OPTIONS, MESSAGE, INFO, UPDATE, NOTIFY, REFER, PRACK\r\n"
                       "Supported: path, outbound, gruu\r\n"
                       "User-Agent: example-phone/4.2.1 (build 20261121)\r\n";
    return text + "Content-Length: " + ( withBody ? std::to_string( body.size() ) + "\r\n\r\n" + body : "0\r\n\r\n" );
}

/// A request as an object.
inline pb::Ref<sipsnMessage> registerMessage( bool withBody )
{
    return pb::own( sipsnMessageTryDecode( pb::buffer( registerText( withBody ) ), nullptr, nullptr ) );
}

/// The user's credentials.
inline pb::Ref<sipauthCredentials> credentials()
{
    auto credentials = pb::own( sipauthCredentialsCreate() );
    sipauthCredentialsSetUserName( credentials.inout(), pb::string( userName ) );
    sipauthCredentialsSetPassword( credentials.inout(), pb::string( password ) );
    return credentials;
}

/// A state of that challenge with one quality of protection, a SIPAUTH_DIGEST_QOP.
inline pb::Ref<sipauthDigestState> state( int64_t algorithm, int64_t qop )
{
    auto options = pb::own( sipauthOptionsCreate() );
    return pb::own( sipauthDigestStateCreate( options, algorithm, qop == SIPAUTH_DIGEST_QOP_AUTH_INT,
                                              qop == SIPAUTH_DIGEST_QOP_AUTH, pb::string( realm ), pb::string( nonce ),
                                              pb::string( opaque ) ) );
}

} // namespace bench

#endif
