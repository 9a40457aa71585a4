// A server transaction without network: it keeps what is sent.
#ifndef SIPAUTHD_FAKE_SERVER_TRANSACTION_H
#define SIPAUTHD_FAKE_SERVER_TRANSACTION_H

#include "engine/engine.h"
#include "sip/message.h"

namespace fake
{

class ServerTransaction : public engine::ServerTransaction
{
public:
    explicit ServerTransaction( std::string bytes ) : bytes_( std::move( bytes ) )
    {
        peer_.remote = *engine::Address::parse( "192.0.2.7:5070" );
        peer_.local = *engine::Address::parse( "192.0.2.100:5060" );
        peer_.listener = 0;
    }

    std::string_view bytes() const override { return bytes_; }
    const engine::Peer &peer() const override { return peer_; }
    bool start() override
    {
        starts++;
        return canStart;
    }
    bool respond( std::string_view response ) override
    {
        responses.emplace_back( response );
        return true;
    }
    bool respondStateless( std::string_view response ) override
    {
        stateless.emplace_back( response );
        return true;
    }
    void endRepeats() override { endedRepeats++; }

    /// The last response that was sent, of either kind; none without one.
    sip::Message last() const
    {
        std::string bytes = !responses.empty() ? responses.back() : !stateless.empty() ? stateless.back() : "";
        return bytes.empty() ? sip::Message() : sip::Message::decode( bytes, nullptr, nullptr );
    }
    /// Its status, 0 without one.
    int status() const
    {
        sip::Message message = last();
        return message ? message.status() : 0;
    }

    engine::Peer peer_;
    bool canStart = true;
    int starts = 0;
    int endedRepeats = 0;
    std::vector<std::string> responses;
    std::vector<std::string> stateless;

private:
    std::string bytes_;
};

} // namespace fake

#endif
