// The options that all commands of the user agent take.
#ifndef SIPAUTH_AGENT_ARGUMENTS_H
#define SIPAUTH_AGENT_ARGUMENTS_H

#include "tool.h"

#include "engine/address.h"
#include "sip/uri.h"

#include <sipauth/sipauth_credentials.h>
#include <sipauth/sipauth_options.h>

#include <host/host_settings.h>

namespace tool
{

struct AgentArguments
{
    std::string uri;
    std::string user;
    std::string authenticationUser;
    std::string from;
    std::string realm;
    std::string proxy;
    std::string transport = "udp";
    std::string local;
    std::string contact;
    std::string options;
    std::string authorities;
    PasswordSource password;
    bool insecure = false;
    bool strongest = false;
    bool allowBasic = false;
    bool allowDowngrade = false;
    bool json = false;
    int64_t timeout = 32; ///< seconds; 64*T1 (RFC 3261 section 17.1.1.2)

    void addTo( Command command );

    /// The URI that the command is about, and where its requests go first. Mistakes are UsageErrors.
    sip::Uri target() const;
    sip::Uri firstHop() const;
    engine::Transport fallbackTransport() const;
    /// Who sends, without parameters: --from, or --user at the target's host, or for REGISTER the target itself.
    sip::Uri identity() const;
    pb::Ref<sipauthOptions> libraryOptions() const;
    pb::Ref<sipauthCredentials> credentials() const;
    pb::Ref<hostSettings> settings() const;
    /// Refuses texts that would break a message.
    void check() const;
};

} // namespace tool

#endif
