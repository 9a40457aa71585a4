// What a proxy reads from and does to the headers of a message that it forwards (RFC 3261 sections 16.3 to 16.7).
#ifndef SIPAUTHD_PROXY_HEADERS_H
#define SIPAUTHD_PROXY_HEADERS_H

#include "sip/message.h"
#include "sipauthd/seal.h"

namespace sipauthd
{

/// The tag of a From or To header, "" for none.
std::string tagOf( const sip::Message &message, const char *header );

/// An answer of our own instead of forwarding.
struct Refusal
{
    int status = 0;
    std::string reason;
    std::string header; ///< one more header, "Unsupported: foo"; empty for none
};
sip::Message answer( const sip::Message &request, const Refusal &refusal );

/// What forbids to forward a request: no hops left (483), extensions that a proxy must know (420), a loop (482).
std::optional<Refusal> whyNotForward( const Seal &seal, const sip::Message &request );

/// The value of the parameter that our Via carries in a request: signs its transaction, and tells a loop from a spiral.
std::string viaMark( const Seal &seal, const sip::Message &request );
/// Whether a response's top Via carries our signature of the transaction that it names.
bool hasOurVia( const Seal &seal, const sip::Message &response );
/// The name of that parameter.
inline constexpr char viaMarkName[] = "sd";

/// Takes out the credentials for our realm, which are for us alone; those for others stay.
void removeCredentials( sip::Message &request, const std::string &realm );
/// One hop less; 70 when the request named none.
void decrementMaxForwards( sip::Message &request );
/// Takes out what only neighbours whom we trust may claim (RFC 3325), and says who sent the request when we know.
/// IDENTITY is a URI, "" for none.
void assertIdentity( sip::Message &request, bool fromTrusted, bool toTrusted, const std::string &identity );
/// Takes the top Via, ours, out of a response. False when there is no other one beneath.
bool removeTopVia( sip::Message &response );

} // namespace sipauthd

#endif
