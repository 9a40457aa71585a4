// The registrar.
#include "sipauthd/registrar.h"

#include <algorithm>
#include <array>
#include <ctime>

namespace sipauthd
{
namespace
{

constexpr int64_t malformedExpires = 3600; // RFC 3261 section 20.19
constexpr int64_t hour = 3600;
constexpr uint64_t longestExpires = 0xFFFFFFFF;
constexpr std::string_view retryAfter = "10";
// What is kept of a request is bounded: no user has megabytes of bindings.
constexpr size_t longestContact = 1024;
constexpr size_t longestCallId = 512;
constexpr size_t longestPath = 2048;

// Thousandths of a q parameter ("0.5"); all of them when it is missing or unreadable.
int qOf( const sip::Parameters &parameters )
{
    constexpr int all = 1000;
    const std::string *text = parameters.find( "q" );
    if( !text || text->empty() || text->size() > 5 || ( text->size() > 1 && ( *text )[1] != '.' ) )
        return all;
    std::string number = *text;
    if( number.size() > 1 )
        number.erase( 1, 1 );
    number.append( 4 - number.size(), '0' );
    return static_cast<int>( sip::numberOf( number, all ).value_or( all ) );
}

// RFC 3261 section 20.17. Made once a second.
const std::string &dateOf( int64_t milliseconds )
{
    thread_local std::time_t last = -1;
    thread_local std::string text;
    std::time_t now = milliseconds / 1000;
    if( now == last )
        return text;
    constexpr std::array days = { "Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat" };
    constexpr std::array months = { "Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                    "Jul", "Aug", "Sep", "Oct", "Nov", "Dec" };
    std::tm tm{};
    gmtime_r( &now, &tm );
    std::array<char, 64> bytes{};
    std::snprintf( bytes.data(), bytes.size(), "%s, %02d %s %d %02d:%02d:%02d GMT",
                   days[static_cast<size_t>( tm.tm_wday )], tm.tm_mday, months[static_cast<size_t>( tm.tm_mon )],
                   tm.tm_year + 1900, tm.tm_hour, tm.tm_min, tm.tm_sec );
    last = now;
    text = bytes.data();
    return text;
}

std::string joined( const std::vector<std::string> &items )
{
    std::string text;
    for( const std::string &item : items )
        text.append( text.empty() ? "" : ", " ).append( item );
    return text;
}

bool listHas( const std::vector<std::string> &items, std::string_view wanted )
{
    return std::any_of( items.begin(), items.end(),
                        [&]( const std::string &item ) { return sip::equalIgnoringCase( item, wanted ); } );
}

bool contains( const std::vector<std::string> &texts, const std::string &text )
{
    return std::find( texts.begin(), texts.end(), text ) != texts.end();
}

// How a contact is reached: over UDP at its own address when that is the address that the request came from, so that
// nothing in between has changed it; else on the way that the request took, through address translation or over its
// connection.
engine::Target targetOf( const engine::Peer &peer, const sip::Uri &contact )
{
    const std::string *transport = contact.parameters.find( "transport" );
    const auto address = engine::Address::parse( contact.host );
    const bool overUdp = peer.transport == engine::Transport::Udp && contact.scheme == "sip" &&
                         ( !transport || sip::equalIgnoringCase( *transport, "udp" ) );
    if( !overUdp || !address || address->bytes != peer.remote.bytes )
        return { peer.transport, peer.remote, peer.flow, {} };
    engine::Target target{ peer.transport, *address, 0, {} };
    target.remote.port = contact.port ? contact.port : engine::defaultPort( peer.transport );
    return target;
}

// A contact of a request.
struct Wanted
{
    sip::NameAddress address;
    int64_t seconds = 0;
};

// A binding that is there or will be. Its URI is parsed when a contact is compared with it.
struct Entry
{
    Binding binding;
    bool ofThisRequest = false;
};

} // namespace

struct Registrar::Registration
{
    explicit Registration( std::shared_ptr<Request> asked )
        : request( std::move( asked ) ), message( request->message() )
    {
    }

    /// Answers what is not a success; always false.
    bool refuse( int status, std::string_view reason = {}, const std::vector<sip::Header> &headers = {} ) const
    {
        request->respond( sip::respond( message, status, reason, headers ) );
        return false;
    }
    sip::Message success() const;
    bool overtaken( const Binding &binding ) const { return binding.callId == callId && cseq <= binding.cseq; }
    Entry *find( const sip::NameAddress &contact );

    std::shared_ptr<Request> request;
    const sip::Message &message;
    int64_t now = wallClock();
    sip::Uri to;
    std::string addressOfRecord;
    std::string callId;
    uint32_t cseq = 0;
    std::string path;
    bool all = false; ///< "Contact: *"
    std::vector<Wanted> contacts;
    std::vector<Entry> entries;
};

Entry *Registrar::Registration::find( const sip::NameAddress &contact )
{
    auto same = [&contact]( const Entry &entry )
    {
        if( entry.binding.contact == contact.uriText )
            return true;
        std::optional<sip::Uri> other = sip::Uri::parse( entry.binding.contact );
        return other && sip::equivalent( contact.uri, *other );
    };
    auto found = std::find_if( entries.begin(), entries.end(), same );
    return found == entries.end() ? nullptr : &*found;
}

// The 200 with all bindings (RFC 3261 section 10.3 step 8), and the path for those who know it (RFC 3327 section 5.3).
sip::Message Registrar::Registration::success() const
{
    std::vector<sip::Header> headers;
    for( const Entry &entry : entries )
    {
        const Binding &binding = entry.binding;
        int64_t seconds = std::max<int64_t>( ( binding.expires - now + 999 ) / 1000, 1 );
        headers.emplace_back( "Contact", "<" + binding.contact + ">" + binding.parameters +
                                             ";expires=" + std::to_string( seconds ) );
    }
    if( !path.empty() && listHas( message.items( "Supported" ), "path" ) )
    {
        headers.emplace_back( "Path", path );
        headers.emplace_back( "Supported", "path" );
    }
    headers.emplace_back( "Date", dateOf( now ) );
    return sip::respond( message, 200, {}, headers );
}

Registrar::Registrar( Bindings &bindings, const RegistrarConfig &config ) : bindings_( bindings ), config_( config ) {}

void Registrar::setConfig( const RegistrarConfig &config )
{
    config_ = config;
}

std::string Registrar::bindingOf( const sip::Message &request )
{
    std::optional<sip::NameAddress> to = sip::NameAddress::parse( request.header( "To" ) );
    if( !to )
        return {};
    std::string key = to->uri.addressOfRecord();
    std::vector<std::string> contacts = request.items( "Contact" );
    std::optional<sip::NameAddress> contact =
        contacts.empty() ? std::nullopt : sip::NameAddress::parse( contacts.front() );
    return contact ? key + " " + contact->uriText : key;
}

void Registrar::serve( std::shared_ptr<Request> request )
{
    Registration registration( std::move( request ) );
    if( !config_.enabled )
    {
        registration.refuse( 501 );
        return;
    }
    if( !checkExtensions( registration ) || !checkAddressOfRecord( registration ) || !readContacts( registration ) )
        return;
    for( Binding &binding : bindings_.find( registration.addressOfRecord ) )
        registration.entries.push_back( { std::move( binding ) } );
    if( !registration.all && registration.contacts.empty() )
        registration.request->respond( registration.success() );
    else if( registration.all ? removeAll( registration ) : apply( registration ) )
        commit( registration );
}

bool Registrar::checkExtensions( Registration &registration ) const
{
    std::vector<std::string> unknown = registration.message.items( "Require" );
    std::erase_if( unknown, []( const std::string &item ) { return sip::equalIgnoringCase( item, "path" ); } );
    return unknown.empty() || registration.refuse( 420, {}, { { "Unsupported", joined( unknown ) } } );
}

bool Registrar::checkAddressOfRecord( Registration &registration ) const
{
    std::optional<sip::NameAddress> to = sip::NameAddress::parse( registration.message.header( "To" ) );
    std::optional<sip::Cseq> cseq = sip::Cseq::parse( registration.message.view( "CSeq" ) );
    registration.callId = registration.message.header( "Call-ID" );
    if( !to || !cseq || registration.callId.empty() || registration.callId.size() > longestCallId )
        return registration.refuse( 400 );
    registration.cseq = cseq->number;
    registration.to = std::move( to->uri );
    if( !registration.to.isSip() || !contains( config_.domains, registration.to.host ) )
        return registration.refuse( 404 );
    registration.addressOfRecord = registration.to.addressOfRecord();
    if( config_.anyUser || ownsAddressOfRecord( registration ) )
        return true;
    registration.request->refuseIdentity( "Not Your Address Of Record" );
    return false;
}

// Whether the user who was checked is the one whose address of record it is. The user's id may name a domain: when it
// is one of ours, it must be that of the address.
bool Registrar::ownsAddressOfRecord( const Registration &registration ) const
{
    std::string_view identity = registration.request->identity();
    std::string name = registration.to.userName();
    if( identity.empty() || name == identity )
        return !identity.empty();
    size_t at = identity.rfind( '@' );
    if( at == std::string_view::npos || name != identity.substr( 0, at ) )
        return false;
    std::string domain = sip::lowerCase( identity.substr( at + 1 ) );
    return domain == registration.to.host || !contains( config_.domains, domain );
}

bool Registrar::readContacts( Registration &registration ) const
{
    const sip::Message &message = registration.message;
    registration.path = joined( message.items( "Path" ) );
    if( registration.path.size() > longestPath )
        return registration.refuse( 400, "Path Too Long" );
    std::vector<std::string> items = message.items( "Contact" );
    registration.all = contains( items, "*" );
    if( registration.all )
    {
        bool alone = items.size() == 1 && sip::numberOf( message.view( "Expires" ), 0 );
        return alone || registration.refuse( 400, "Contact * Not Alone or Without Expires: 0" );
    }
    auto read = [&]( const std::string &item ) { return readContact( registration, item ); };
    return std::all_of( items.begin(), items.end(), read );
}

bool Registrar::readContact( Registration &registration, const std::string &item ) const
{
    std::optional<sip::NameAddress> address = sip::NameAddress::parse( item );
    if( item.size() > longestContact || !address || !address->uri.isSip() )
        return registration.refuse( 400, "Bad Contact" );
    // More than can be taken is not worth comparing.
    if( registration.contacts.size() >= static_cast<size_t>( 2 * config_.maxContacts ) )
        return registration.refuse( 403, "Too Many Contacts" );
    Wanted wanted;
    wanted.address = std::move( *address );
    if( !readExpires( registration, wanted.address.parameters.find( "expires" ), &wanted.seconds ) )
        return false;
    wanted.address.parameters.remove( "expires" );
    registration.contacts.push_back( std::move( wanted ) );
    return true;
}

// How long a contact shall last: by its own parameter, by the request's header, or by default (step 7). Answers 423 for
// too short a time.
bool Registrar::readExpires( Registration &registration, const std::string *parameter, int64_t *seconds ) const
{
    const sip::Message &message = registration.message;
    if( !parameter && !message.has( "Expires" ) )
    {
        *seconds = std::clamp( config_.defaultExpires, config_.minExpires, config_.maxExpires );
        return true;
    }
    std::string text = parameter ? *parameter : message.header( "Expires" );
    bool digits = !text.empty() && text.find_first_not_of( "0123456789" ) == std::string::npos;
    auto number = static_cast<int64_t>( sip::numberOf( text, longestExpires ).value_or( longestExpires ) );
    *seconds = std::min( digits ? number : malformedExpires, config_.maxExpires );
    bool tooShort = *seconds > 0 && *seconds < config_.minExpires && *seconds < hour;
    return !tooShort || registration.refuse( 423, {}, { { "Min-Expires", std::to_string( config_.minExpires ) } } );
}

bool Registrar::removeAll( Registration &registration ) const
{
    for( const Entry &entry : registration.entries )
    {
        if( registration.overtaken( entry.binding ) )
            return registration.refuse( 500, "CSeq Too Low" );
    }
    registration.entries.clear();
    return true;
}

// Makes each contact a binding, changes or removes its binding; all of them or none (step 7).
bool Registrar::apply( Registration &registration ) const
{
    for( Wanted &wanted : registration.contacts )
    {
        Entry *entry = registration.find( wanted.address );
        if( entry && !entry->ofThisRequest && registration.overtaken( entry->binding ) )
            return registration.refuse( 500, "CSeq Too Low" );
        if( wanted.seconds == 0 )
        {
            if( entry )
                registration.entries.erase( registration.entries.begin() + ( entry - registration.entries.data() ) );
            continue;
        }
        if( !entry )
            entry = &registration.entries.emplace_back();
        entry->ofThisRequest = true;
        entry->binding = { wanted.address.uriText,
                           wanted.address.parameters.text(),
                           registration.now + wanted.seconds * 1000,
                           registration.callId,
                           registration.cseq,
                           registration.path,
                           registration.request->identity(),
                           targetOf( registration.request->peer(), wanted.address.uri ),
                           qOf( wanted.address.parameters ) };
    }
    bool fits = registration.entries.size() <= static_cast<size_t>( config_.maxContacts );
    return fits || registration.refuse( 403, "Too Many Contacts" );
}

// Hands the bindings over, and answers when they are in the file.
void Registrar::commit( Registration &registration )
{
    auto committed = [request = registration.request, success = registration.success()]( bool ok )
    {
        if( ok )
            return request->respond( success );
        std::vector<sip::Header> headers = { { "Retry-After", std::string( retryAfter ) } };
        request->respond( sip::respond( request->message(), 500, {}, headers ) );
    };
    std::vector<Binding> bindings;
    for( Entry &entry : registration.entries )
        bindings.push_back( std::move( entry.binding ) );
    bindings_.replace( registration.addressOfRecord, std::move( bindings ), std::move( committed ) );
}

} // namespace sipauthd
