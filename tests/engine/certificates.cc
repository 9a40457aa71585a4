// Certificates for tests, made when they are needed.
#include "certificates.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <unistd.h>

namespace test
{

namespace
{

struct Certificate
{
    EVP_PKEY *key = EVP_EC_gen( "P-256" );
    X509 *x509 = X509_new();

    Certificate() = default;
    Certificate( const Certificate & ) = delete;
    Certificate &operator=( const Certificate & ) = delete;
    ~Certificate()
    {
        X509_free( x509 );
        EVP_PKEY_free( key );
    }
};

void extend( X509 *certificate, X509 *issuer, int extension, const std::string &value )
{
    X509V3_CTX context;
    X509V3_set_ctx( &context, issuer, certificate, nullptr, nullptr, 0 );
    X509_EXTENSION *made = X509V3_EXT_conf_nid( nullptr, &context, extension, value.c_str() );
    if( !made )
        throw std::runtime_error( "no extension: " + value );
    X509_add_ext( certificate, made, -1 );
    X509_EXTENSION_free( made );
}

void fill( Certificate &certificate, const std::string &name, long serial )
{
    X509_set_version( certificate.x509, X509_VERSION_3 );
    ASN1_INTEGER_set( X509_get_serialNumber( certificate.x509 ), serial );
    X509_gmtime_adj( X509_getm_notBefore( certificate.x509 ), -3600 );
    X509_gmtime_adj( X509_getm_notAfter( certificate.x509 ), 3600 );
    X509_set_pubkey( certificate.x509, certificate.key );
    X509_NAME_add_entry_by_txt( X509_get_subject_name( certificate.x509 ), "CN", MBSTRING_ASC,
                                reinterpret_cast<const unsigned char *>( name.c_str() ), -1, -1, 0 );
}

std::string textOf( X509 *certificate, EVP_PKEY *key )
{
    BIO *bio = BIO_new( BIO_s_mem() );
    PEM_write_bio_X509( bio, certificate );
    if( key )
        PEM_write_bio_PrivateKey( bio, key, nullptr, nullptr, 0, nullptr, nullptr );
    char *bytes = nullptr;
    const long size = BIO_get_mem_data( bio, &bytes );
    const std::string text( bytes, size_t( size ) );
    BIO_free( bio );
    return text;
}

} // namespace

Folder::Folder()
{
    char name[] = "/tmp/engine-test-XXXXXX";
    if( !mkdtemp( name ) )
        throw std::runtime_error( "no folder" );
    path_ = name;
}

Folder::~Folder()
{
    std::error_code ignored;
    std::filesystem::remove_all( path_, ignored );
}

void Folder::write( const std::string &name, const std::string &text ) const
{
    std::ofstream( path( name ) ) << text;
}

struct Authority::Imp : Certificate
{
};

Authority::Authority( const std::string &name ) : imp_( std::make_unique<Imp>() )
{
    fill( *imp_, name, 1 );
    X509_set_issuer_name( imp_->x509, X509_get_subject_name( imp_->x509 ) );
    extend( imp_->x509, imp_->x509, NID_basic_constraints, "critical,CA:TRUE" );
    X509_sign( imp_->x509, imp_->key, EVP_sha256() );
}

Authority::~Authority() = default;

std::string Authority::certificate() const
{
    return textOf( imp_->x509, nullptr );
}

std::string Authority::issue( const std::string &names, long serial ) const
{
    Certificate server;
    fill( server, "Test server", serial );
    X509_set_issuer_name( server.x509, X509_get_subject_name( imp_->x509 ) );
    extend( server.x509, imp_->x509, NID_subject_alt_name, names );
    X509_sign( server.x509, imp_->key, EVP_sha256() );
    return textOf( server.x509, server.key );
}

} // namespace test
