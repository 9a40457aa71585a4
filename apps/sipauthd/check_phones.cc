// What known phones make of challenges. Each row holds what was seen of that program.
#include "sipauthd/check.h"

#include "sip/message.h"

#include <host/host_peer.h>
#include <pb/pb_std.hh>

#include <algorithm>
#include <array>
#include <optional>

namespace sipauthd
{

namespace
{

enum Algorithms
{
    md5 = 1,
    sha256 = 2,
    sha512256 = 4
};

// How a phone takes an algorithm that it does not know.
enum class Unknown
{
    Skips,      ///< goes on with the next challenge
    FailsFirst, ///< gives up when it stands first
    FailsAny    ///< gives up wherever it stands
};

struct Phone
{
    const char *name;
    const char *userAgent; ///< "" when it sends none
    int algorithms;
    Unknown unknown;
    bool takesBasicLine;    ///< whether a Basic challenge beside Digest does no harm
    bool takesAuthIntFirst; ///< whether it reads qop="auth-int,auth"
    bool tls;
};

constexpr std::array phones = {
    Phone{ "baresip 1.0", "baresip v1.0.0 (x86_64/linux)", md5, Unknown::FailsAny, false, true, true },
    Phone{ "linphone 5.1", "Linphone-Daemon/5.1.65", md5 | sha256, Unknown::FailsFirst, false, false, true },
    Phone{ "sipp 3.6", "", md5, Unknown::FailsFirst, false, true, false },
    Phone{ "sipsak 0.9.8", "sipsak 0.9.8.1", md5, Unknown::FailsFirst, false, true, true },
    Phone{ "any RFC 8760 client", "", md5 | sha256 | sha512256, Unknown::Skips, true, true, true },
};
static_assert( phones.size() == 5 );

// The value of a challenge's parameter, without quotes.
std::string parameterOf( const std::string &line, const std::string &name )
{
    for( std::string_view item :
         sip::splitList( std::string_view( line ).substr( std::min( line.find( ' ' ), line.size() ) ) ) )
    {
        size_t equals = item.find( '=' );
        if( equals == std::string_view::npos || !sip::equalIgnoringCase( item.substr( 0, equals ), name ) )
            continue;
        std::string_view value = item.substr( equals + 1 );
        if( value.size() >= 2 && value.front() == '"' )
            value = value.substr( 1, value.size() - 2 );
        return std::string( value );
    }
    return "";
}

bool isBasic( const std::string &line )
{
    return sip::equalIgnoringCase( line.substr( 0, line.find( ' ' ) ), "Basic" );
}

std::string algorithmOf( const std::string &line )
{
    std::string algorithm = parameterOf( line, "algorithm" );
    return algorithm.empty() ? "MD5" : algorithm;
}

bool knows( const Phone &phone, const std::string &algorithm )
{
    if( sip::equalIgnoringCase( algorithm, "MD5" ) )
        return phone.algorithms & md5;
    if( sip::equalIgnoringCase( algorithm, "SHA-256" ) )
        return phone.algorithms & sha256;
    return sip::equalIgnoringCase( algorithm, "SHA-512-256" ) && ( phone.algorithms & sha512256 );
}

// Why a phone cannot take one of the qualities of protection of a challenge; empty when it can.
std::string qopTrouble( const Phone &phone, const std::string &line )
{
    std::string qop = parameterOf( line, "qop" );
    if( qop.empty() )
        return "";
    bool hasAuth = false;
    bool authIntFirst = qop.starts_with( "auth-int" ) && qop.size() > 8;
    for( std::string_view item : sip::splitList( qop ) )
        hasAuth = hasAuth || item == "auth";
    if( !hasAuth )
        return "it does not do qop \"" + qop + "\"";
    return authIntFirst && !phone.takesAuthIntFirst ? "it does not read qop \"" + qop + "\"" : "";
}

Prospect no( const Phone &phone, const std::string &why )
{
    return { phone.name, false, why };
}

// Goes through the challenges as the phone does.
Prospect tryLines( const Phone &phone, const std::vector<std::string> &lines )
{
    std::string unknown;
    for( size_t index = 0; index < lines.size(); index++ )
    {
        if( isBasic( lines[index] ) && !phone.takesBasicLine )
            return no( phone, "a Basic challenge beside Digest confuses it" );
        std::string algorithm = isBasic( lines[index] ) ? "" : algorithmOf( lines[index] );
        if( algorithm.empty() || knows( phone, algorithm ) )
            continue;
        unknown = algorithm;
        if( phone.unknown == Unknown::FailsAny || ( phone.unknown == Unknown::FailsFirst && index == 0 ) )
            return no( phone, "it does not know " + algorithm + ( index == 0 ? ", which stands first" : "" ) +
                                  ", and gives up: give it the profile \"legacy\"" );
    }
    for( const std::string &line : lines )
        if( !isBasic( line ) && knows( phone, algorithmOf( line ) ) )
        {
            std::string trouble = qopTrouble( phone, line );
            return trouble.empty() ? Prospect{ phone.name, true, "with " + algorithmOf( line ) } : no( phone, trouble );
        }
    return no( phone, unknown.empty() ? "it is offered nothing but Basic" : "it knows none of the algorithms" );
}

int64_t profileFor( const ConfigFile &file, size_t listener, const Phone &phone )
{
    std::vector<int> numbers;
    for( size_t index = 0; index < file.config.listeners.size(); index++ )
        numbers.push_back( static_cast<int>( index ) );
    auto profiles = makeProfiles( file.config, numbers );
    // An address that is in no network of anybody's (RFC 5737).
    constexpr uint8_t address[] = { 192, 0, 2, 100 };
    auto transport = static_cast<int64_t>( file.config.listeners[listener].transport );
    auto peer = pb::own( hostPeerCreate( transport, address, 4, 5060, 0, static_cast<int64_t>( listener ) ) );
    sip::Message request = sip::Message::request( "REGISTER", "sip:example.com" );
    if( *phone.userAgent )
        request.set( "User-Agent", phone.userAgent );
    return hostProfilesOf( profiles, peer, request.get() );
}

// Whether a challenge of this size leaves at all over UDP.
std::string sizeTrouble( const ConfigFile &file, size_t listener, const Challenge &challenge )
{
    int64_t most = hostSettingsValue( file.config.settings, HOST_SETTING_CHALLENGE_BYTES );
    bool udp = file.config.listeners[listener].transport == engine::Transport::Udp;
    if( !udp || most == 0 || challenge.bytes <= most )
        return "";
    return "the challenge has " + std::to_string( challenge.bytes ) + " bytes, over UDP at most " +
           std::to_string( most ) + " are sent";
}

} // namespace

std::vector<Prospect> prospects( const ConfigFile &file, size_t listener )
{
    std::vector<Prospect> found;
    bool tls = file.config.listeners[listener].transport == engine::Transport::Tls;
    for( const Phone &phone : phones )
    {
        int64_t profile = profileFor( file, listener, phone );
        Challenge challenge = challengeOf( file.options, !file.config.registrar.enabled, profile );
        Prospect prospect = tryLines( phone, challenge.lines );
        if( std::string trouble = sizeTrouble( file, listener, challenge ); !trouble.empty() )
            prospect = no( phone, trouble );
        else if( challenge.lines.empty() )
            prospect = no( phone, "no challenge can be made with these options" );
        if( tls && !phone.tls )
            prospect = no( phone, "it does not do TLS" );
        prospect.why += std::string( " (profile " ) + hostProfileName( profile ) + ")";
        found.push_back( prospect );
    }
    return found;
}

} // namespace sipauthd
