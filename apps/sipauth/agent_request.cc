// sipauth options, sipauth message: requests outside of dialogs.
#include "agent_exchange.h"
#include "commands.h"

#include <fmt/format.h>

#include <memory>

namespace tool
{

namespace
{

struct Arguments
{
    AgentArguments agent;
    std::string method;
    std::string text = "Hello";
    int64_t repeat = 0;
};

class Requests
{
public:
    Requests( Agent &agent, const Arguments &arguments )
        : agent_( agent ), arguments_( arguments ), session_( agent.newSession() ), left_( arguments.repeat )
    {
    }

    void begin()
    {
        std::string uri = agent_.arguments().target().text();
        uint32_t cseq = last_ ? last_->cseq() + 1 : 1;
        sip::Message request = agent_.newRequest( arguments_.method, uri, fmt::format( "<{}>", uri ), callId_, cseq );
        if( arguments_.method == "MESSAGE" )
            request.setBody( arguments_.text, "text/plain;charset=utf-8" );
        // RFC 3428 section 4: no Contact in a MESSAGE.
        last_ = makeExchange( agent_, session_, request, agent_.firstHop(), arguments_.method != "MESSAGE" );
        last_->start(
            [this]( const Result &result )
            {
                if( !result.success() || left_-- <= 0 )
                    return agent_.finishWith( result );
                begin();
            } );
    }

private:
    Agent &agent_;
    const Arguments &arguments_;
    pb::Ref<hostClientSession> session_;
    std::string callId_ = sip::newToken();
    int64_t left_;
    std::shared_ptr<Exchange> last_;
};

Exit run( const Arguments &arguments )
{
    return runAgent( arguments.agent,
                     [&]( Agent &agent )
                     {
                         Requests requests( agent, arguments );
                         return agent.run( [&] { requests.begin(); } );
                     } );
}

Command add( Command app, const char *name, const char *method, const char *description, Exit &result,
             std::shared_ptr<Arguments> arguments )
{
    Command command = app.add( name, description );
    arguments->method = method;
    arguments->agent.addTo( command );
    command.option( "--repeat", arguments->repeat, "Send so many more, in the same session" ).within( 0, 10000 );
    command.onCall( [arguments, &result] { result = run( *arguments ); } );
    return command;
}

} // namespace

void addOptions( Command app, Exit &result )
{
    add( app, "options", "OPTIONS", "Send an OPTIONS, and show what happens", result, std::make_shared<Arguments>() );
}

void addMessage( Command app, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    add( app, "message", "MESSAGE", "Send a text message, and show what happens", result, arguments )
        .option( "--text", arguments->text, "The text" );
}

} // namespace tool
