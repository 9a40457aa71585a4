// A request that is to be served: checked by the library, or one that needs no check. What a service answers takes the
// way back through the library's co-transaction when there is one.
#ifndef SIPAUTHD_REQUEST_H
#define SIPAUTHD_REQUEST_H

#include "engine/engine.h"
#include "sip/message.h"

#include <functional>
#include <memory>
#include <string>

namespace sipauthd
{

class Request
{
public:
    virtual ~Request() = default;
    /// As it came in, with received and rport in its top Via and without credentials for our realm.
    virtual const sip::Message &message() const = 0;
    virtual const engine::Peer &peer() const = 0;
    /// The id of the user that was checked; "" when nobody was.
    virtual const std::string &identity() const = 0;
    /// Answers: any number of provisional responses and one final one (for a forwarded INVITE several 2xx). What the
    /// order forbids is dropped and counted.
    virtual void respond( const sip::Message &response ) = 0;

    /// Answers 403 and reports that the request claims another identity than the one that was checked.
    virtual void refuseIdentity( const std::string &why ) = 0;

    /// Set by the service, called at most once each; kept until the transaction has ended.
    std::function<void()> onCancel;
    /// The ACK for a 2xx to an INVITE, as it came in and without credentials for our realm.
    std::function<void( const sip::Message &ack )> onAck;
};

} // namespace sipauthd

#endif
