// An INVITE that we send, with timers A, B and D of RFC 3261 section 17.1.1 and its CANCEL.
#include "engine/engine_invite.h"

#include "engine/engine_text.h"

#include <algorithm>

namespace engine
{

namespace
{

// What the stack takes the INVITE for. Its transaction has no part in the INVITE's, since no response bears this
// method: it only tells when a connection cannot be opened.
constexpr const char *stackMethod = "CONNECT";

} // namespace

bool InviteClient::start( std::string *why )
{
    if( !sendWithStack( stackMethod, isReliable(), why ) )
        return false;
    begin();
    engine_->invites[branch_] = std::static_pointer_cast<InviteClient>( shared_from_this() );
    const int64_t t1 = engine_->settings().t1;
    const int64_t now = Loop::now();
    endTimer_ = engine_->loop().at( now + 64 * t1, [this] { fail( "no response", true ); } );
    if( !isReliable() )
    {
        interval_ = t1;
        repeatAt_ = now + interval_;
        repeatTimer_ = engine_->loop().at( repeatAt_, [this] { repeatInvite(); } );
    }
    return true;
}

void InviteClient::repeatInvite()
{
    engine_->sendBytes( way_, bytes_ );
    interval_ *= 2;
    repeatAt_ += interval_;
    repeatTimer_ = engine_->loop().at( repeatAt_, [this] { repeatInvite(); } );
}

void InviteClient::onEnd()
{
    engine_->invites.erase( branch_ );
    state_ = State::Ended;
    repeatTimer_.reset();
    endTimer_.reset();
    cancelTimer_.reset();
}

// Only an error is of interest, and only until something has come back.
void InviteClient::onStack( int error, const struct sip_msg * )
{
    if( state_ == State::Calling && error != ETIMEDOUT )
        fail( reasonOf( error ), false );
}

void InviteClient::connectionGone()
{
    if( state_ == State::Calling || state_ == State::Proceeding )
        fail( "the connection has gone", false );
    else
        end();
}

bool InviteClient::takeResponse( const struct sip_msg &message )
{
    const std::string_view method = textOf( message.cseq.met );
    if( method == "CANCEL" )
    {
        // Its job is done: the INVITE's own final response is what counts.
        if( message.scode >= 200 )
            cancelTimer_.reset();
        return true;
    }
    const std::string_view bytes = bytesOf( message );
    if( method != "INVITE" || bytes.empty() )
        return method == "INVITE";
    const std::shared_ptr<Client> keep = shared_from_this();
    const Peer peer = engine_->peerOf( *way_.stack, message );
    const int status = message.scode;
    if( status >= 200 )
        takeFinal( status, bytes, peer );
    else if( state_ == State::Calling || state_ == State::Proceeding )
    {
        state_ = State::Proceeding;
        repeatTimer_.reset();
        // After a CANCEL the time for the final response runs on.
        if( cancel_.empty() )
            endTimer_.reset();
        report( bytes, peer );
    }
    return true;
}

void InviteClient::takeFinal( int status, std::string_view response, const Peer &peer )
{
    const int64_t wait = 64 * engine_->settings().t1;
    const bool first = state_ == State::Calling || state_ == State::Proceeding;
    if( first )
    {
        repeatTimer_.reset();
        cancelTimer_.reset();
        state_ = status < 300 ? State::Accepted : State::Completed;
        endTimer_ = engine_->loop().after( wait, [this] { end(); } );
    }
    if( state_ == State::Accepted && status < 300 )
        report( response, peer );
    else if( state_ == State::Completed && status >= 300 )
    {
        if( !first )
        {
            if( !ack_.empty() )
                engine_->sendBytes( way_, ack_ );
            return;
        }
        askForAck( makeAckFor( bytes_, response ) );
        report( response, peer );
    }
}

void InviteClient::sendAck( std::string_view ack )
{
    if( state_ != State::Completed || !ack_.empty() )
        return;
    ack_ = ack;
    engine_->sendBytes( way_, ack_ );
    // Over a connection the response is not repeated.
    if( isReliable() )
        endTimer_ = engine_->loop().after( 0, [this] { end(); } );
}

void InviteClient::sendCancel( std::string_view cancel )
{
    if( ( state_ != State::Calling && state_ != State::Proceeding ) || !cancel_.empty() || cancel.empty() )
        return;
    cancel_ = cancel;
    engine_->sendBytes( way_, cancel_ );
    const int64_t t1 = engine_->settings().t1;
    endTimer_ = engine_->loop().after( 64 * t1, [this] { fail( "no final response after CANCEL", true ); } );
    if( isReliable() )
        return;
    cancelInterval_ = t1;
    cancelAt_ = Loop::now() + cancelInterval_;
    cancelTimer_ = engine_->loop().at( cancelAt_, [this] { repeatCancel(); } );
}

void InviteClient::repeatCancel()
{
    engine_->sendBytes( way_, cancel_ );
    cancelInterval_ = std::min( 2 * cancelInterval_, engine_->settings().t2 );
    cancelAt_ += cancelInterval_;
    cancelTimer_ = engine_->loop().at( cancelAt_, [this] { repeatCancel(); } );
}

} // namespace engine
