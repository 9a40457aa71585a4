// A simulated world: how it is made, lives, settles and ends.
#include "world.h"

#include "pb/pb_simulation.h"
#include "watch.h"

#include <cs/cs_object.h>
#include <pb/pb_std.hh>
#include <pb/pb_timestamp.h>

#include <algorithm>

namespace simulation
{

constexpr int64_t networkDelay = 300; // the longest, in milliseconds

void Statistics::add( const Statistics &other )
{
    worlds += other.worlds;
    events += other.events;
    requests += other.requests;
    passed += other.passed;
    verified += other.verified;
    challenged += other.challenged;
    forbidden += other.forbidden;
    clientErrors += other.clientErrors;
    answered += other.answered;
    inquiries += other.inquiries;
    waits += other.waits;
    freedAtWork += other.freedAtWork;
}

Host::Host( World &world, int itsNumber ) : number( itsNumber ), world_( world )
{
    process_ =
        pb::own( pbProcessCreate( []( void *context ) { static_cast<Host *>( context )->look(); }, this, "host" ) );
    alertable_ = pb::own( pbAlertableCreateWithProcess( process_ ) );
    signalable_ = pb::own( pbSignalableCreateWithProcess( process_ ) );
}

Host::~Host()
{
    pbProcessHalt( process_ );
}

World::World( uint64_t seed, bool print )
    : random( seed ), story( print ), seed_( seed ), liveBefore_( pbObjLiveObjects() )
{
    setSeed( seed );
    scheduler_ = pb::own( pb___SimulationCreate( seed, random.chance( 50 ) ? -1 : random.below( 4 ) ) );
    pbSchedulerSetCurrent( scheduler_ );
    directory = std::make_unique<Directory>( random, story );
    csSetObject( pb::string( "people" ), usrDirectoryObj( directory->object() ) );

    serverSettings_ = Settings::draw( random );
    expirations_ = { serverSettings_.expiration };
    longestExpiration_ = serverSettings_.expiration;
    serverStack_ = pb::own( sipauthStackCreate( serverSettings_.options( directory->object() ), nullptr ) );
    clientSettings_ = Settings::draw( random );
    if( random.chance( 80 ) ) // a client that answers whatever it can
    {
        clientSettings_.basic = clientSettings_.digest = true;
        clientSettings_.allowed.fill( true );
        clientSettings_.qopNone = clientSettings_.qopAuth = clientSettings_.qopAuthInt = true;
    }
    auto options = clientSettings_.options( nullptr );
    if( random.chance( 50 ) )
        sipauthOptionsSetClientUsrReference(
            options.inout(), pb::own( usrReferenceCreate( pb::string( "people" ), pb::string( "user0" ) ) ) );
    clientStack_ = pb::own( sipauthStackCreate( options, nullptr ) );

    int64_t relations = random.between( 1, 4 );
    for( int number = 0; number < relations; number++ )
        addRelation( number );
    quota_ = relations * random.between( 2, 8 );
}

World::~World() = default;

int64_t World::now() const
{
    return pb___SimulationNow( scheduler_ );
}

void World::addRelation( int number )
{
    relations_.push_back( std::make_unique<Relation>() );
    Relation &relation = *relations_.back();
    relation.number = number;
    relation.userName = "user" + std::to_string( number );
    if( random.chance( 92 ) ) // else the directory does not know the user
        directory->add( { relation.userName, "password" + std::to_string( number ) } );
    newServerSession( relation );
    newClientSession( relation );
}

void World::newServerSession( Relation &relation )
{
    auto server = std::make_shared<ServerSession>();
    server->settings = serverSettings_;
    server->checks = random.chance( 96 );
    server->proxy = relation.client ? relation.client->proxy : random.chance( 30 );
    if( random.chance( 3 ) )
        server->proxy = !server->proxy;
    uint64_t flags =
        ( server->checks ? SIPAUTH_SESSION_FLAG_SERVER : 0 ) | ( server->proxy ? SIPAUTH_SESSION_FLAG_PROXY : 0 );
    server->session = pb::own( sipauthSessionCreate( serverStack_, flags, nullptr ) );
    relation.server = server;
}

void World::newClientSession( Relation &relation )
{
    auto client = std::make_shared<ClientSession>();
    client->proxy = relation.server->proxy;
    uint64_t flags =
        ( random.chance( 97 ) ? SIPAUTH_SESSION_FLAG_CLIENT : 0 ) | ( client->proxy ? SIPAUTH_SESSION_FLAG_PROXY : 0 );
    int64_t kind = random.below( 100 );
    if( kind < 12 )
        client->session = pb::own( sipauthSessionCreateWithClientUser(
            clientStack_, flags, pb::own( usrUserCreate( directory->object(), pb::string( relation.userName ) ) ),
            nullptr ) );
    else if( kind < 24 )
        client->session = pb::own( sipauthSessionCreateWithClientUserReference(
            clientStack_, flags,
            pb::own( usrReferenceCreate( pb::string( random.chance( 95 ) ? "people" : "nowhere" ),
                                         pb::string( relation.userName ) ) ),
            nullptr ) );
    else if( kind < 30 )
        client->session = pb::own( sipauthSessionCreate( clientStack_, flags, nullptr ) );
    else
    {
        auto credentials = pb::own( sipauthCredentialsCreate() );
        if( random.chance( 97 ) )
            sipauthCredentialsSetUserName( credentials.inout(), pb::string( relation.userName ) );
        std::string password =
            random.chance( 85 ) ? "password" + std::to_string( relation.number ) : std::string( "wrong" );
        if( random.chance( 97 ) )
            sipauthCredentialsSetPassword( credentials.inout(), pb::string( password ) );
        client->session =
            pb::own( sipauthSessionCreateWithClientCredentials( clientStack_, flags, credentials, nullptr ) );
    }
    relation.client = client;
}

void World::open( Relation &relation, sipauthChallenge *challenge, int attempt )
{
    if( calm_ )
        return;
    clients_.push_back( std::make_unique<ClientTransaction>( *this, static_cast<int>( clients_.size() ), relation,
                                                             challenge, attempt ) );
}

// ---- The wire

void World::fly( Flight flight )
{
    if( flight.toServer && ( flight.bytes.find( "\r\nAuthorization:" ) != std::string::npos ||
                             flight.bytes.find( "\r\nProxy-Authorization:" ) != std::string::npos ) )
        wiretap_.push_back( flight.bytes );
    flight.due = now() + ( random.chance( 70 ) ? 0 : random.below( networkDelay ) );
    if( !calm_ && random.chance( 4 ) )
    {
        story.tell( now(), "wire: a message is lost" );
        return;
    }
    if( !calm_ && random.chance( 6 ) )
    {
        Flight again = flight;
        again.due += random.below( networkDelay );
        flights_.push_back( again );
    }
    flights_.push_back( std::move( flight ) );
}

void World::fork( const std::string &bytes, int client )
{
    int other = static_cast<int>( random.below( static_cast<int64_t>( relations_.size() ) ) );
    story.tell( now(), "wire: forked to relation %d, too", other );
    fly( { 0, true, other, client, bytes } );
}

bool World::deliver()
{
    std::vector<size_t> due;
    for( size_t i = 0; i < flights_.size(); i++ )
        if( flights_[i].due <= now() )
            due.push_back( i );
    if( due.empty() )
        return false;
    size_t at = random.any( due );
    Flight flight = flights_[at];
    flights_.erase( flights_.begin() + static_cast<std::ptrdiff_t>( at ) );
    if( !flight.toServer )
    {
        clients_[static_cast<size_t>( flight.to )]->receive( flight.bytes );
        return true;
    }
    Message message = Message::parse( flight.bytes );
    std::string via = message.values( "Via" ).at( 0 );
    std::string branch = via.substr( via.find( "branch=" ) + 7 );
    for( const auto &transaction : servers_ )
        if( transaction->branch == branch && transaction->relation == flight.to )
        {
            transaction->receive( flight.bytes );
            return true;
        }
    if( message.method() != "CANCEL" && message.method() != "ACK" && !calm_ )
        servers_.push_back( std::make_unique<ServerTransaction>( *this, static_cast<int>( servers_.size() ),
                                                                 relation( flight.to ), flight.from, flight.bytes ) );
    return true;
}

// Somebody who listened sends a request with credentials again, as a new transaction; sometimes with a change.
void World::replay()
{
    if( wiretap_.empty() )
        return;
    std::string bytes = random.any( wiretap_ );
    size_t branch = bytes.find( "branch=" ) + 7;
    bytes.replace( branch, bytes.find( '\r', branch ) - branch,
                   "z9hG4bKreplay" + std::to_string( servers_.size() ) + "x" +
                       std::to_string( random.below( 1000000 ) ) );
    size_t response = bytes.find( "response=\"" );
    if( response != std::string::npos && random.chance( 20 ) )
        bytes[response + 12] = bytes[response + 12] == '0' ? '1' : '0';
    size_t opaque = bytes.find( "opaque=\"" );
    if( opaque != std::string::npos && random.chance( 10 ) )
        bytes[opaque + 9] = bytes[opaque + 9] == 'A' ? 'B' : 'A';
    if( Message::parse( bytes ).method() == "CANCEL" || Message::parse( bytes ).method() == "ACK" )
        return;
    int to = static_cast<int>( random.below( static_cast<int64_t>( relations_.size() ) ) );
    story.tell( now(), "wire: a request is replayed to relation %d", to );
    fly( { 0, true, to, static_cast<int>( random.below( static_cast<int64_t>( clients_.size() ) ) ), bytes } );
}

// ---- Steps

void World::step()
{
    size_t inquiries = directory->inquiries().size();
    if( !pb___SimulationStep( scheduler_ ) )
        return;
    const void *ran = pb___SimulationLast( scheduler_ );
    statistics.inquiries += static_cast<int64_t>( directory->inquiries().size() - inquiries );
    for( const auto &transaction : clients_ )
        if( transaction->inside->isProcess.get() == ran )
            story.tell( now(), "client %d runs", transaction->number );
    for( const auto &transaction : servers_ )
        if( transaction->inside->isProcess.get() == ran )
        {
            story.tell( now(), "server %d runs", transaction->number );
            if( directory->inquiries().size() > inquiries )
                transaction->inquiry = static_cast<int64_t>( directory->inquiries().size() ) - 1;
            transaction->judge();
            break;
        }
}

int64_t World::shortestExpiration() const
{
    return *std::min_element( expirations_.begin(), expirations_.end() );
}

void World::changeOptions()
{
    if( random.chance( 30 ) )
    {
        const Relation &relation = *random.any( relations_ );
        directory->change( relation.userName, random.chance( 50 ) ? "password" + std::to_string( relation.number )
                                                                  : std::string( "changed" ) );
        return;
    }
    serverSettings_ = Settings::draw( random );
    story.tell( now(), "options change, challenges expire after %lld ms",
                static_cast<long long>( serverSettings_.expiration ) );
    expirations_.push_back( serverSettings_.expiration );
    longestExpiration_ = std::max( longestExpiration_, serverSettings_.expiration );
    sent.expireAfter( serverSettings_.expiration );
    sipauthStackSetOptions( serverStack_, serverSettings_.options( directory->object() ) );
}

void World::releaseSomething()
{
    switch( random.below( 6 ) )
    {
    case 0:
    case 1:
        if( !clients_.empty() )
        {
            ClientTransaction &transaction = *random.any( clients_ );
            statistics.freedAtWork += transaction.cotrans && !pbProcessHalted( transaction.inside->isProcess );
            story.tell( now(), "client %d: the host lets go", transaction.number );
            transaction.release();
        }
        break;
    case 2:
    case 3:
        if( !servers_.empty() )
        {
            ServerTransaction &transaction = *random.any( servers_ );
            statistics.freedAtWork += transaction.cotrans && !pbProcessHalted( transaction.inside->isProcess );
            story.tell( now(), "server %d: the host lets go", transaction.number );
            transaction.release();
        }
        break;
    case 4:
        story.tell( now(), "a new server session" );
        newServerSession( *random.any( relations_ ) );
        break;
    default:
        story.tell( now(), "a new client session" );
        newClientSession( *random.any( relations_ ) );
    }
}

void World::passTime()
{
    int64_t milliseconds = random.below( 40 );
    if( random.chance( 5 ) )
        milliseconds = random.below( 3000 );
    if( random.chance( 1 ) )
        milliseconds = random.below( 200000 ); // somebody set the clock
    story.tell( now(), "%lld ms pass", static_cast<long long>( milliseconds ) );
    pb___SimulationAdvance( scheduler_, milliseconds );
}

void World::act()
{
    int64_t choice = random.below( 100 );
    if( choice < 55 && pb___SimulationReady( scheduler_ ) > 0 )
        step();
    else if( choice < 70 )
        deliver();
    else if( choice < 76 )
        directory->answer( now() );
    else if( choice < 83 && !servers_.empty() )
        random.any( servers_ )->respond();
    else if( choice < 85 && !clients_.empty() )
        random.any( clients_ )->cancel();
    else if( choice < 89 && quota_ > 0 )
    {
        quota_--;
        Relation &chosen = *random.any( relations_ );
        if( sipauthSessionError( chosen.client->session ) && random.chance( 60 ) )
            newClientSession( chosen );
        open( chosen, nullptr, 0 );
    }
    else if( choice < 95 )
        passTime();
    else if( choice < 96 )
        changeOptions();
    else if( choice < 98 )
        releaseSomething();
    else if( choice < 99 )
        replay();
    if( pb___SimulationReady( scheduler_ ) == 0 && expirations_.size() > 1 )
        expirations_.erase( expirations_.begin(), expirations_.end() - 1 ); // the stack has applied the last one
}

void World::live( int steps )
{
    Watch watch( *this );
    for( int i = 0; i < steps; i++ )
    {
        act();
        watch.afterStep();
        if( i % 16 == 0 )
            watch.database( false );
    }
}

// Lets everything that is under way come to its end, without losses.
void World::settle()
{
    Watch watch( *this );
    calm_ = true;
    for( int i = 0;; i++ )
    {
        if( i > 100000 )
            broken( "the world does not settle" );
        if( pb___SimulationReady( scheduler_ ) > 0 )
            step();
        else if( deliver() || directory->answer( now() ) )
            continue;
        else if( std::none_of( servers_.begin(), servers_.end(),
                               []( const auto &transaction ) { return transaction->respond(); } ) )
        {
            // Nothing is left to do just now.
            int64_t next = directory->nextDue();
            for( const Flight &flight : flights_ )
                next = next < 0 ? flight.due : std::min( next, flight.due );
            if( next < 0 && directory->waiting() )
                next = now() + directory->timeLimit() + 1;
            if( next < 0 )
                break;
            pb___SimulationAdvance( scheduler_, std::max<int64_t>( next - now(), 0 ) );
        }
        watch.afterStep();
    }
    watch.whenQuiet();
}

void World::end()
{
    for( const auto &transaction : clients_ )
        transaction->release();
    for( const auto &transaction : servers_ )
        transaction->release();
    while( pb___SimulationReady( scheduler_ ) > 0 )
        step();
    for( const auto &transaction : clients_ )
        if( !pbProcessHalted( transaction->inside->isProcess ) )
            broken( "client %d did not end", transaction->number );
    for( const auto &transaction : servers_ )
        if( !pbProcessHalted( transaction->inside->isProcess ) )
            broken( "server %d did not end", transaction->number );
    csSetObject( pb::string( "people" ), nullptr );
    clients_.clear();
    servers_.clear();
    relations_.clear();
    clientStack_.clear();
    serverStack_.clear();
    directory.reset();
    while( pb___SimulationStep( scheduler_ ) )
        ;
    pbSchedulerStop( scheduler_ );
    pbSchedulerSetCurrent( nullptr );
    scheduler_.clear();
    if( pbObjLiveObjects() != liveBefore_ )
    {
        for( pbSort *sort = pbSortNext( nullptr ); sort; sort = pbSortNext( sort ) )
            std::fprintf( stderr, "  %lld %s\n", static_cast<long long>( pbSortLiveObjects( sort ) ),
                          pbSortName( sort ) );
        broken( "%lld objects are left", static_cast<long long>( pbObjLiveObjects() - liveBefore_ ) );
    }
}

void World::run()
{
    live( static_cast<int>( 60 + quota_ * 30 ) );
    quota_ = 0;
    settle();
    statistics.worlds = 1;
    statistics.events = story.events();
    end();
}

} // namespace simulation
