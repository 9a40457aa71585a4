// What a side is configured with: drawn from the seed, given to the library as options, and read by the reference.
#ifndef SIMULATION_SETTINGS_H
#define SIMULATION_SETTINGS_H

#include "random.h"

#include <pb/pb_ref.hh>
#include <sipauth/sipauth_options.h>

#include <array>
#include <string>

namespace simulation
{

/// The algorithms by their number in the library and their name on the wire.
struct Algorithm
{
    int64_t number;
    const char *name;
    const char *hash; ///< OpenSSL's name of the hash function
    bool session;     ///< a "-sess" variant
};

inline constexpr std::array<Algorithm, 12> algorithms = { {
    { 0, "MD5", "MD5", false },
    { 1, "MD5-sess", "MD5", true },
    { 2, "SHA1", "SHA1", false },
    { 3, "SHA1-sess", "SHA1", true },
    { 4, "SHA224", "SHA224", false },
    { 5, "SHA224-sess", "SHA224", true },
    { 6, "SHA256", "SHA256", false },
    { 7, "SHA256-sess", "SHA256", true },
    { 8, "SHA384", "SHA384", false },
    { 9, "SHA384-sess", "SHA384", true },
    { 10, "SHA512", "SHA512", false },
    { 11, "SHA512-sess", "SHA512", true },
} };

struct Settings
{
    bool basic = false;
    bool digest = true;
    std::array<bool, 12> allowed{}; ///< by the algorithm's number
    bool qopNone = false;
    bool qopAuth = true;
    bool qopAuthInt = false;
    std::string realm = "example.org"; ///< empty: none
    int64_t expiration = 60000;        ///< of challenges, milliseconds
    bool rechallenge = true;
    bool rechallengeInvalid = false;
    bool acceptReuse = false;
    bool acceptNonceReuse = false;
    bool omitOpaque = false;
    bool directory = true; ///< the server has one

    static Settings draw( Random &random );

    /// As options of the library; the directory may be null.
    pb::Ref<sipauthOptions> options( usrDirectory *directory ) const;
    /// How many Digest challenges a server with these settings sends.
    int64_t digestChallenges() const;
};

} // namespace simulation

#endif
