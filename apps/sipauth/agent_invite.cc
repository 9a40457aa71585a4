// sipauth invite: calls, holds the call for a while, and ends it; or cancels it.
#include "agent_callee.h"
#include "agent_dialog.h"
#include "agent_exchange.h"
#include "commands.h"

#include <fmt/format.h>

#include <memory>
#include <set>

namespace tool
{

namespace
{

struct Arguments
{
    AgentArguments agent;
    int64_t hold = 1;         ///< seconds
    int64_t cancelAfter = -1; ///< milliseconds; -1: not at all
};

class Call
{
public:
    Call( Agent &agent, const Arguments &arguments )
        : agent_( agent ), arguments_( arguments ), session_( agent.newSession() ), callee_( agent, true )
    {
    }

    void begin()
    {
        agent_.callee = &callee_;
        callee_.onBye = [this] { endedByPeer(); };
        std::string uri = agent_.arguments().target().text();
        sip::Message invite = agent_.newRequest( "INVITE", uri, fmt::format( "<{}>", uri ), sip::newToken(), 1 );
        invite.setBody( sessionDescription( localAddressFor( agent_.firstHop().addresses.front() ) ),
                        "application/sdp" );
        invite_ = makeExchange( agent_, session_, invite, agent_.firstHop(), true );
        invite_->onAccepted = [this]( const sip::Message &response ) { accepted( response ); };
        invite_->start( [this]( const Result &result ) { answered( result ); } );
        if( arguments_.cancelAfter >= 0 )
            timer_ = agent_.after( arguments_.cancelAfter, [this] { cancel(); } );
    }

private:
    void cancel()
    {
        if( dialog_ )
            return;
        cancelled_ = true;
        invite_->cancel();
    }

    // Each 2xx: the first makes the call; one of another dialog comes from a fork and is ended at once (RFC 3261
    // section 13.2.2.4); all others are repetitions.
    void accepted( const sip::Message &response )
    {
        Dialog dialog( agent_, response );
        if( !dialog_ )
        {
            dialog_.emplace( dialog );
            invite_->acknowledge( dialog.request( "ACK", invite_->cseq() ), dialog.hop() );
        }
        else if( dialog.remoteTag() == dialog_->remoteTag() )
            invite_->acknowledgeAgain();
        else
            endFork( dialog );
    }

    void endFork( const Dialog &dialog )
    {
        if( !forks_.insert( dialog.remoteTag() ).second )
            return;
        agent_.ladder().note( "another branch has accepted, too: it is ended" );
        acknowledgeFork( dialog );
        // The dialogs have the Call-ID in common: CSeqs are taken from one row.
        auto bye = makeExchange( agent_, session_, dialog.request( "BYE", nextCseq() ), dialog.hop(), false );
        bye->start( []( const Result & ) {} );
        last_ = bye;
    }

    void acknowledgeFork( const Dialog &dialog )
    {
        Hop hop = dialog.hop();
        agent_.prepare( hop );
        std::string why;
        auto builder = [&]( std::string_view via, const engine::Address & )
        {
            sip::Message ack = dialog.request( "ACK", invite_->cseq() );
            ack.set( "Via", via );
            agent_.ladder().sent( hop.text(), ack, "not signed" );
            return ack.encode();
        };
        if( !agent_.engine().send( "ACK", hop.target(), builder, nullptr, &why ) )
            agent_.ladder().note( fmt::format( "the ACK cannot be sent: {}", why ) );
    }

    uint32_t nextCseq() const { return ( last_ ? last_ : invite_ )->cseq() + 1; }

    // The INVITE has its final response.
    void answered( const Result &result )
    {
        constexpr int requestTerminated = 487;
        if( cancelled_ && result.response && result.response.status() == requestTerminated )
            return agent_.finish( exitYes, "cancelled" );
        if( !result.success() )
            return agent_.finishWith( result );
        // The CANCEL came too late.
        int64_t hold = cancelled_ ? 0 : arguments_.hold;
        timer_ = agent_.after( hold * 1000, [this] { hangUp(); } );
    }

    void hangUp()
    {
        if( ended_ )
            return;
        ended_ = true;
        last_ = makeExchange( agent_, session_, dialog_->request( "BYE", nextCseq() ), dialog_->hop(), false );
        last_->start( [this]( const Result &result ) { agent_.finishWith( result ); } );
    }

    void endedByPeer()
    {
        if( ended_ )
            return;
        ended_ = true;
        // So that the answer to the BYE has left.
        timer_ = agent_.after( 0, [this] { agent_.finish( exitYes, "accepted: the other side hung up" ); } );
    }

    Agent &agent_;
    const Arguments &arguments_;
    pb::Ref<hostClientSession> session_;
    Callee callee_;
    std::shared_ptr<Exchange> invite_;
    std::shared_ptr<Exchange> last_;
    std::optional<Dialog> dialog_;
    std::set<std::string> forks_;
    std::unique_ptr<engine::Timer> timer_;
    bool cancelled_ = false;
    bool ended_ = false;
};

Exit run( const Arguments &arguments )
{
    return runAgent( arguments.agent,
                     [&]( Agent &agent )
                     {
                         Call call( agent, arguments );
                         return agent.run( [&] { call.begin(); } );
                     } );
}

} // namespace

void addInvite( Command app, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = app.add( "invite", "Call, hold and end the call, and show what happens" );
    arguments->agent.addTo( command );
    command.option( "--hold", arguments->hold, "Seconds until the call is ended" ).within( 0, 86400 );
    command.option( "--cancel-after", arguments->cancelAfter, "Cancel the call after so many milliseconds" )
        .within( 0, 86400000 );
    command.onCall( [arguments, &result] { result = run( *arguments ); } );
}

} // namespace tool
