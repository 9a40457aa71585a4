// TLS (RFC 3261 section 26.3.1, RFC 5922): the certificates of our listeners, and how servers are verified that we
// connect to. TLS 1.2 and up.
#ifndef ENGINE_ENGINE_TLS_H
#define ENGINE_ENGINE_TLS_H

#include "engine/engine.h"

struct tls;
struct ssl_ctx_st;

namespace engine
{

/// What a listener needs. Its certificate can change while it listens.
class ServerTls
{
public:
    ServerTls() = default;
    ~ServerTls();
    ServerTls( const ServerTls & ) = delete;
    ServerTls &operator=( const ServerTls & ) = delete;

    /// Reads a PEM file with a certificate chain and one with its key (empty: the same); connections that are open keep
    /// what they have. An empty string, or what is wrong with which file; then nothing changes.
    std::string load( const std::string &certificate, const std::string &privateKey );
    struct tls *get() const { return tls_; }

private:
    std::string create();

    struct tls *tls_ = nullptr;
    ssl_ctx_st *current_ = nullptr; ///< holds the certificate in use
};

/// What connections to a server of a certain name need.
class TargetTls
{
public:
    TargetTls() = default;
    ~TargetTls();
    TargetTls( const TargetTls & ) = delete;
    TargetTls &operator=( const TargetTls & ) = delete;

    /// NAME is the host name or address that the certificate must have. An empty string, or why it cannot be.
    std::string create( const std::string &name, const ClientTls &settings );
    struct tls *get() const { return tls_; }
    /// Why the last certificate was not accepted, "" when none was refused since the last call.
    std::string takeRefusal();

    void refused( std::string why ) { refusal_ = std::move( why ); }
    const std::string &serverName() const { return serverName_; }

private:
    std::string configure( const std::string &name, const ClientTls &settings );

    struct tls *tls_ = nullptr;
    std::string serverName_; ///< for the server name indication, "" for an address
    std::string refusal_;
};

} // namespace engine

#endif
