// The server's host: one transaction, and its comparison with the reference.
#include "world.h"

#include <pb/pb_std.hh>
#include <sipbn/sipbn_response.h>
#include <sipsn/sipsn_status_code.h>

namespace simulation
{

static std::string branchOf( const Message &message )
{
    std::string via = message.values( "Via" ).at( 0 );
    return via.substr( via.find( "branch=" ) + 7 );
}

ServerTransaction::ServerTransaction( World &world, int itsNumber, Relation &itsRelation, int itsClient,
                                      const std::string &bytes )
    : Host( world, itsNumber ), branch( branchOf( Message::parse( bytes ) ) ), relation( itsRelation.number ),
      client( itsClient ), session( itsRelation.server ), request_( decoded( bytes ) )
{
    cotrans = pb::own( sipauthServerCotransCreate( session->session, nullptr ) );
    inside = pb::share( cotrans->imp.get() );
    sipauthServerCotransRequestReadAddAlertable( cotrans, alertable_ );
    sipauthServerCotransResponseReadAddAlertable( cotrans, alertable_ );
    sipauthServerCotransCancelReadAddAlertable( cotrans, alertable_ );
    sipauthServerCotransAckReadAddAlertable( cotrans, alertable_ );
    world.story.tell( world.now(), "server %d: gets %s of client %d in relation %d", number,
                      Message::parse( bytes ).method().c_str(), client, relation );
    sipauthServerCotransRequestWrite( cotrans, request_ );
}

ServerTransaction::~ServerTransaction() = default;

void ServerTransaction::look()
{
    if( !cotrans )
        return;
    if( auto request = pb::own( sipauthServerCotransRequestRead( cotrans ) ) )
    {
        if( accepted || hadFinal )
            broken( "server %d: the request was handed out, and more", number );
        if( !judgedRequest_ )
            broken( "server %d: the request was handed out before it was decided", number );
        accepted = true;
        world_.story.tell( world_.now(), "server %d: accepted", number );
    }
    while( auto response = pb::own( sipauthServerCotransResponseRead( cotrans, nullptr ) ) )
    {
        bool final = sipsnMessageResponseStatusCode( response ) >= 200;
        if( final && hadFinal )
            broken( "server %d: two final responses", number );
        hadFinal = hadFinal || final;
        hadProvisional = hadProvisional || !final;
        lastResponse_ = encoded( response );
        world_.story.tell( world_.now(), "server %d: sends %lld", number,
                           static_cast<long long>( sipsnMessageResponseStatusCode( response ) ) );
        world_.story.show( lastResponse_ );
        world_.fly( { 0, false, client, 0, lastResponse_ } );
    }
    if( auto cancel = pb::own( sipauthServerCotransCancelRead( cotrans ) ) )
        world_.story.tell( world_.now(), "server %d: cancelled", number );
    if( auto ack = pb::own( sipauthServerCotransAckRead( cotrans ) ) )
        world_.story.tell( world_.now(), "server %d: acknowledged", number );
}

void ServerTransaction::receive( const std::string &bytes )
{
    Message message = Message::parse( bytes );
    std::string method = message.method();
    if( method != "CANCEL" && method != "ACK" )
    {
        if( !lastResponse_.empty() ) // a repeated request: the transaction layer repeats its response
            world_.fly( { 0, false, client, 0, lastResponse_ } );
        return;
    }
    if( !cotrans )
        return;
    // A host's guard: the order of calls, nothing before the request has been read, and one thing at a time.
    if( method == "CANCEL" && accepted && hadProvisional && !wroteFinal && !hadCancel )
    {
        hadCancel = true;
        cancel_ = message;
        world_.story.tell( world_.now(), "server %d: gets CANCEL", number );
        sipauthServerCotransCancelWrite( cotrans, decoded( bytes ) );
    }
    if( method == "ACK" && hadFinal && inside->hadRequestInvite && !hadAck && hadCancel == judgedCancel_ )
    {
        hadAck = true;
        ack_ = message;
        world_.story.tell( world_.now(), "server %d: gets ACK", number );
        sipauthServerCotransAckWrite( cotrans, decoded( bytes ) );
    }
}

bool ServerTransaction::respond()
{
    if( !cotrans || !accepted || wroteFinal )
        return false;
    bool invite = Message::parse( encoded( request_ ) ).method() == "INVITE";
    int64_t status = invite && world_.random.chance( 60 ) ? 180 : ( world_.random.chance( 80 ) ? 200 : 486 );
    wroteFinal = status >= 200;
    world_.story.tell( world_.now(), "server %d: the application answers %lld", number,
                       static_cast<long long>( status ) );
    sipauthServerCotransResponseWrite( cotrans, pb::own( sipbnConstructResponse( request_, status ) ) );
    return true;
}

std::optional<Verdict> ServerTransaction::visibleVerdict() const
{
    if( inside->outRequest )
        return Verdict::pass;
    if( !inside->hadResponseFinal || wroteFinal )
        return std::nullopt;
    auto last = pb::own(
        sipsnMessageFrom( pbVectorObjAt( inside->outResponses, pbVectorLength( inside->outResponses ) - 1 ) ) );
    int64_t status = sipsnMessageResponseStatusCode( last );
    if( status == 403 )
        return Verdict::forbidden;
    if( status != ( session->proxy ? 407 : 401 ) )
        broken( "server %d: answered %lld by itself", number, static_cast<long long>( status ) );
    return Verdict::challenge;
}

void ServerTransaction::judge()
{
    if( std::optional<Verdict> verdict = judgedRequest_ ? std::nullopt : visibleVerdict() )
    {
        judgedRequest_ = true;
        judgeMessage( Message::parse( encoded( request_ ) ), *verdict );
        if( *verdict == Verdict::challenge )
        {
            auto response = pb::own(
                sipsnMessageFrom( pbVectorObjAt( inside->outResponses, pbVectorLength( inside->outResponses ) - 1 ) ) );
            noteChallenge( Message::parse( encoded( response ) ) );
        }
    }
    if( cancel_ && !judgedCancel_ && inside->outCancel )
    {
        judgedCancel_ = true;
        judgeMessage( *cancel_, Verdict::pass );
    }
    if( ack_ && !judgedAck_ && inside->outAck )
    {
        judgedAck_ = true;
        judgeMessage( *ack_, Verdict::pass );
    }
}

void ServerTransaction::judgeMessage( const Message &message, Verdict verdict )
{
    Case facts{ &session->settings, session->checks, session->proxy, &message, std::nullopt, nullptr };
    std::optional<Parameters> credentials = credentialsOf( message, session->proxy );
    std::string nonce = credentials ? credentials->get( "nonce" ).value_or( "" ) : "";
    facts.stored = world_.sent.find( nonce );
    if( inquiry >= 0 )
        facts.found = world_.directory->inquiries()[static_cast<size_t>( inquiry )].answer;

    Memory before = session->memory;
    Decision decision = decide( session->memory, facts );
    if( decision.verdict != verdict && decision.consumed && !SentChallenges::certain( *facts.stored, world_.now() ) )
    {
        // The challenge may have expired meanwhile, or not: the library says that it has.
        session->memory = before;
        facts.stored = nullptr;
        decision = decide( session->memory, facts );
    }
    world_.story.tell( world_.now(), "server %d: %s: %s", number, message.method().c_str(), name( verdict ) );
    if( decision.verdict != verdict )
        broken( "server %d: %s decided %s, the reference says %s", number, message.method().c_str(), name( verdict ),
                name( decision.verdict ) );
    if( inquiry >= 0 && !decision.asked )
        broken( "server %d: the directory was asked without need", number );
    inquiry = -1;
    if( decision.consumed )
        world_.sent.consume( nonce );
    if( decision.verified && credentials->get( "nc" ) &&
        !world_.pairsAccepted.emplace( nonce, std::stoll( *credentials->get( "nc" ), nullptr, 16 ) ).second )
        broken( "server %d: nonce %s was accepted twice under one count", number, nonce.c_str() );

    Statistics &statistics = world_.statistics;
    statistics.passed += verdict == Verdict::pass && session->checks;
    statistics.verified += decision.verified;
    statistics.challenged += verdict == Verdict::challenge;
    statistics.forbidden += verdict == Verdict::forbidden;
}

void ServerTransaction::noteChallenge( const Message &response )
{
    SentChallenge challenge;
    challenge.time = world_.now();
    challenge.shortestExpiration = world_.shortestExpiration();
    challenge.proxy = session->proxy;
    int64_t basic = 0;
    for( const std::string &value : response.values( session->proxy ? "Proxy-Authenticate" : "WWW-Authenticate" ) )
    {
        Parameters parameters = Parameters::parse( value );
        if( parameters.scheme == "basic" )
        {
            basic++;
            continue;
        }
        challenge.offers.push_back( DigestOffer::of( parameters ) );
        const DigestOffer &offer = challenge.offers.back();
        if( !world_.noncesSeen.insert( offer.nonce ).second )
            broken( "server %d: nonce %s was used before", number, offer.nonce.c_str() );
        if( offer.realm != session->settings.realm || offer.opaque.has_value() == session->settings.omitOpaque )
            broken( "server %d: a challenge with realm %s, opaque %s", number, offer.realm.c_str(),
                    offer.opaque.value_or( "none" ).c_str() );
    }
    if( static_cast<int64_t>( challenge.offers.size() ) != session->settings.digestChallenges() ||
        basic != ( session->settings.basic ? 1 : 0 ) )
        broken( "server %d: %zu Digest and %lld Basic challenges", number, challenge.offers.size(),
                static_cast<long long>( basic ) );
    if( !challenge.offers.empty() )
        world_.sent.add( std::move( challenge ) );
}

void ServerTransaction::release()
{
    if( !cotrans )
        return;
    cotrans.clear();
    pbProcessHalt( process_ );
}

} // namespace simulation
