// The pairs of a client's and a server's session that all threads of a soak share.
#ifndef SOAK_SESSIONS_H
#define SOAK_SESSIONS_H

#include "outcomes.h"

#include <pb/pb_ref.hh>
#include <sipauth/sipauth_session.h>

#include <mutex>
#include <random>

namespace soak
{

/// Two sessions that talk to each other, at one moment.
struct Pair
{
    pb::Ref<sipauthSession> client;
    pb::Ref<sipauthSession> server;
    bool wrongPassword = false; ///< nothing that the client signs may be accepted
};

/// A place for a pair, which is renewed now and then. Any thread.
class PairPlace
{
public:
    /// The present pair; the first time, and now and then, a new one.
    Pair pair( sipauthStack *stack, std::mt19937_64 &random, Outcomes &outcomes );
    /// Makes the next caller get a new pair, unless that has happened already.
    void drop( sipauthSession *client );

private:
    std::mutex mutex_;
    Pair pair_;
};

} // namespace soak

#endif
