// The reference.
#include "reference.h"

#include <algorithm>

namespace simulation
{

void SentChallenges::add( SentChallenge challenge )
{
    for( const DigestOffer &offer : challenge.offers )
        byNonce_[offer.nonce] = next_;
    challenges_.emplace( next_++, std::move( challenge ) );
}

void SentChallenges::expireAfter( int64_t expiration )
{
    for( auto &[number, challenge] : challenges_ )
        challenge.shortestExpiration = std::min( challenge.shortestExpiration, expiration );
}

const SentChallenge *SentChallenges::find( const std::string &nonce ) const
{
    auto found = byNonce_.find( nonce );
    return found == byNonce_.end() ? nullptr : &challenges_.at( found->second );
}

void SentChallenges::consume( const std::string &nonce )
{
    int64_t number = byNonce_.at( nonce );
    std::erase_if( byNonce_, [number]( const auto &entry ) { return entry.second == number; } );
    challenges_.erase( number );
}

bool SentChallenges::certain( const SentChallenge &challenge, int64_t now )
{
    return now - challenge.time <= challenge.shortestExpiration;
}

const char *name( Verdict verdict )
{
    constexpr const char *names[] = { "pass", "challenge", "forbidden" };
    return names[static_cast<int>( verdict )];
}

std::optional<Parameters> credentialsOf( const Message &request, bool proxy )
{
    std::vector<std::string> values = request.values( proxy ? "Proxy-Authorization" : "Authorization" );
    if( values.empty() )
        return std::nullopt;
    return Parameters::parse( values.back() );
}

namespace
{

/// One decision, in the order in which a server takes its steps.
class Judge
{
public:
    Judge( Memory &memory, const Case &facts ) : memory_( memory ), facts_( facts ) {}

    Decision decide()
    {
        if( !facts_.server )
            return decision_;
        authorization_ = credentialsOf( *facts_.request, facts_.proxy );
        bool accepted = authorization_ && ( reused() || check() );
        if( !authorization_ )
            memory_.previous.reset();
        if( !accepted )
            refuse();
        return decision_;
    }

private:
    bool reused()
    {
        if( memory_.previous == authorization_ && facts_.settings->acceptReuse )
            return true;
        memory_.previous.reset();
        return false;
    }

    bool check()
    {
        if( !memory_.account && !findUser() )
            return false;
        bool digest = authorization_->scheme == "digest";
        if( memory_.digest && !digest )
            return false;
        if( !( digest ? checkDigest() : checkBasic() ) )
            return false;
        memory_.previous = authorization_;
        return true;
    }

    bool findUser()
    {
        if( !userName() || !facts_.settings->directory )
            return false;
        decision_.asked = true;
        if( !facts_.found )
            return false;
        memory_.user = facts_.found->userName;
        memory_.account = facts_.found;
        return true;
    }

    std::optional<std::string> userName() const
    {
        if( authorization_->scheme == "digest" )
            return authorization_->get( "username" );
        return basic().substr( 0, basic().find( ':' ) );
    }

    std::string basic() const { return fromBase64( authorization_->get( "credentials" ).value_or( "" ) ); }

    bool checkBasic() const
    {
        return facts_.settings->basic && basic() == memory_.account->userName + ":" + memory_.account->password;
    }

    bool checkDigest()
    {
        if( !memory_.digest )
        {
            std::optional<DigestOffer> offer = takeStored();
            if( !offer )
                return false;
            if( !right( *offer ) )
                return false;
            keep( *offer );
            return true;
        }
        if( !right( *memory_.digest ) )
            return false;
        keep( DigestOffer( *memory_.digest ) );
        return true;
    }

    // The offer of the stored challenge that the credentials are meant for.
    std::optional<DigestOffer> takeStored()
    {
        if( !authorization_->get( "nonce" ) || !facts_.stored )
        {
            again_ = true;
            return std::nullopt;
        }
        decision_.consumed = true;
        if( facts_.stored->proxy != facts_.proxy )
            return std::nullopt;
        for( const DigestOffer &offer : facts_.stored->offers )
            if( authorization_->get( "realm" ) == offer.realm && authorization_->get( "nonce" ) == offer.nonce &&
                authorization_->get( "opaque" ) == offer.opaque )
                return offer;
        return std::nullopt;
    }

    bool right( const DigestOffer &offer )
    {
        const Account &account = *memory_.account;
        if( answers( offer, *authorization_, *facts_.request, account.userName, account.password ) )
        {
            decision_.verified = true;
            return true;
        }
        again_ = facts_.settings->rechallengeInvalid;
        return false;
    }

    void keep( DigestOffer offer )
    {
        if( offer.qop() )
            offer.nonceCount++;
        if( offer.qop() ? offer.nonceCount <= 0xFFFFFFFF : facts_.settings->acceptNonceReuse )
            memory_.digest = offer;
        else
            memory_.digest.reset();
    }

    // The request is not accepted: what becomes of it. CANCEL and ACK pass all the same (RFC 3261 section 22.1).
    void refuse()
    {
        std::string method = facts_.request->method();
        if( method == "CANCEL" || method == "ACK" )
            return;
        memory_.digest.reset();
        if( authorization_ && !again_ )
            decision_.verdict = Verdict::forbidden;
        else if( !memory_.user || facts_.settings->rechallenge || again_ )
            challenge();
    }

    void challenge()
    {
        bool basic = facts_.settings->basic && !facts_.settings->realm.empty();
        decision_.verdict = Verdict::challenge;
        if( facts_.settings->digestChallenges() + basic == 0 )
        {
            decision_.verdict = Verdict::forbidden;
            memory_.failed = true;
        }
    }

    Memory &memory_;
    const Case &facts_;
    Decision decision_;
    std::optional<Parameters> authorization_;
    bool again_ = false; ///< a refusal has to be a new challenge
};

} // namespace

Decision decide( Memory &memory, const Case &facts )
{
    return Judge( memory, facts ).decide();
}

} // namespace simulation
