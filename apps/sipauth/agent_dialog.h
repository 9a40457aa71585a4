// A dialog that a call of ours has made (RFC 3261 section 12): where its requests go, and what they carry.
#ifndef SIPAUTH_AGENT_DIALOG_H
#define SIPAUTH_AGENT_DIALOG_H

#include "agent.h"

namespace tool
{

class Dialog
{
public:
    /// Of a 2xx to an INVITE, the caller's side (RFC 3261 section 12.1.2).
    Dialog( const Agent &agent, const sip::Message &response );

    const std::string &remoteTag() const { return remoteTag_; }
    const std::string &callId() const { return callId_; }
    /// A request within the dialog: Route set and Request-URI as section 12.2.1.1 has them.
    sip::Message request( const std::string &method, uint32_t cseq ) const;
    /// Where it goes: the first route, or the remote target.
    Hop hop() const;

private:
    const Agent &agent_;
    std::string to_;
    std::string remoteTag_;
    std::string callId_;
    std::string remoteTarget_;
    std::vector<std::string> routes_;
};

} // namespace tool

#endif
