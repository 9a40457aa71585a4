// Requests that are being served, and those kept for a while after their answer: for the ACK, a late CANCEL, or the 2xx
// of another fork.
#ifndef SIPAUTHD_OPEN_REQUEST_H
#define SIPAUTHD_OPEN_REQUEST_H

#include "sipauthd/request.h"

#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace sipauthd
{

class RequestKeeper;

class OpenRequest : public Request, public std::enable_shared_from_this<OpenRequest>
{
public:
    OpenRequest( RequestKeeper &keeper, std::shared_ptr<engine::ServerTransaction> transaction, sip::Message message );

    const sip::Message &message() const override { return message_; }
    const engine::Peer &peer() const override { return transaction_->peer(); }
    const std::string &identity() const override { return identity_; }
    /// Dropped and counted by the keeper when the order forbids it.
    void respond( const sip::Message &response ) override;
    void refuseIdentity( const std::string &why ) override;

    bool isInvite() const { return isInvite_; }
    int finalStatus() const { return finalStatus_; }
    engine::ServerTransaction &transaction() { return *transaction_; }
    /// Makes it a transaction of the engine; false when the engine cannot.
    bool start();
    bool isStarted() const { return started_; }

    /// A CANCEL came for it.
    virtual void cancel( const sip::Message &cancel ) = 0;
    /// An ACK came for its final response.
    virtual void ack( const sip::Message &ack ) = 0;
    /// Nothing will come any more: lets go of what it holds.
    virtual void end();

protected:
    /// Sends within the transaction what RESPOND allowed; false when it is refused.
    virtual bool pass( const sip::Message &response ) = 0;
    /// Puts a response on the wire, and tells the keeper of a final one.
    void transmit( const std::string &bytes, int status, bool stateless );
    /// Gives an ACK for a 2xx to the service.
    void passAck( const sip::Message &ack );

    RequestKeeper &keeper_;
    std::shared_ptr<engine::ServerTransaction> transaction_;
    sip::Message message_;
    std::string identity_;

private:
    friend class RequestKeeper;

    bool isInvite_;
    bool started_ = false;
    int answered_ = 0;    ///< the final status that was given to respond
    int finalStatus_ = 0; ///< the one that was sent
    std::string dialog_;  ///< under which it is found for the ACK of a 2xx
    std::list<std::shared_ptr<OpenRequest>>::iterator place_;
    bool isKept_ = false;
};

/// A request that needs no check.
class PlainRequest : public OpenRequest
{
public:
    using OpenRequest::OpenRequest;
    void cancel( const sip::Message &cancel ) override;
    void ack( const sip::Message &ack ) override;

protected:
    bool pass( const sip::Message &response ) override;
};

/// Keeps all of them. An INVITE is kept for 32 to 64 s after its final response, any other request until it.
class RequestKeeper
{
public:
    explicit RequestKeeper( engine::Engine &engine ) : engine_( engine ) {}
    ~RequestKeeper();
    RequestKeeper( const RequestKeeper & ) = delete;
    RequestKeeper &operator=( const RequestKeeper & ) = delete;

    void add( const std::shared_ptr<OpenRequest> &request );
    /// Lets go of a request at once.
    void remove( OpenRequest &request );
    /// The INVITE of a transaction, or null.
    std::shared_ptr<OpenRequest> find( const engine::ServerTransaction &transaction ) const;
    /// The INVITE that was answered with the 2xx which an ACK acknowledges, or null.
    std::shared_ptr<OpenRequest> findAnswered( const sip::Message &ack ) const;
    /// How many requests have no final response yet.
    size_t open() const { return open_; }
    /// How many are kept in all.
    size_t size() const { return requests_.size(); }
    /// How many responses were dropped because the order forbids them.
    int64_t dropped() const { return dropped_; }

private:
    friend class OpenRequest;
    static constexpr int64_t lingering = 32000; // milliseconds, 64*T1

    void finished( OpenRequest &request );
    void sweep();

    engine::Engine &engine_;
    std::list<std::shared_ptr<OpenRequest>> requests_;
    std::unordered_map<const engine::ServerTransaction *, OpenRequest *> invites_;
    std::unordered_map<std::string, OpenRequest *> answered_; ///< by Call-ID, From tag and CSeq number
    std::vector<std::weak_ptr<OpenRequest>> young_;           ///< answered since the last sweep
    std::vector<std::weak_ptr<OpenRequest>> old_;             ///< answered before it
    std::unique_ptr<engine::Timer> timer_;
    size_t open_ = 0;
    int64_t dropped_ = 0;
};

} // namespace sipauthd

#endif
