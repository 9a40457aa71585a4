// Certificates for tests, made when they are needed.
#ifndef TESTS_ENGINE_CERTIFICATES_H
#define TESTS_ENGINE_CERTIFICATES_H

#include <memory>
#include <string>

namespace test
{

/// A folder that goes with everything in it.
class Folder
{
public:
    Folder();
    ~Folder();
    Folder( const Folder & ) = delete;
    Folder &operator=( const Folder & ) = delete;
    std::string path( const std::string &name ) const { return path_ + "/" + name; }
    void write( const std::string &name, const std::string &text ) const;

private:
    std::string path_;
};

/// An authority with a key of its own.
class Authority
{
public:
    explicit Authority( const std::string &name = "Test authority" );
    ~Authority();
    Authority( const Authority & ) = delete;
    Authority &operator=( const Authority & ) = delete;
    /// Its own certificate as PEM text.
    std::string certificate() const;
    /// A server's certificate and key in one PEM text; NAMES as OpenSSL takes them ("DNS:example.com,IP:127.0.0.1").
    /// SERIAL tells certificates apart.
    std::string issue( const std::string &names, long serial = 1 ) const;

private:
    struct Imp;
    std::unique_ptr<Imp> imp_;
};

} // namespace test

#endif
