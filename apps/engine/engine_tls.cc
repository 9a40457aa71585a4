// TLS: the certificates of our listeners, and how servers are verified that we connect to.
#include "engine/engine_tls.h"

#include "engine/engine_convert.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <sys/stat.h>

#include <utility>

namespace engine
{

namespace
{

std::string lastError()
{
    char text[256] = "unknown error";
    if( const unsigned long code = ERR_peek_last_error() )
        ERR_error_string_n( code, text, sizeof text );
    ERR_clear_error();
    return text;
}

// An empty string, or what is wrong with which file.
std::string readInto( SSL_CTX *context, const std::string &certificate, const std::string &privateKey )
{
    const std::string &keyFile = privateKey.empty() ? certificate : privateKey;
    ERR_clear_error();
    if( SSL_CTX_use_certificate_chain_file( context, certificate.c_str() ) != 1 )
        return certificate + ": " + lastError();
    if( SSL_CTX_use_PrivateKey_file( context, keyFile.c_str(), SSL_FILETYPE_PEM ) != 1 ||
        SSL_CTX_check_private_key( context ) != 1 )
        return keyFile + ": " + lastError();
    return {};
}

void setVersions( SSL_CTX *context )
{
    SSL_CTX_set_min_proto_version( context, TLS1_2_VERSION );
    SSL_CTX_set_options( context, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION );
}

// Gives a connection the certificate that its listener has at this moment.
int chooseCertificate( SSL *ssl, void *current )
{
    SSL_CTX *context = *static_cast<SSL_CTX **>( current );
    STACK_OF( X509 ) *chain = nullptr;
    SSL_CTX_get0_chain_certs( context, &chain );
    SSL_certs_clear( ssl );
    return SSL_use_cert_and_key( ssl, SSL_CTX_get0_certificate( context ), SSL_CTX_get0_privatekey( context ), chain,
                                 1 );
}

TargetTls *targetOf( const SSL *ssl )
{
    return static_cast<TargetTls *>( SSL_CTX_get_app_data( SSL_get_SSL_CTX( ssl ) ) );
}

int onVerified( int ok, X509_STORE_CTX *store )
{
    const auto *ssl = static_cast<SSL *>( X509_STORE_CTX_get_ex_data( store, SSL_get_ex_data_X509_STORE_CTX_idx() ) );
    if( !ok && ssl )
        targetOf( ssl )->refused( X509_verify_cert_error_string( X509_STORE_CTX_get_error( store ) ) );
    return ok;
}

// The name that is asked for must be known before the first message of the handshake is made.
void onHandshake( const SSL *ssl, int where, int )
{
    if( !( where & SSL_CB_HANDSHAKE_START ) )
        return;
    const TargetTls *target = targetOf( ssl );
    if( !target->serverName().empty() )
        SSL_set_tlsext_host_name( const_cast<SSL *>( ssl ), target->serverName().c_str() );
}

bool isDirectory( const std::string &path )
{
    struct stat status;
    return stat( path.c_str(), &status ) == 0 && S_ISDIR( status.st_mode );
}

bool trust( SSL_CTX *context, const std::string &authorities )
{
    if( authorities.empty() )
        return SSL_CTX_set_default_verify_paths( context ) == 1;
    if( isDirectory( authorities ) )
        return SSL_CTX_load_verify_dir( context, authorities.c_str() ) == 1;
    return SSL_CTX_load_verify_file( context, authorities.c_str() ) == 1;
}

} // namespace

ServerTls::~ServerTls()
{
    mem_deref( tls_ );
    SSL_CTX_free( current_ );
}

std::string ServerTls::create()
{
    if( const int error = tls_alloc( &tls_, TLS_METHOD_SSLV23, nullptr, nullptr ) )
        return std::string( "TLS: " ) + strerror( error );
    SSL_CTX *context = tls_openssl_context( tls_ );
    setVersions( context );
    SSL_CTX_set_options( context, SSL_OP_CIPHER_SERVER_PREFERENCE );
    SSL_CTX_set_session_cache_mode( context, SSL_SESS_CACHE_OFF );
    SSL_CTX_set_cert_cb( context, chooseCertificate, &current_ );
    return {};
}

std::string ServerTls::load( const std::string &certificate, const std::string &privateKey )
{
    SSL_CTX *fresh = SSL_CTX_new( TLS_server_method() );
    std::string problem = fresh ? readInto( fresh, certificate, privateKey ) : "TLS: " + lastError();
    if( problem.empty() && !tls_ )
        problem = create();
    if( problem.empty() )
        std::swap( current_, fresh );
    SSL_CTX_free( fresh );
    return problem;
}

TargetTls::~TargetTls()
{
    mem_deref( tls_ );
}

std::string TargetTls::create( const std::string &name, const ClientTls &settings )
{
    if( const int error = tls_alloc( &tls_, TLS_METHOD_SSLV23, nullptr, nullptr ) )
        return std::string( "TLS: " ) + strerror( error );
    return configure( name, settings );
}

std::string TargetTls::configure( const std::string &name, const ClientTls &settings )
{
    SSL_CTX *context = tls_openssl_context( tls_ );
    setVersions( context );
    SSL_CTX_set_app_data( context, this );
    SSL_CTX_set_info_callback( context, onHandshake );
    const std::optional<Address> address = Address::parse( name );
    if( !address )
        serverName_ = name;
    if( !settings.certificate.empty() )
        if( std::string problem = readInto( context, settings.certificate, {} ); !problem.empty() )
            return problem;
    if( !settings.verify )
        return {};

    SSL_CTX_set_verify( context, SSL_VERIFY_PEER, onVerified );
    ERR_clear_error();
    if( !trust( context, settings.authorities ) )
        return settings.authorities + ": " + lastError();
    X509_VERIFY_PARAM *expected = SSL_CTX_get0_param( context );
    X509_VERIFY_PARAM_set_hostflags( expected, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS );
    const int set = address ? X509_VERIFY_PARAM_set1_ip_asc( expected, address->host().c_str() )
                            : X509_VERIFY_PARAM_set1_host( expected, name.c_str(), name.size() );
    return set == 1 ? std::string() : "TLS: \"" + name + "\" is no name of a server";
}

std::string TargetTls::takeRefusal()
{
    return std::exchange( refusal_, {} );
}

} // namespace engine
