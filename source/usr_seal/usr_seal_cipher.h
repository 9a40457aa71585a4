// Sealing: AES-256-GCM (NIST SP 800-38D) with a random nonce of 96 bits.
#ifndef USR_SEAL_USR_SEAL_CIPHER_H
#define USR_SEAL_USR_SEAL_CIPHER_H

#include "usr_seal/usr_seal_secret.h"

#include <string>

namespace usr_seal
{

/// The nonce, the cipher text and the tag of SECRET under a key of 32 bytes, bound to CONTEXT; empty when libcrypto
/// fails.
std::string encrypt( const Secret &key, const std::string &context, const Secret &secret );
/// The secret that such bytes hold; false when they were made with another key or for another context, or changed.
bool decrypt( const Secret &key, const std::string &context, const std::string &sealed, Secret &secret );

} // namespace usr_seal

#endif
