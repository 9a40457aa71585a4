// The tables of the database. Each step takes them from one version to the next; the first one, from nothing.
#include "usr_postgres/usr_postgres_schema_private.h"

#include <iterator>

namespace usr_postgres
{

constexpr char versionStatement[] = "SELECT version::bigint FROM sipauth_schema";
constexpr char findByNameStatement[] = "SELECT id, name, realm, enabled, key, password FROM sipauth_users"
                                       " WHERE name = $1 AND ( $2::text IS NULL OR realm = $2::text OR realm IS NULL )"
                                       " ORDER BY ( realm IS NULL ) = ( $2::text IS NULL ) DESC LIMIT 2";
constexpr char findByIdStatement[] = "SELECT id, name, realm, enabled, key, password FROM sipauth_users WHERE id = $1";
constexpr char listenStatement[] = "LISTEN sipauth_users";

namespace
{

// The statements of a step, each run by itself, ended by null.
using Step = const char *const *;

// Two users of one name differ in their realm, of which one may have none: SQL takes two missing values for different
// ones, so that those have an index of their own.
constexpr const char *firstStep[] = {
    "CREATE TABLE sipauth_schema( version integer NOT NULL )",
    "INSERT INTO sipauth_schema VALUES( 1 )",
    "CREATE TABLE sipauth_users("
    "  id text NOT NULL PRIMARY KEY,"
    "  name text NOT NULL,"
    "  realm text,"
    "  enabled boolean NOT NULL,"
    "  key bigint NOT NULL," // the number of the key that the password is sealed with
    "  password bytea )",    // nonce, cipher text and tag
    "CREATE UNIQUE INDEX sipauth_users_by_name ON sipauth_users( name, realm )",
    "CREATE UNIQUE INDEX sipauth_users_without_realm ON sipauth_users( name ) WHERE realm IS NULL",
    nullptr,
};
constexpr Step steps[] = { firstStep };

} // namespace

constexpr int64_t currentVersion = std::size( steps );

namespace
{

// A change counts as made when it is on stable storage, whatever the server is set to.
constexpr char settle[] = "SELECT set_config( 'synchronous_commit', 'on', false )"
                          " WHERE current_setting( 'synchronous_commit' ) = 'off'";
// Asks the catalogue itself: a name that was not found is remembered by the server, and what another transaction made
// while this one waited for the lock would not show.
constexpr char tableThere[] = "SELECT EXISTS( SELECT FROM pg_catalog.pg_class"
                              " WHERE relname = 'sipauth_schema' AND pg_catalog.pg_table_is_visible( oid ) )";
// Whoever else makes the tables at the same time waits here.
constexpr char lock[] = "SELECT pg_advisory_xact_lock( 7522537965 )";

bool run( Session &session, const char *statement, std::string &reason )
{
    return session.execute( statement, {}, reason ) != nullptr;
}

// The version of the tables, 0 when there are none; -1 with REASON.
int64_t versionOf( Session &session, std::string &reason )
{
    ResultPtr there = session.execute( tableThere, {}, reason );
    if( !there )
        return -1;
    if( integerAt( there.get(), 0, 0 ) == 0 )
        return 0;
    ResultPtr version = session.execute( versionStatement, {}, reason );
    if( !version )
        return -1;
    return PQntuples( version.get() ) == 1 ? integerAt( version.get(), 0, 0 ) : 0;
}

// Inside a transaction. Another process may have been faster, so the version counts that stands behind the lock.
bool upgrade( Session &session, std::string &reason )
{
    if( !run( session, lock, reason ) )
        return false;
    int64_t version = versionOf( session, reason );
    for( ; version >= 0 && version < currentVersion; version++ )
    {
        for( Step statement = steps[version]; *statement; statement++ )
        {
            if( !run( session, *statement, reason ) )
                return false;
        }
    }
    if( version > currentVersion )
        reason = versionRefused( version );
    return version == currentVersion;
}

} // namespace

std::string versionRefused( int64_t version )
{
    return "the database has tables of version " + std::to_string( version ) + ", this driver knows version " +
           std::to_string( currentVersion );
}

bool setUpConnection( Session &session, std::string &reason )
{
    if( !run( session, settle, reason ) )
        return false;
    int64_t version = versionOf( session, reason );
    if( version > currentVersion )
        reason = versionRefused( version );
    if( version < 0 || version >= currentVersion )
        return version == currentVersion;
    // A connection on which this fails is closed, which takes the transaction back.
    return run( session, "BEGIN", reason ) && upgrade( session, reason ) && run( session, "COMMIT", reason );
}

} // namespace usr_postgres
