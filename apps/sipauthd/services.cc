// What serves the requests that the front accepts.
#include "sipauthd/services.h"

namespace sipauthd
{

namespace
{

class RegistrarService : public RegisterService
{
public:
    RegistrarService( Bindings &bindings, const RegistrarConfig &config ) : registrar_( bindings, config ) {}
    void setConfig( const RegistrarConfig &config ) { registrar_.setConfig( config ); }
    void serve( std::shared_ptr<Request> request ) override { registrar_.serve( std::move( request ) ); }
    std::string bindingOf( const sip::Message &request ) const override { return Registrar::bindingOf( request ); }

private:
    Registrar registrar_;
};

class ProxyService : public RouteService
{
public:
    ProxyService( engine::Engine &engine, Bindings &bindings, const ProxyConfig &config )
        : resolver_( engine ), proxy_( engine, resolver_, bindings, config )
    {
    }
    void setConfig( const ProxyConfig &config ) { proxy_.setConfig( config ); }
    size_t open() const { return proxy_.open(); }
    bool mustCheck( const sip::Message &request, const engine::Peer &peer ) const override
    {
        return proxy_.mustCheck( request, peer );
    }
    std::string bindingOf( const sip::Message &request ) const override { return Proxy::bindingOf( request ); }
    void serve( std::shared_ptr<Request> request ) override { proxy_.serve( std::move( request ) ); }
    void routeAck( const sip::Message &ack, const engine::Peer &peer ) override { proxy_.routeAck( ack, peer ); }
    void routeResponse( const sip::Message &response, const engine::Peer &peer ) override
    {
        proxy_.routeResponse( response, peer );
    }

private:
    engine::Resolver resolver_;
    Proxy proxy_;
};

std::unique_ptr<Bindings> openBindings( engine::Engine &engine, const Config &config )
{
    std::string why;
    std::unique_ptr<Bindings> bindings = Bindings::open( config.database, config.fsync, engine, &why );
    if( !bindings )
        throw std::runtime_error( why );
    return bindings;
}

} // namespace

struct Services::Imp
{
    Imp( engine::Engine &engine, const Config &config )
        : bindings( openBindings( engine, config ) ), registrar( *bindings, config.registrar ),
          proxy( engine, *bindings, config.proxy )
    {
    }

    std::unique_ptr<Bindings> bindings;
    RegistrarService registrar;
    ProxyService proxy;
};

Services::Services( engine::Engine &engine, const Config &config ) : imp_( std::make_unique<Imp>( engine, config ) ) {}

Services::~Services() = default;

void Services::setConfig( const Config &config )
{
    imp_->registrar.setConfig( config.registrar );
    imp_->proxy.setConfig( config.proxy );
}

RegisterService *Services::registrar()
{
    return &imp_->registrar;
}

RouteService *Services::router()
{
    return &imp_->proxy;
}

Bindings &Services::bindings()
{
    return *imp_->bindings;
}

size_t Services::open() const
{
    return imp_->proxy.open();
}

} // namespace sipauthd
