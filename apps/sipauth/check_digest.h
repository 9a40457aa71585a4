// The check of Digest credentials as a server makes it, and the cause of a failure.
#ifndef SIPAUTH_CHECK_DIGEST_H
#define SIPAUTH_CHECK_DIGEST_H

#include "digest_case.h"
#include "verdict.h"

#include <functional>

namespace tool
{

/// Checks credentials that decode, and tells the cause of a failure.
void checkDigest( Verdict &verdict, const CheckCase &given );

/// What the server knows of a user: that of the credentials unless the caller named one. Asks for the password.
using KnownCredentials = std::function<pb::Ref<sipauthCredentials>( const std::string &headerUserName )>;

/// Says why credentials do not decode. When it is the response or the nonce count that is refused, they are mended and
/// the response is recomputed.
void explainMalformed( Verdict &verdict, CheckCase given, const KnownCredentials &known );

/// Notes what the credentials say and the options do not offer.
void noteOffers( Verdict &verdict, const CheckCase &given );

} // namespace tool

#endif
