// A second opinion: header values read and Digest responses computed in the plainest way, without the library. It reads
// what the simulated hosts write, no more.
#ifndef SIMULATION_DIGEST_H
#define SIMULATION_DIGEST_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace simulation
{

/// A message, as far as the reference looks at it.
struct Message
{
    std::string first; ///< the request or status line
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;

    static Message parse( std::string_view bytes );

    bool isRequest() const { return first.compare( 0, 8, "SIP/2.0 " ) != 0; }
    std::string method() const;
    std::string iri() const;
    int64_t status() const;
    /// The values of a header, in any letter case.
    std::vector<std::string> values( std::string_view name ) const;
};

/// The value of one authentication header: the scheme and its parameters by lower-case name, unquoted; for Basic the
/// parameter "credentials".
struct Parameters
{
    std::string scheme;
    std::map<std::string, std::string> values;

    static Parameters parse( std::string_view value );

    std::optional<std::string> get( const std::string &name ) const;
    bool operator==( const Parameters &other ) const = default;
};

/// A digest state: what one Digest challenge offered.
struct DigestOffer
{
    std::string algorithm; ///< as on the wire
    bool qopAuth = false;
    bool qopAuthInt = false;
    std::string realm;
    std::string nonce;
    std::optional<std::string> opaque;
    int64_t nonceCount = -1; ///< the next one that is accepted; -1 without qop

    bool qop() const { return qopAuth || qopAuthInt; }
    static DigestOffer of( const Parameters &challenge );
};

/// Whether credentials answer an offer (RFC 7616 section 3.4).
bool answers( const DigestOffer &offer, const Parameters &authorization, const Message &request,
              const std::string &userName, const std::string &password );

/// What base 64 stands for.
std::string fromBase64( std::string_view text );

} // namespace simulation

#endif
