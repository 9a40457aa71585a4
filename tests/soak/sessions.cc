// The pairs of sessions that all threads of a soak share.
#include "sessions.h"

#include <pb/pb_std.hh>

namespace soak
{

namespace
{

constexpr uint64_t transactionsOfAPair = 30; // about

pb::Ref<sipauthSession> clientByReference( sipauthStack *stack, uint64_t flags )
{
    auto reference = pb::own( usrReferenceCreate( pb::string( "users" ), pb::string( "alice" ) ) );
    return pb::own( sipauthSessionCreateWithClientUserReference( stack, flags, reference, nullptr ) );
}

pb::Ref<sipauthSession> clientByPassword( sipauthStack *stack, uint64_t flags, const char *password )
{
    auto credentials = pb::own( sipauthCredentialsCreate() );
    sipauthCredentialsSetUserName( credentials.inout(), pb::string( "alice" ) );
    sipauthCredentialsSetPassword( credentials.inout(), pb::string( password ) );
    return pb::own( sipauthSessionCreateWithClientCredentials( stack, flags, credentials, nullptr ) );
}

Pair makePair( sipauthStack *stack, std::mt19937_64 &random )
{
    Pair pair;
    uint64_t proxy = random() % 4 == 0 ? SIPAUTH_SESSION_FLAG_PROXY : 0;
    uint64_t kind = random() % 8;
    pair.wrongPassword = kind == 0;
    pair.client = kind < 3 ? clientByPassword( stack, SIPAUTH_SESSION_FLAG_CLIENT | proxy,
                                               pair.wrongPassword ? "looking-glass" : "wonderland" )
                           : clientByReference( stack, SIPAUTH_SESSION_FLAG_CLIENT | proxy );
    pair.server = pb::own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER | proxy, nullptr ) );
    return pair;
}

} // namespace

Pair PairPlace::pair( sipauthStack *stack, std::mt19937_64 &random, Outcomes &outcomes )
{
    Pair old; // its sessions go when the lock has been given back
    std::lock_guard lock( mutex_ );
    if( !pair_.client || random() % transactionsOfAPair == 0 )
    {
        old = std::move( pair_ );
        pair_ = makePair( stack, random );
        outcomes.count( Outcome::SESSIONS_RENEWED );
    }
    return pair_;
}

void PairPlace::drop( sipauthSession *client )
{
    Pair old;
    std::lock_guard lock( mutex_ );
    if( pair_.client.get() == client )
        old = std::exchange( pair_, Pair{} );
}

} // namespace soak
