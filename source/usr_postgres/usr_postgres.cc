// The driver "postgres": its record and its object, which hands everything on to the pool and the administration.
#include "usr_postgres/usr_postgres_private.h"

#include "pb/pb_module_private.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"
#include "usr/usr_driver.h"
#include "usr_postgres/usr_postgres_administration_private.h"
#include "usr_postgres/usr_postgres_pool_private.h"
#include "usr_seal/usr_seal_administer.h"
#include "usr_seal/usr_seal_config.h"

#include <rfc/rfc_base_options.h>
#include <tr/tr_stream.h>
#include <usr/usr_reference.h>
#include <usr_postgres/usr_postgres.h>

static constexpr pb___ModuleRecord record = { "usr_postgres", "User Directory in PostgreSQL", "4.2", "pb rfc tr usr" };
static const pbModule *( *const needs[] )() = { pbBaseModule, rfcModule, trModule, usrModule, nullptr };
static int64_t starts = 0;

constinit const pbModule usr_postgres___module = { &record, needs, nullptr, nullptr, &starts };

namespace
{

// What the object consists of; in this order, for the pool uses what stands before it.
struct Users
{
    Users( usr_postgres::Settings given, trStream *stream )
        : settings( std::move( given ) ), keys( settings.keyFile ), administration( settings, keys ),
          pool( settings, keys, stream )
    {
    }

    const usr_postgres::Settings settings;
    usr_seal::Keys keys;
    usr_postgres::Administration administration;
    usr_postgres::Pool pool;
};

} // namespace

struct usrPostgres
{
    pb::Object object;
    Users *users;
};

PB_TYPE( usrPostgres, USR_POSTGRES, usr_postgres, usr_postgres___FreeFunc, nullptr );

static void usr_postgres___FreeFunc( pbObj *obj )
{
    usrPostgres *object = usrPostgresFrom( obj );
    PB_ASSERT( object );
    delete object->users;
}

namespace
{

Users &usersOf( pbObj *driver )
{
    usrPostgres *object = usrPostgresFrom( driver );
    PB_ASSERT( object );
    return *object->users;
}

// What a configuration says; a reason when it cannot be taken.
usr_postgres::Settings settingsOf( pbStore *config, std::string &reason )
{
    usr_seal::Config values( config );
    usr_postgres::Settings settings;
    settings.connection = values.text( "connection", nullptr );
    settings.keyFile = values.text( "keyFile", nullptr );
    settings.pool = values.integer( "pool", 4, 1, 64 );
    settings.serverTimeout = usr_postgres::Milliseconds( values.integer( "serverTimeout", 5000, 100, 600'000 ) );
    values.end();
    reason = values.reason();
    // What libpq says about a connection string may show a piece of it, and that may be of the password.
    if( reason.empty() && !usr_postgres::connectionStringOk( settings.connection ) )
        reason = "connection: is no connection string as libpq takes it";
    return settings;
}

pbBool check( pbStore *config, pbString **reason )
{
    std::string why;
    settingsOf( config, why );
    if( !why.empty() )
        usr_seal::failed( reason, why );
    return why.empty();
}

pbObj *tryCreate( pbStore *config, trStream *stream, pbString **reason )
{
    if( !check( config, reason ) )
        return nullptr;
    std::string why;
    usr_postgres::Settings settings = settingsOf( config, why );
    if( !usr_seal::Keys( settings.keyFile ).load( why ) )
    {
        usr_seal::failed( reason, "keyFile: " + why );
        return nullptr;
    }
    auto object = pb::create<usrPostgres>( usrPostgresSort() );
    object->users = new Users( std::move( settings ), stream );
    if( !object->users->pool.tryStart() )
    {
        usr_seal::failed( reason, "connection: no file descriptors left" );
        return nullptr;
    }
    return usrPostgresObj( object.give() );
}

void close( pbObj *driver )
{
    usersOf( driver ).pool.stop();
    usersOf( driver ).administration.close();
}

void ask( pbObj *driver, usr___Request *request, usr_seal::Question question )
{
    // Nobody can be stored under such a name or realm; and libpq would end the text at the NUL, at another user's name.
    if( question.text.find( '\0' ) != std::string::npos ||
        question.realm.value_or( "" ).find( '\0' ) != std::string::npos )
        return usr___RequestEndWithout( request, usr___notFound );
    usersOf( driver ).pool.push( request, std::move( question ) );
}

void lookup( pbObj *driver, usr___Request *request, pbString *userName, pbString *realm )
{
    ask( driver, request, { false, usr_seal::utf8( userName ), usr_seal::optionalUtf8( realm ) } );
}

void query( pbObj *driver, usr___Request *request, pbString *userId )
{
    ask( driver, request, { true, usr_seal::utf8( userId ), {} } );
}

void watch( pbObj *driver, std::atomic<int64_t> *changes )
{
    usersOf( driver ).pool.watch( changes );
}

using Administer = usr_seal::Administer<usersOf>;

constexpr usr___Driver driver = { "postgres",
                                  tryCreate,
                                  close,
                                  lookup,
                                  query,
                                  Administer::add,
                                  Administer::setPassword,
                                  Administer::setEnabled,
                                  Administer::remove,
                                  Administer::list,
                                  check,
                                  nullptr,
                                  nullptr,
                                  watch };

} // namespace

void usrPostgresRegister()
{
    usr___DriverRegister( &driver );
}

void usrPostgresUnregister()
{
    usr___DriverUnregister( &driver );
}
