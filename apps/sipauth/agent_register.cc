// sipauth register: registers an address, stays registered for a while, and takes the registration back.
#include "agent_callee.h"
#include "agent_exchange.h"
#include "commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <memory>

namespace tool
{

namespace
{

struct Arguments
{
    AgentArguments agent;
    int64_t expires = 3600;
    int64_t repeat = 0;
    int64_t listen = 0;
    bool unregister = false;
    bool busy = false;
};

class Registration
{
public:
    Registration( Agent &agent, const Arguments &arguments )
        : agent_( agent ), arguments_( arguments ), session_( agent.newSession() ), callee_( agent, arguments.busy ),
          left_( arguments.repeat )
    {
    }

    void begin()
    {
        if( arguments_.listen > 0 )
            agent_.callee = &callee_;
        send( arguments_.expires, [this] { registered(); } );
    }

private:
    // The next REGISTER: same Call-ID, next CSeq (RFC 3261 section 10.2).
    void send( int64_t expires, std::function<void()> next )
    {
        sip::Uri registrar = agent_.arguments().target();
        registrar.user.clear();
        std::string to = fmt::format( "<{}>", agent_.arguments().identity().text() );
        uint32_t cseq = last_ ? last_->cseq() + 1 : 1;
        sip::Message request = agent_.newRequest( "REGISTER", registrar.text(), to, callId_, cseq );
        request.set( "Expires", std::to_string( expires ) );
        last_ = makeExchange( agent_, session_, request, agent_.firstHop(), true );
        last_->start(
            [this, next]( const Result &result )
            {
                if( !result.success() )
                    return agent_.finishWith( result );
                result_ = result;
                next();
            } );
    }

    void registered()
    {
        if( left_-- > 0 )
            return send( arguments_.expires, [this] { registered(); } );
        if( arguments_.listen == 0 )
            return end();
        agent_.ladder().note( fmt::format( "registered; listening for {} s", arguments_.listen ) );
        listening_ = agent_.after( arguments_.listen * 1000, [this] { end(); } );
        keepRegistered();
    }

    // Registers anew in good time before the registration ends.
    void keepRegistered()
    {
        refresh_ = agent_.after( std::max<int64_t>( 1, granted() * 2 / 3 ) * 1000,
                                 [this]
                                 {
                                     if( !ended_ )
                                         send( arguments_.expires, [this] { keepRegistered(); } );
                                 } );
    }

    // What the registrar granted: the expires of our Contact, or the header (RFC 3261 section 10.2.4).
    int64_t granted() const
    {
        int64_t seconds = arguments_.expires;
        std::string text = result_.response.header( "Expires" );
        for( const std::string &contact : result_.response.items( "Contact" ) )
            if( auto address = sip::NameAddress::parse( contact ) )
                if( const std::string *expires = address->parameters.find( "expires" ) )
                    text = *expires;
        std::from_chars( text.data(), text.data() + text.size(), seconds );
        return seconds;
    }

    void end()
    {
        ended_ = true;
        if( arguments_.unregister )
            return send( 0, [this] { agent_.finishWith( result_ ); } );
        agent_.finishWith( result_ );
    }

    Agent &agent_;
    const Arguments &arguments_;
    pb::Ref<hostClientSession> session_;
    Callee callee_;
    std::string callId_ = sip::newToken();
    int64_t left_;
    bool ended_ = false;
    std::shared_ptr<Exchange> last_;
    Result result_;
    std::unique_ptr<engine::Timer> listening_;
    std::unique_ptr<engine::Timer> refresh_;
};

Exit run( const Arguments &arguments )
{
    return runAgent( arguments.agent,
                     [&]( Agent &agent )
                     {
                         if( agent.arguments().identity().user.empty() )
                             throw UsageError( "whom to register? Give --user, or a URI with a user" );
                         Registration registration( agent, arguments );
                         return agent.run( [&] { registration.begin(); } );
                     } );
}

} // namespace

void addRegister( Command app, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = app.add( "register", "Register at a SIP server, and show what happens" );
    arguments->agent.addTo( command );
    command.option( "--expires", arguments->expires, "Seconds; 0 takes a registration back" ).within( 0, 0xFFFFFFFF );
    command.option( "--repeat", arguments->repeat, "Register so many times more, in the same session" )
        .within( 0, 10000 );
    command.option( "--listen", arguments->listen, "Stay registered for so many seconds, and answer requests" )
        .within( 0, 86400 );
    command.flag( "--busy", arguments->busy, "Answer calls with 486" );
    command.flag( "--unregister", arguments->unregister, "Take the registration back at the end" );
    command.onCall(
        [arguments, &result]
        {
            // Whoever is registered is who asks for it, unless somebody else was named.
            if( arguments->agent.user.empty() && arguments->agent.from.empty() )
                arguments->agent.from = arguments->agent.uri;
            result = run( *arguments );
        } );
}

} // namespace tool
