// The daemon: all parts put together.
#include "sipauthd/daemon.h"

#include "sip/message.h"

#include <host/host_server_guard.h>
#include <pb/pb_std.hh>
#include <tr/tr_recorder.h>

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <malloc.h>
#include <sstream>
#include <sys/resource.h>

namespace sipauthd
{

namespace
{

constexpr int64_t pollInterval = 20; // milliseconds, while the daemon drains
constexpr int64_t memoryInterval = 10000;
constexpr size_t enoughToGiveBack = 32 << 20;

// As many descriptors as the system allows: each connection needs one.
void raiseDescriptors()
{
    rlimit limit;
    if( ::getrlimit( RLIMIT_NOFILE, &limit ) == 0 && limit.rlim_cur < limit.rlim_max )
    {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit( RLIMIT_NOFILE, &limit );
    }
}

void openTrace( const std::string &path )
{
    if( path.empty() )
        return trSetRecorder( nullptr );
    pb::Ref<pbString> reason;
    auto recorder = pb::own( trRecorderTryCreateFile( pb::string( path ), reason.inout() ) );
    if( !recorder )
        throw StartError( pb::text( reason ) );
    trSetRecorder( recorder );
}

bool challengesOptions( const ProxyConfig &proxy )
{
    const std::vector<std::string> &methods = proxy.challengeMethods;
    return std::find( methods.begin(), methods.end(), "*" ) != methods.end() ||
           std::find( methods.begin(), methods.end(), "OPTIONS" ) != methods.end();
}

// "name 3\nother 4" as "name=3 other=4".
std::string onOneLine( const std::string &counters )
{
    std::istringstream lines( counters );
    std::string result;
    for( std::string name, number; lines >> name >> number; )
        result += fmt::format( "{}{}={}", result.empty() ? "" : " ", name, number );
    return result;
}

std::string refusals()
{
    std::string result;
    for( int64_t refusal = 1; refusal < HOST_REFUSAL_COUNT; refusal++ )
        if( int64_t count = hostRefusalCount( refusal ) )
            result += fmt::format( " {}={}", hostRefusalName( refusal ), count );
    return result;
}

} // namespace

Daemon::Daemon( const std::string &path ) : path_( path )
{
    ConfigFile file = inspectFile( path );
    openLog( file );
    raiseDescriptors();
    std::string why;
    engine_ = engine::createEngine( &why );
    if( !engine_ )
        throw StartError( why );
    runtime_ = std::make_unique<engine::Runtime>( *engine_ );
    file_ = std::make_unique<LoadedFile>( path );
    started_ = file_->config();
    started_.proxy.secret = sip::newToken() + sip::newToken();
    config_ = started_;
    stack_ = file_->stack();
    events_ = pb::own( hostEventsCreate() );
    applyLog( config_.log );
    engine_->setClientTls( config_.tls );
    openListeners();
    openServices();
}

Daemon::~Daemon()
{
    if( engine_ )
        engine_->setHandler( nullptr );
    if( events_ )
        hostEventsSetListener( events_, nullptr, nullptr );
    trSetRecorder( nullptr );
}

void Daemon::openLog( const ConfigFile &file )
{
    std::string why;
    log_ = Log::open( file.config.log.level, file.config.log.file, &why );
    if( !log_ )
        throw StartError( why );
    openTrace( file.config.log.trace );
    log_->info( fmt::format( "sipauthd starting with {}", path_ ) );
}

void Daemon::openListeners()
{
    for( size_t index = 0; index < config_.listeners.size(); index++ )
    {
        const ListenerConfig &wanted = config_.listeners[index];
        engine::Listener listener{ static_cast<int>( index ), wanted.transport,
                                   engine::Address::parse( wanted.address ).value(), wanted.certificate,
                                   wanted.privateKey };
        if( std::string why = engine_->listen( listener ); !why.empty() )
            throw StartError( fmt::format( "listener {}: {}", wanted.label, why ) );
        log_->info( fmt::format( "listening on {} {}", engine::nameOf( wanted.transport ),
                                 engine_->localAddress( listener.number ).text() ) );
    }
}

void Daemon::openServices()
{
    try
    {
        services_ = std::make_unique<Services>( *engine_, config_ );
    }
    catch( const std::runtime_error &error )
    {
        throw StartError( error.what() );
    }
    auto profiles = makeProfiles( config_, numbersOf( config_ ) );
    FrontParts parts{
        *engine_,  stack_, config_.settings, profiles, events_, services_->registrar(), services_->router(),
        log_.get() };
    front_ = std::make_unique<Front>( parts, frontConfig() );
    engine_->setHandler( front_.get() );
    runtime_->setAfterDrain( [this] { audit_.flush(); } );
    services_->bindings().setOnFailure(
        [this]( const std::string &why )
        { log_->limited( LogLevel::Error, "bindings", "bindings cannot be written: " + why ); } );
    log_->info( fmt::format( "{} bindings restored", services_->bindings().size() ) );
}

FrontConfig Daemon::frontConfig() const
{
    return { config_.domains,           config_.proxy.realm,   config_.serverHeader,
             config_.registrar.enabled, config_.proxy.enabled, challengesOptions( config_.proxy ) };
}

// The numbers of the listeners in a configuration: those of the start, by their labels.
std::vector<int> Daemon::numbersOf( const Config &config ) const
{
    std::vector<int> numbers;
    for( const ListenerConfig &listener : config.listeners )
    {
        auto found = std::find_if( started_.listeners.begin(), started_.listeners.end(),
                                   [&]( const ListenerConfig &other ) { return other.label == listener.label; } );
        numbers.push_back( found == started_.listeners.end() ? -1
                                                             : static_cast<int>( found - started_.listeners.begin() ) );
    }
    return numbers;
}

void Daemon::run()
{
    Signals signals( [this]( int number ) { engine_->post( [this, number] { onSignal( number ); } ); } );
    repeatStatistics();
    giveMemoryBack();
    log_->info( "ready" );
    engine_->run();
    logCounters();
    log_->info( "sipauthd ended" );
}

void Daemon::onSignal( int number )
{
    if( number == SIGHUP )
        reload();
    else if( number == SIGUSR1 )
        logCounters();
    else
        drain();
}

void Daemon::reload()
{
    try
    {
        file_->reload();
        Config config = file_->config( stack_ );
        config.proxy.secret = started_.proxy.secret;
        warnOfRestart( config );
        config_ = config;
        applyConfig( config );
        log_->info( "configuration reloaded" );
    }
    catch( const ConfigError &error )
    {
        log_->error( fmt::format( "configuration refused, nothing has changed: {}", error.what() ) );
    }
    // Whatever the file says: the logs may have been moved away, and certificates renewed.
    applyLog( config_.log );
    if( std::string why = engine_->reloadCertificates(); !why.empty() )
        log_->error( "certificates: " + why );
    else
        log_->info( "certificates read again" );
}

void Daemon::applyConfig( const Config &config )
{
    engine_->setClientTls( config.tls );
    services_->setConfig( config );
    front_->setConfig( frontConfig(), config.settings, makeProfiles( config, numbersOf( config ) ) );
}

void Daemon::applyLog( const LogConfig &log )
{
    std::string why;
    log_->setLevel( log.level );
    if( !log_->reopen( log.file, &why ) )
        log_->error( "log: " + why );
    if( !audit_.open( log.audit, &why ) )
        log_->error( "audit log: " + why );
    void ( *append )( void *, const char *, int64_t ) = []( void *context, const char *line, int64_t length ) {
        static_cast<LineFile *>( context )->append( { line, static_cast<size_t>( length ) } );
    };
    hostEventsSetListener( events_, audit_.isOpen() ? append : nullptr, &audit_ );
    try
    {
        openTrace( log.trace );
    }
    catch( const StartError &error )
    {
        log_->error( std::string( "trace: " ) + error.what() );
    }
}

// What is opened at the start stays as it was.
void Daemon::warnOfRestart( const Config &config )
{
    auto withoutProfiles = []( std::vector<ListenerConfig> listeners )
    {
        for( ListenerConfig &listener : listeners )
            listener.profile.clear();
        return listeners;
    };
    if( withoutProfiles( config.listeners ) != withoutProfiles( started_.listeners ) )
        log_->warning( "the listeners changed: only a restart opens and closes them" );
    if( config.database != started_.database || config.fsync != started_.fsync )
        log_->warning( "registrar.database or registrar.fsync changed: only a restart makes it so" );
    if( config.stack != started_.stack )
        log_->warning( "stack changed: only a restart makes it so" );
    if( config.log.file.empty() != started_.log.file.empty() )
        log_->warning( "log.file changed between a file and standard error: only a restart makes it so" );
}

void Daemon::drain()
{
    if( std::exchange( draining_, true ) )
        return;
    log_->info( fmt::format( "draining: {} requests are open", front_->open() ) );
    front_->drain();
    limit_ = engine_->after( config_.drainTime,
                             [this] { stop( fmt::format( "{} requests are still open", front_->open() ) ); } );
    awaitIdle();
}

void Daemon::awaitIdle()
{
    if( front_->open() == 0 && services_->open() == 0 )
        return stop( "all requests have been answered" );
    std::unique_ptr<engine::Timer> fired = std::move( waiting_ );
    waiting_ = engine_->after( pollInterval, [this] { awaitIdle(); } );
}

void Daemon::stop( const std::string &why )
{
    if( std::exchange( stopped_, true ) )
        return;
    log_->info( "stopping: " + why );
    services_->bindings().flush();
    audit_.flush();
    engine_->stop();
}

void Daemon::logCounters()
{
    log_->info( "counters " + onOneLine( pb::textOf( hostEventsCountersText( events_ ) ) ) );
    log_->info( fmt::format( "state bindings={} sessions={} nonces={} requests={} forwarded={} transactions={} "
                             "dropped-responses={} lost-audit-lines={}",
                             services_->bindings().size(), front_->sessions(), front_->nonces(), front_->open(),
                             services_->open(), engine_->transactions(), front_->dropped(), audit_.lost() ) );
    if( std::string text = refusals(); !text.empty() )
        log_->info( "refused" + text );
}

// After a flood the allocator keeps what it was given, in pieces between what is still in use. Half of that is
// worth a look at all of them, which takes some milliseconds.
void Daemon::giveMemoryBack()
{
    std::unique_ptr<engine::Timer> fired = std::move( memory_ );
    const auto info = ::mallinfo2();
    if( info.fordblks > enoughToGiveBack && info.fordblks > info.uordblks / 2 )
        ::malloc_trim( 0 );
    memory_ = engine_->after( memoryInterval, [this] { giveMemoryBack(); } );
}

void Daemon::repeatStatistics()
{
    std::unique_ptr<engine::Timer> fired = std::move( statistics_ );
    if( config_.log.statistics == 0 )
    {
        // It may be switched on by a reload.
        statistics_ = engine_->after( 60000, [this] { repeatStatistics(); } );
        return;
    }
    statistics_ = engine_->after( config_.log.statistics * 1000,
                                  [this]
                                  {
                                      logCounters();
                                      repeatStatistics();
                                  } );
}

} // namespace sipauthd
