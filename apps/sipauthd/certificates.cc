// What can be told of certificate files before they are used.
#include "sipauthd/certificates.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include <cstdio>
#include <memory>

namespace sipauthd
{

namespace
{

std::string lastError()
{
    char text[256];
    ERR_error_string_n( ERR_get_error(), text, sizeof text );
    ERR_clear_error();
    return text;
}

using Context = std::unique_ptr<SSL_CTX, decltype( &SSL_CTX_free )>;
using Certificate = std::unique_ptr<X509, decltype( &X509_free )>;
using File = std::unique_ptr<FILE, decltype( &std::fclose )>;

} // namespace

std::string certificateProblem( const std::string &certificate, const std::string &privateKey )
{
    Context context( SSL_CTX_new( TLS_server_method() ), SSL_CTX_free );
    const std::string &key = privateKey.empty() ? certificate : privateKey;
    if( SSL_CTX_use_certificate_chain_file( context.get(), certificate.c_str() ) != 1 )
        return certificate + " holds no certificate: " + lastError();
    if( SSL_CTX_use_PrivateKey_file( context.get(), key.c_str(), SSL_FILETYPE_PEM ) != 1 )
        return key + " holds no private key for " + certificate + ": " + lastError();
    return "";
}

std::string certificateWarning( const std::string &path )
{
    File file( path.empty() ? nullptr : std::fopen( path.c_str(), "re" ), std::fclose );
    if( !file )
        return "";
    Certificate certificate( PEM_read_X509( file.get(), nullptr, nullptr, nullptr ), X509_free );
    int days = 0;
    int seconds = 0;
    if( !certificate || !ASN1_TIME_diff( &days, &seconds, nullptr, X509_get0_notAfter( certificate.get() ) ) )
        return "";
    if( days < 0 || seconds < 0 )
        return path + ": the certificate has ended: clients that verify it will not connect";
    if( days < 14 )
        return path + ": the certificate ends in " + std::to_string( days ) + " days";
    if( X509_cmp_current_time( X509_get0_notBefore( certificate.get() ) ) > 0 )
        return path + ": the certificate is not valid yet";
    return "";
}

} // namespace sipauthd
