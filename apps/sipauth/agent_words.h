// What the user agent says about the messages that it sends and receives: credentials, challenges, and why it ended.
#ifndef SIPAUTH_AGENT_WORDS_H
#define SIPAUTH_AGENT_WORDS_H

#include "tool.h"

#include "sip/message.h"

#include <optional>

namespace tool
{

/// What a line with credentials, or one challenge, says; no secret, and no response.
struct Scheme
{
    std::string scheme; ///< "Digest", "Basic"
    std::string realm;
    std::string algorithm; ///< as it stands; "MD5" when there is none
    std::string qop;       ///< of a challenge all of them; "" when there is none
    std::string count;     ///< of credentials, "00000001"; "" when there is none
    bool stale = false;

    /// "SHA-256 auth", "MD5 without qop", "Basic".
    std::string text() const;
    Json json() const;
};

/// The credentials of a request, those for its end and then those for a proxy.
std::vector<Scheme> credentialsOf( const sip::Message &request );
/// The challenges of a 401 or 407, also those that stand on one line.
std::vector<Scheme> challengesOf( const sip::Message &response );
/// "3 offered: SHA-512-sess auth,auth-int; SHA-256 auth; MD5 without qop".
std::string describe( const std::vector<Scheme> &challenges );
/// Why a response was not answered (HOST_ANSWER), as a sentence for people.
std::string describeAnswer( int64_t answer );

} // namespace tool

#endif
