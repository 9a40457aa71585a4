// What serves the requests that the front accepts: bindings, registrar and proxy, with what these need.
#ifndef SIPAUTHD_SERVICES_H
#define SIPAUTHD_SERVICES_H

#include "sipauthd/config.h"
#include "sipauthd/front.h"

namespace sipauthd
{

class Services
{
public:
    /// Opens the bindings. Throws std::runtime_error.
    Services( engine::Engine &engine, const Config &config );
    ~Services();
    Services( const Services & ) = delete;
    Services &operator=( const Services & ) = delete;

    void setConfig( const Config &config );
    RegisterService *registrar();
    RouteService *router();
    Bindings &bindings();
    /// How many forwarded requests have no final response yet.
    size_t open() const;

private:
    struct Imp;
    std::unique_ptr<Imp> imp_;
};

} // namespace sipauthd

#endif
