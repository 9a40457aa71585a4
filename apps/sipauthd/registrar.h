// The registrar (RFC 3261 section 10.3): REGISTER requests that have been checked become bindings.
#ifndef SIPAUTHD_REGISTRAR_H
#define SIPAUTHD_REGISTRAR_H

#include "sipauthd/bindings.h"
#include "sipauthd/request.h"

namespace sipauthd
{

struct RegistrarConfig
{
    bool enabled = true;
    std::vector<std::string> domains; ///< those whose addresses of record are ours, in lower case
    int64_t minExpires = 60;          ///< seconds; less is answered with 423, but for 0 and for an hour and more
    int64_t maxExpires = 7200;        ///< more is shortened
    int64_t defaultExpires = 3600;
    int64_t maxContacts = 10; ///< of an address of record; more is answered with 403
    bool anyUser = false;     ///< whether a user may register for other addresses of record of our domains
};

class Registrar
{
public:
    Registrar( Bindings &bindings, const RegistrarConfig &config );
    void setConfig( const RegistrarConfig &config );
    /// Serves a REGISTER that was accepted; answers it at once or when its bindings are committed.
    void serve( std::shared_ptr<Request> request );
    /// What a REGISTER belongs to, for its session: address of record and first contact.
    static std::string bindingOf( const sip::Message &request );

private:
    /// What a request says, and where its answer stands.
    struct Registration;

    bool checkExtensions( Registration &registration ) const;
    bool checkAddressOfRecord( Registration &registration ) const;
    bool ownsAddressOfRecord( const Registration &registration ) const;
    bool readContacts( Registration &registration ) const;
    bool readContact( Registration &registration, const std::string &item ) const;
    bool readExpires( Registration &registration, const std::string *parameter, int64_t *seconds ) const;
    bool removeAll( Registration &registration ) const;
    bool apply( Registration &registration ) const;
    void commit( Registration &registration );

    Bindings &bindings_;
    RegistrarConfig config_;
};

} // namespace sipauthd

#endif
