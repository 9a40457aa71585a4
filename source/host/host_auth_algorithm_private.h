// How digest algorithms are spelled: by the library ("SHA256") and on the network (RFC 8760: "SHA-256").
#ifndef HOST_HOST_AUTH_ALGORITHM_PRIVATE_H
#define HOST_HOST_AUTH_ALGORITHM_PRIVATE_H

#include <sipauth/sipauth_digest_algorithm.h>

#include <string_view>

namespace host
{

/// An algorithm in both spellings, which are the same for MD5.
struct AlgorithmNames
{
    std::string_view library;
    std::string_view network;

    bool differ() const { return library.size() != network.size(); }
};

/// The SIPAUTH_DIGEST_ALGORITHM that a token spells in either way, in any letter case;
/// SIPAUTH_DIGEST_ALGORITHM_INVALID for any other token, "SHA-512-256" among them.
int64_t tryAlgorithm( std::string_view token );
/// The names of an algorithm.
const AlgorithmNames &algorithmNames( int64_t algorithm );
/// Whether it is one of the session variants.
bool isSessionAlgorithm( int64_t algorithm );

} // namespace host

#endif
