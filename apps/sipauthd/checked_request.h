// A request that the library checks: everything that belongs to it goes through its server transaction of the host
// library on its way in and out.
#ifndef SIPAUTHD_CHECKED_REQUEST_H
#define SIPAUTHD_CHECKED_REQUEST_H

#include "sipauthd/open_request.h"
#include "sipauthd/screening.h"

#include <host/host_server.h>

namespace sipauthd
{

class CheckedRequest : public OpenRequest
{
public:
    /// What the front gives to each of its requests; it lives longer than they.
    struct Context
    {
        std::string realm; ///< of our credentials
        std::string serverHeader;
    };

    CheckedRequest( RequestKeeper &keeper, std::shared_ptr<engine::ServerTransaction> transaction, sip::Message message,
                    Role role, const Context &context );

    Role role() const { return role_; }
    /// Begins the check. False when the engine cannot keep the request: then it is forgotten.
    bool begin( hostServer *server, hostPeer *peer, const std::string &binding );

    void refuseIdentity( const std::string &why ) override;
    void cancel( const sip::Message &cancel ) override;
    void ack( const sip::Message &ack ) override;
    void end() override;

    /// The host library's handler: the request passed; what there is to send; nothing will come; CANCEL and ACK passed.
    void accepted();
    void send( sipsnMessage *response, int64_t flags );
    void drop();
    void cancelled();
    void acknowledged( sipsnMessage *ack );

protected:
    bool pass( const sip::Message &response ) override;

private:
    void withoutCredentials( sip::Message &message ) const;

    Role role_;
    const Context &context_;
    pb::Ref<hostServerTransaction> host_;
    bool isAccepted_ = false;
};

} // namespace sipauthd

#endif
