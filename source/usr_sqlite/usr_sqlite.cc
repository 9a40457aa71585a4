// The driver "sqlite": its record and its object, which hands everything on to the readers and the administration.
#include "usr_sqlite/usr_sqlite_private.h"

#include "pb/pb_module_private.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"
#include "usr/usr_driver.h"
#include "usr_seal/usr_seal_config.h"
#include "usr_sqlite/usr_sqlite_administration_private.h"
#include "usr_sqlite/usr_sqlite_schema_private.h"

#include <rfc/rfc_base_options.h>
#include <tr/tr_stream.h>
#include <usr/usr_reference.h>
#include <usr_sqlite/usr_sqlite.h>

static constexpr pb___ModuleRecord record = { "usr_sqlite", "User Directory in SQLite", "4.2", "pb rfc tr usr" };
static const pbModule *( *const needs[] )() = { pbBaseModule, rfcModule, trModule, usrModule, nullptr };
static int64_t starts = 0;

constinit const pbModule usr_sqlite___module = { &record, needs, nullptr, nullptr, &starts };

struct usrSqlite
{
    pb::Object object;
    usr_sqlite::Administration *administration;
    usr_sqlite::Readers *readers;
};

PB_TYPE( usrSqlite, USR_SQLITE, usr_sqlite, usr_sqlite___FreeFunc, nullptr );

static void usr_sqlite___FreeFunc( pbObj *obj )
{
    usrSqlite *users = usrSqliteFrom( obj );
    PB_ASSERT( users );
    delete users->readers;
    delete users->administration;
}

namespace
{

using usr_sqlite::Administration;
using usr_sqlite::Readers;
using usr_sqlite::Shared;

Administration &administration( pbObj *driver )
{
    return *usrSqliteFrom( driver )->administration;
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
    auto shared = std::make_shared<Shared>( settingsOf( config, why ) );
    auto administration = std::make_unique<Administration>( shared );
    if( !usr_sqlite::makeDatabaseFile( shared->settings.path, why ) || !administration->open( why ) )
        why.insert( 0, "path: " + shared->settings.path + ": " );
    else if( !shared->keys.load( why ) )
        why.insert( 0, "keyFile: " );
    if( !why.empty() )
    {
        TR_TEXT_FORMAT( stream, "sqlite: %lc", why.c_str() );
        usr_seal::failed( reason, why );
        return nullptr;
    }
    auto users = pb::create<usrSqlite>( usrSqliteSort() );
    users->administration = administration.release();
    users->readers = new Readers( std::move( shared ) );
    return usrSqliteObj( users.give() );
}

void close( pbObj *driver )
{
    usrSqliteFrom( driver )->readers->stop();
    administration( driver ).close();
}

void lookup( pbObj *driver, usr___Request *request, pbString *userName, pbString *realm )
{
    usrSqliteFrom( driver )->readers->push( request,
                                            { false, usr_seal::utf8( userName ), usr_seal::optionalUtf8( realm ) } );
}

void query( pbObj *driver, usr___Request *request, pbString *userId )
{
    usrSqliteFrom( driver )->readers->push( request, { true, usr_seal::utf8( userId ), {} } );
}

int64_t add( pbObj *driver, pbString *userId, pbString *userName, pbString *realm, pbString *password,
             pbString **reason )
{
    return administration( driver ).add( userId, userName, realm, password, reason );
}

int64_t setPassword( pbObj *driver, pbString *userId, pbString *password, pbString **reason )
{
    return administration( driver ).setPassword( userId, password, reason );
}

int64_t setEnabled( pbObj *driver, pbString *userId, pbBool enabled, pbString **reason )
{
    return administration( driver ).setEnabled( userId, enabled != 0, reason );
}

int64_t removeUser( pbObj *driver, pbString *userId, pbString **reason )
{
    return administration( driver ).remove( userId, reason );
}

int64_t list( pbObj *driver, pbVector **users, pbString **reason )
{
    return administration( driver ).list( users, reason );
}

constexpr usr___Driver driver = { "sqlite",   tryCreate,  close, lookup, query,   add,    setPassword,
                                  setEnabled, removeUser, list,  check,  nullptr, nullptr };

} // namespace

void usrSqliteRegister()
{
    usr___DriverRegister( &driver );
}

void usrSqliteUnregister()
{
    usr___DriverUnregister( &driver );
}
