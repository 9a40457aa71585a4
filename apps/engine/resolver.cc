// Names to addresses, by the system's resolver, in a thread of its own.
#include "engine/resolver.h"

#include "engine/engine_convert.h"

#include <netdb.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace engine
{

namespace
{

constexpr size_t waitingAtMost = 256;

struct Question
{
    std::string host;
    uint16_t port = 0;
    Resolver::Answer answer;
};

std::optional<Address> literal( const std::string &host, uint16_t port )
{
    std::optional<Address> address = Address::parse( host );
    // "1.2.3.4:5060" is an address with a port, not a host.
    if( !address || address->port != 0 || ( host.ends_with( ":0" ) && !host.starts_with( ':' ) && address->isIpv4() ) )
        return {};
    address->port = port;
    return address;
}

} // namespace

std::vector<Address> resolve( const std::string &host, uint16_t port, std::string *why )
{
    if( const std::optional<Address> address = literal( host, port ) )
        return { *address };
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_ADDRCONFIG;
    addrinfo *results = nullptr;
    const int error = host.empty() ? EAI_NONAME : getaddrinfo( host.c_str(), nullptr, &hints, &results );
    if( error )
    {
        if( why )
            *why = host + ": " + gai_strerror( error );
        return {};
    }
    std::vector<Address> addresses;
    for( const addrinfo *result = results; result; result = result->ai_next )
    {
        struct sa socketAddress;
        if( sa_set_sa( &socketAddress, result->ai_addr ) )
            continue;
        Address address = addressOf( socketAddress );
        address.port = port;
        if( std::find( addresses.begin(), addresses.end(), address ) == addresses.end() )
            addresses.push_back( address );
    }
    freeaddrinfo( results );
    if( addresses.empty() && why )
        *why = host + ": no address";
    return addresses;
}

// What the thread needs; it outlives the resolver when that goes while the system still looks for a name.
struct Resolver::Imp
{
    explicit Imp( Engine &itsEngine ) : engine( &itsEngine ) {}

    std::mutex lock;
    std::condition_variable changed;
    std::deque<Question> questions;
    bool running = false;
    Engine *engine; // null once the resolver has gone

    static void serve( const std::shared_ptr<Imp> &self );
    static void tell( const std::shared_ptr<Imp> &self, Question question, std::vector<Address> addresses,
                      std::string why );
};

void Resolver::Imp::serve( const std::shared_ptr<Imp> &self )
{
    for( ;; )
    {
        Question question;
        {
            std::unique_lock hold( self->lock );
            self->changed.wait( hold, [&] { return !self->engine || !self->questions.empty(); } );
            if( !self->engine )
                return;
            question = std::move( self->questions.front() );
            self->questions.pop_front();
        }
        std::string why;
        std::vector<Address> addresses = resolve( question.host, question.port, &why );
        tell( self, std::move( question ), std::move( addresses ), std::move( why ) );
    }
}

void Resolver::Imp::tell( const std::shared_ptr<Imp> &self, Question question, std::vector<Address> addresses,
                          std::string why )
{
    const std::lock_guard hold( self->lock );
    if( !self->engine )
        return;
    self->engine->post(
        [self, answer = std::move( question.answer ), found = std::move( addresses ),
         reason = std::move( why )]() mutable
        {
            // The engine pointer only changes in this thread.
            if( self->engine )
                answer( std::move( found ), reason );
        } );
}

Resolver::Resolver( Engine &engine ) : imp_( std::make_shared<Imp>( engine ) ) {}

Resolver::~Resolver()
{
    std::deque<Question> unanswered;
    const std::lock_guard hold( imp_->lock );
    imp_->engine = nullptr;
    unanswered.swap( imp_->questions );
    imp_->changed.notify_all();
}

void Resolver::ask( const std::string &host, uint16_t port, Answer answer )
{
    if( const std::optional<Address> address = literal( host, port ) )
    {
        answer( { *address }, {} );
        return;
    }
    {
        const std::lock_guard hold( imp_->lock );
        if( imp_->questions.size() < waitingAtMost )
        {
            imp_->questions.push_back( { host, port, std::move( answer ) } );
            if( !std::exchange( imp_->running, true ) )
                std::thread( &Imp::serve, imp_ ).detach();
            imp_->changed.notify_one();
            return;
        }
    }
    answer( {}, host + ": too many names are being looked up" );
}

} // namespace engine
