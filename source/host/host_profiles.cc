// Profiles: the rules that say how challenges are shaped for which peers, and what was learned about the others.
#include <host/host_profiles.h>

#include "host/host_hash_private.h"
#include "host/host_private.h"
#include "pb/pb_type.h"

#include <pb/pb_std.hh>
#include <sipauth/sipauth_digest_algorithm.h>

#include <arpa/inet.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_map>
#include <vector>

namespace
{

constexpr const char *names[] = { "strict", "default", "legacy" };
static_assert( std::size( names ) == HOST_PROFILE_COUNT );

constexpr int64_t none = -1;

// How many peers are remembered as learned.
constexpr size_t maxLearned = 4096;

struct Network
{
    uint8_t address[16]; ///< zeros behind the prefix
    int64_t prefix;      ///< bits
    bool ipv4;
    int64_t profile;

    bool sameNetwork( const Network &other ) const
    {
        return prefix == other.prefix && ipv4 == other.ipv4 &&
               std::memcmp( address, other.address, sizeof address ) == 0;
    }
};

struct UserAgent
{
    std::string text; ///< in lower case
    int64_t profile;
};

void clearBehindPrefix( uint8_t *address, int64_t prefix )
{
    for( int64_t bit = prefix; bit < 128; bit++ )
        address[bit / 8] = static_cast<uint8_t>( address[bit / 8] & ~( 0x80 >> bit % 8 ) );
}

bool matches( const Network &network, hostPeer *peer )
{
    if( network.ipv4 != static_cast<bool>( hostPeerIsIpv4( peer ) ) )
        return false;
    const uint8_t *address = hostPeerAddress( peer );
    auto whole = static_cast<size_t>( network.prefix / 8 );
    if( std::memcmp( address, network.address, whole ) != 0 )
        return false;
    int64_t rest = network.prefix % 8;
    return rest == 0 || ( ( address[whole] ^ network.address[whole] ) & ( 0xFF00 >> rest ) & 0xFF ) == 0;
}

// The number that a text of one to three digits spells; -1 for any other text.
int64_t tryPrefix( const std::string &digits )
{
    if( digits.empty() || digits.size() > 3 || digits.find_first_not_of( "0123456789" ) != std::string::npos )
        return -1;
    return std::stol( digits );
}

// Reads "address/prefix" or an address alone.
bool tryNetwork( const std::string &text, Network &network )
{
    size_t slash = text.find( '/' );
    std::string address = text.substr( 0, slash );
    int64_t bits = 128;
    uint8_t *bytes = network.address;
    if( inet_pton( AF_INET, address.c_str(), bytes + 12 ) == 1 )
    {
        std::memset( bytes, 0, 10 );
        bytes[10] = bytes[11] = 0xFF;
        bits = 32;
    }
    else if( inet_pton( AF_INET6, address.c_str(), bytes ) != 1 )
        return false;
    int64_t prefix = slash == std::string::npos ? bits : tryPrefix( text.substr( slash + 1 ) );
    if( prefix < 0 || prefix > bits )
        return false;
    network.prefix = 128 - bits + prefix;
    clearBehindPrefix( bytes, network.prefix );
    constexpr uint8_t mapped[12] = { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF };
    network.ipv4 = network.prefix >= 96 && std::memcmp( bytes, mapped, sizeof mapped ) == 0;
    return true;
}

std::string folded( std::string text )
{
    for( char &ch : text )
        if( ch >= 'A' && ch <= 'Z' )
            ch = static_cast<char>( ch + ( 'a' - 'A' ) );
    return text;
}

pb::Ref<pbString> userAgentOf( sipsnMessage *request )
{
    auto header = pb::own( sipsnMessageHeaderCstr( request, "User-Agent", -1 ) );
    return pb::own( header ? sipsnMessageHeaderLastLine( header ) : nullptr );
}

// Which peers were seen to want "legacy", by address and User-Agent: a User-Agent alone would let one client decide for
// all others of its kind. The one that was learned first is forgotten first.
class Learned
{
public:
    bool has( hostPeer *peer, pbString *userAgent ) const
    {
        auto found = wanted_.find( keyOf( peer, userAgent ) );
        return found != wanted_.end() && found->second;
    }

    void note( hostPeer *peer, pbString *userAgent, bool wanted )
    {
        uint64_t key = keyOf( peer, userAgent );
        auto found = wanted_.find( key );
        if( found != wanted_.end() )
            found->second = wanted;
        else if( wanted )
            add( key );
    }

    void clear()
    {
        wanted_.clear();
        order_.clear();
        oldest_ = 0;
    }

private:
    uint64_t keyOf( hostPeer *peer, pbString *userAgent ) const
    {
        std::string text = pb::text( userAgent );
        host::Hasher hasher( key_ );
        hasher.add( hostPeerAddress( peer ), 16 );
        hasher.add( text.data(), text.size() );
        return hasher.finish().halves[0];
    }

    void add( uint64_t key )
    {
        if( order_.size() < maxLearned )
            order_.push_back( key );
        else
        {
            wanted_.erase( order_[oldest_] );
            order_[oldest_] = key;
            oldest_ = ( oldest_ + 1 ) % maxLearned;
        }
        wanted_.emplace( key, true );
    }

    std::unordered_map<uint64_t, bool> wanted_;
    std::vector<uint64_t> order_;
    size_t oldest_ = 0;
    host::HashKey key_ = host::randomHashKey();
};

struct Rules
{
    std::unordered_map<int64_t, int64_t> listeners;
    std::vector<Network> networks;     ///< the longest prefix first
    std::vector<UserAgent> userAgents; ///< the longest text first
    Learned learned;
};

// Puts a rule where it belongs, or in place of the one that is for the same thing.
template<class Rule, class Same, class Longer>
void addRule( std::vector<Rule> &rules, Rule rule, Same same, Longer longer )
{
    auto found = std::find_if( rules.begin(), rules.end(), [&]( const Rule &other ) { return same( rule, other ); } );
    if( found != rules.end() )
        found->profile = rule.profile;
    else
        rules.insert( std::upper_bound( rules.begin(), rules.end(), rule, longer ), std::move( rule ) );
}

} // namespace

struct hostProfiles
{
    pb::Object object;
    Rules *rules;
    int64_t defaultProfile;
    pbBool learn;
};

PB_TYPE( hostProfiles, HOST_PROFILES, host, host___ProfilesFreeFunc, nullptr );

static void host___ProfilesFreeFunc( pbObj *obj )
{
    hostProfiles *profiles = hostProfilesFrom( obj );
    PB_ASSERT( profiles );
    delete profiles->rules;
    pb::poisonGlobal( profiles->rules );
}

hostProfiles *hostProfilesCreate( int64_t defaultProfile )
{
    PB_ASSERT( HOST_PROFILE_OK( defaultProfile ) );
    auto profiles = pb::create<hostProfiles>( hostProfilesSort() );
    profiles->rules = new Rules;
    profiles->defaultProfile = defaultProfile;
    return profiles.give();
}

void hostProfilesAddListener( hostProfiles *profiles, int64_t listener, int64_t profile )
{
    PB_ASSERT( profiles );
    PB_ASSERT( HOST_PROFILE_OK( profile ) );
    profiles->rules->listeners.insert_or_assign( listener, profile );
}

pbBool hostProfilesTryAddNetwork( hostProfiles *profiles, pbString *network, int64_t profile )
{
    PB_ASSERT( profiles );
    PB_ASSERT( network );
    PB_ASSERT( HOST_PROFILE_OK( profile ) );
    Network rule{};
    if( !pbStringAscii( network ) || !tryNetwork( pb::text( network ), rule ) )
        return 0;
    rule.profile = profile;
    addRule(
        profiles->rules->networks, rule, []( const Network &a, const Network &b ) { return a.sameNetwork( b ); },
        []( const Network &a, const Network &b ) { return a.prefix > b.prefix; } );
    return 1;
}

void hostProfilesAddUserAgent( hostProfiles *profiles, pbString *text, int64_t profile )
{
    PB_ASSERT( profiles );
    PB_ASSERT( text );
    PB_ASSERT( HOST_PROFILE_OK( profile ) );
    addRule(
        profiles->rules->userAgents, UserAgent{ folded( pb::text( text ) ), profile },
        []( const UserAgent &a, const UserAgent &b ) { return a.text == b.text; },
        []( const UserAgent &a, const UserAgent &b ) { return a.text.size() > b.text.size(); } );
}

namespace
{

int64_t ofListener( const Rules &rules, hostPeer *peer )
{
    if( rules.listeners.empty() )
        return none;
    auto found = rules.listeners.find( hostPeerListener( peer ) );
    return found == rules.listeners.end() ? none : found->second;
}

int64_t ofNetwork( const Rules &rules, hostPeer *peer )
{
    for( const Network &network : rules.networks )
        if( matches( network, peer ) )
            return network.profile;
    return none;
}

int64_t ofUserAgent( const Rules &rules, pbString *userAgent )
{
    if( rules.userAgents.empty() )
        return none;
    std::string text = folded( pb::text( userAgent ) );
    for( const UserAgent &rule : rules.userAgents )
        if( text.find( rule.text ) != std::string::npos )
            return rule.profile;
    return none;
}

// What the rules say; none when nothing. *USERAGENT is set when it had to be read, and there is one.
int64_t ruled( const hostProfiles *profiles, hostPeer *peer, sipsnMessage *request, pb::Ref<pbString> &userAgent )
{
    const Rules &rules = *profiles->rules;
    if( int64_t profile = ofListener( rules, peer ); profile != none )
        return profile;
    if( int64_t profile = ofNetwork( rules, peer ); profile != none )
        return profile;
    if( !rules.userAgents.empty() || profiles->learn )
        userAgent = userAgentOf( request );
    return userAgent ? ofUserAgent( rules, userAgent ) : none;
}

} // namespace

int64_t hostProfilesOf( hostProfiles *profiles, hostPeer *peer, sipsnMessage *request )
{
    PB_ASSERT( profiles );
    PB_ASSERT( peer );
    PB_ASSERT( request );
    pb::Ref<pbString> userAgent;
    if( int64_t profile = ruled( profiles, peer, request, userAgent ); profile != none )
        return profile;
    if( profiles->learn && userAgent && profiles->rules->learned.has( peer, userAgent ) )
        return HOST_PROFILE_LEGACY;
    return profiles->defaultProfile;
}

void hostProfilesLearn( hostProfiles *profiles, hostPeer *peer, sipsnMessage *request, int64_t algorithm )
{
    PB_ASSERT( profiles );
    PB_ASSERT( peer );
    PB_ASSERT( request );
    PB_ASSERT( SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ) );
    if( !profiles->learn || profiles->defaultProfile == HOST_PROFILE_LEGACY )
        return;
    // Where a rule decides nothing needs to be learned.
    pb::Ref<pbString> userAgent;
    if( ruled( profiles, peer, request, userAgent ) != none || !userAgent )
        return;
    profiles->rules->learned.note( peer, userAgent, algorithm == SIPAUTH_DIGEST_ALGORITHM_MD5 );
}

void hostProfilesSetLearn( hostProfiles *profiles, pbBool learn )
{
    PB_ASSERT( profiles );
    profiles->learn = learn != 0;
    if( !learn )
        profiles->rules->learned.clear();
}

const char *hostProfileName( int64_t profile )
{
    PB_ASSERT( HOST_PROFILE_OK( profile ) );
    return names[profile];
}

int64_t hostProfileTryFromName( pbString *name )
{
    PB_ASSERT( name );
    for( int64_t profile = 0; HOST_PROFILE_OK( profile ); profile++ )
        if( pbStringEqualsCstr( name, names[profile], -1 ) )
            return profile;
    return none;
}
