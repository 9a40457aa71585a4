// Secrets from and to plain text.
#ifndef USR_SEAL_SECRETS_H
#define USR_SEAL_SECRETS_H

#include "support/text.h"
#include "usr_seal/usr_seal_secret.h"

namespace secrets
{

inline usr_seal::Secret secret( const std::string &text )
{
    return usr_seal::Secret::of( support::string( text ) );
}

inline std::string textOf( const usr_seal::Secret &secret )
{
    return std::string( reinterpret_cast<const char *>( secret.data() ), secret.length() );
}

} // namespace secrets

#endif
