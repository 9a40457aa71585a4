// Why a response does not match: every cause is tested by computing the response that it would give.
#ifndef SIPAUTH_CAUSE_H
#define SIPAUTH_CAUSE_H

#include "tool.h"

#include <sipauth/sipauth_digest_qop.h>

namespace tool
{

/// Everything that enters a request digest (RFC 2617 section 3.2.2, RFC 7616 section 3.4), as text.
struct DigestInput
{
    std::string userName;
    std::string realm;
    std::string password;
    std::string nonce;
    std::string nonceCount; ///< as written in the header
    std::string cnonce;
    std::string method;
    std::string iri;
    std::string body;
    int64_t algorithm = 0;
    int64_t qop = SIPAUTH_DIGEST_QOP_NONE;
    bool hashBody = true;       ///< under auth-int the hash of the body ends A2
    bool escapeUserName = true; ///< quoted-string values are hashed in their escaped form
    bool escapeRealm = true;
};

/// The response of an input in lower-case hexadecimal; empty when the hash function is not available.
std::string digestResponse( const DigestInput &input );

/// What else is known about the request, to make variations of.
struct Surroundings
{
    std::string requestIri;
    std::string challengeRealm;    ///< empty when no challenge is known
    std::string headerUserName;    ///< as the credentials have it
    std::string writtenNonceCount; ///< as the credentials have it
};

/// A cause of a mismatch.
struct Cause
{
    std::string kind; ///< a word for programs, "wrong-password" for example
    std::string text;
};

/// What explains a received response that differs from the response of INPUT, and how many variations were computed.
struct Diagnosis
{
    Cause cause;
    int64_t tested = 0;
};

/// Varies the input until its response is the received one. Without a hit the password, or the user name, is wrong.
Diagnosis diagnose( const DigestInput &input, const std::string &received, const Surroundings &surroundings );

} // namespace tool

#endif
