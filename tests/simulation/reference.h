// The reference: what a server has to decide about a request, written down sequentially and without the library. Each
// session has a memory, the stack's database of challenges is one for all of them.
#ifndef SIMULATION_REFERENCE_H
#define SIMULATION_REFERENCE_H

#include "digest.h"
#include "settings.h"

#include <set>

namespace simulation
{

/// What the directory said about a user.
struct Account
{
    std::string userName;
    std::string password;
    bool operator==( const Account &other ) const = default;
};

/// A challenge that a server sent.
struct SentChallenge
{
    int64_t time = 0;
    int64_t shortestExpiration = 0; ///< the shortest one in force since it was stored
    bool proxy = false;
    std::vector<DigestOffer> offers;
};

/// The challenges of a stack, by number; each nonce leads to one.
class SentChallenges
{
public:
    void add( SentChallenge challenge );
    /// A new expiration is in force, also for challenges stored before.
    void expireAfter( int64_t expiration );
    const SentChallenge *find( const std::string &nonce ) const;
    void consume( const std::string &nonce );
    /// Whether a stored challenge must still be found: it is no older than any expiration since it was stored.
    static bool certain( const SentChallenge &challenge, int64_t now );

private:
    std::map<int64_t, SentChallenge> challenges_;
    std::map<std::string, int64_t> byNonce_;
    int64_t next_ = 0;
};

/// What a server session remembers.
struct Memory
{
    std::optional<std::string> user;
    std::optional<Account> account;
    std::optional<DigestOffer> digest; ///< kept for the next request
    std::optional<Parameters> previous;
    bool failed = false;
};

enum class Verdict
{
    pass,
    challenge,
    forbidden
};

const char *name( Verdict verdict );

/// What a decision is made from.
struct Case
{
    const Settings *settings;
    bool server; ///< the session checks at all
    bool proxy;
    const Message *request;
    std::optional<Account> found; ///< what the directory answers, if it is asked
    const SentChallenge *stored;  ///< the challenge that the credentials' nonce leads to, if it is still there
};

struct Decision
{
    Verdict verdict = Verdict::pass;
    bool asked = false;    ///< the directory was needed
    bool consumed = false; ///< the stored challenge was taken
    bool verified = false; ///< a Digest response was checked and is right
};

/// Decides, and changes the session's memory.
Decision decide( Memory &memory, const Case &facts );

/// The credentials of a request: the last line of the header that the role reads.
std::optional<Parameters> credentialsOf( const Message &request, bool proxy );

} // namespace simulation

#endif
