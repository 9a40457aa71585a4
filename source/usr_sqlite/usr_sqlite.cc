// The driver "sqlite": its record and its object, which hands everything on to the readers and the administration.
#include "usr_sqlite/usr_sqlite_private.h"

#include "pb/pb_module_private.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"
#include "usr/usr_driver.h"
#include "usr_seal/usr_seal_administer.h"
#include "usr_seal/usr_seal_config.h"
#include "usr_sqlite/usr_sqlite_administration_private.h"
#include "usr_sqlite/usr_sqlite_schema_private.h"
#include "usr_sqlite/usr_sqlite_watch_private.h"

#include <rfc/rfc_base_options.h>
#include <tr/tr_stream.h>
#include <usr/usr_reference.h>
#include <usr_sqlite/usr_sqlite.h>

static constexpr pb___ModuleRecord record = { "usr_sqlite", "User Directory in SQLite", "4.2", "pb rfc tr usr" };
static const pbModule *( *const needs[] )() = { pbBaseModule, rfcModule, trModule, usrModule, nullptr };
static int64_t starts = 0;

constinit const pbModule usr_sqlite___module = { &record, needs, nullptr, nullptr, &starts };

namespace
{

// What the object consists of.
struct Users
{
    explicit Users( usr_sqlite::Settings settings )
        : shared( std::move( settings ) ), administration( shared ), readers( shared ), watch( shared )
    {
    }

    usr_sqlite::Shared shared;
    usr_sqlite::Administration administration;
    usr_sqlite::Readers readers;
    usr_sqlite::Watch watch;
};

} // namespace

struct usrSqlite
{
    pb::Object object;
    Users *users;
};

PB_TYPE( usrSqlite, USR_SQLITE, usr_sqlite, usr_sqlite___FreeFunc, nullptr );

static void usr_sqlite___FreeFunc( pbObj *obj )
{
    usrSqlite *object = usrSqliteFrom( obj );
    PB_ASSERT( object );
    delete object->users;
}

namespace
{

Users &usersOf( pbObj *driver )
{
    usrSqlite *object = usrSqliteFrom( driver );
    PB_ASSERT( object );
    return *object->users;
}

// What a configuration says; a reason when it cannot be taken.
usr_sqlite::Settings settingsOf( pbStore *config, std::string &reason )
{
    usr_seal::Config values( config );
    usr_sqlite::Settings settings;
    settings.path = values.text( "path", nullptr );
    settings.keyFile = values.text( "keyFile", ( settings.path + ".key" ).c_str() );
    settings.readers = values.integer( "readers", 2, 1, 64 );
    settings.busyTimeout = values.integer( "busyTimeout", 1000, 0, 600'000 );
    values.end();
    reason = values.reason();
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
    auto object = pb::create<usrSqlite>( usrSqliteSort() );
    object->users = new Users( settingsOf( config, why ) );
    usr_sqlite::Shared &shared = object->users->shared;
    if( !usr_sqlite::makeDatabaseFile( shared.settings.path, why ) || !object->users->administration.open( why ) )
        why.insert( 0, "path: " + shared.settings.path + ": " );
    else if( !shared.keys.load( why ) )
        why.insert( 0, "keyFile: " );
    if( !why.empty() )
    {
        TR_TEXT_FORMAT( stream, "sqlite: %lc", why.c_str() );
        usr_seal::failed( reason, why );
        return nullptr;
    }
    object->users->readers.start();
    return usrSqliteObj( object.give() );
}

void close( pbObj *driver )
{
    usersOf( driver ).watch.stop();
    usersOf( driver ).readers.stop();
    usersOf( driver ).administration.close();
}

void lookup( pbObj *driver, usr___Request *request, pbString *userName, pbString *realm )
{
    usersOf( driver ).readers.push( request, { false, usr_seal::utf8( userName ), usr_seal::optionalUtf8( realm ) } );
}

void query( pbObj *driver, usr___Request *request, pbString *userId )
{
    usersOf( driver ).readers.push( request, { true, usr_seal::utf8( userId ), {} } );
}

void watch( pbObj *driver, std::atomic<int64_t> *changes )
{
    usersOf( driver ).watch.start( changes );
}

using Administer = usr_seal::Administer<usersOf>;

constexpr usr___Driver driver = { "sqlite",
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

void usrSqliteRegister()
{
    usr___DriverRegister( &driver );
}

void usrSqliteUnregister()
{
    usr___DriverUnregister( &driver );
}
