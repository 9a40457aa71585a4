// The tables of the database. Each step takes them from one version to the next; the first one, from nothing.
#include "usr_sqlite/usr_sqlite_schema_private.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace usr_sqlite
{
namespace
{

// Two users of one name differ in their realm, of which one may have none: SQL takes two missing values for different
// ones, so that those have an index of their own.
constexpr std::array steps = {
    "CREATE TABLE users("
    "  id TEXT NOT NULL PRIMARY KEY,"
    "  name TEXT NOT NULL,"
    "  realm TEXT,"
    "  enabled INTEGER NOT NULL,"
    "  key INTEGER NOT NULL,"   // the number of the key that the password is sealed with
    "  password BLOB ) STRICT;" // nonce, cipher text and tag
    "CREATE UNIQUE INDEX users_by_name ON users( name, realm );"
    "CREATE UNIQUE INDEX users_without_realm ON users( name ) WHERE realm IS NULL;"
    "PRAGMA user_version = 1",
};
constexpr int64_t currentVersion = steps.size();

int64_t versionOf( Connection &connection, std::string &reason )
{
    int64_t version = connection.integerOf( "PRAGMA user_version" );
    if( version < 0 )
        reason = connection.failure();
    return version;
}

bool refuseNewer( int64_t version, std::string &reason )
{
    reason = "the database has tables of version " + std::to_string( version ) + ", newer than " +
             std::to_string( currentVersion ) + ", which this driver knows";
    return false;
}

// Runs the steps that are missing, inside a transaction; false with REASON.
bool upgrade( Connection &connection, std::string &reason )
{
    // Another process may have been faster, so the version counts that stands once the transaction has begun.
    int64_t version = versionOf( connection, reason );
    if( version < 0 )
        return false;
    if( version > currentVersion )
        return refuseNewer( version, reason );
    if( version == 0 && connection.integerOf( "SELECT count( * ) FROM sqlite_schema" ) != 0 )
    {
        reason = "the database holds tables of something else";
        return false;
    }
    for( int64_t step = version; step < currentVersion; step++ )
    {
        if( int code = connection.execute( steps[static_cast<size_t>( step )] ) )
        {
            reason = connection.failure( code );
            return false;
        }
    }
    return true;
}

} // namespace

bool setUpSchema( Connection &connection, std::string &reason )
{
    int64_t version = versionOf( connection, reason );
    if( version < 0 || version == currentVersion )
        return version == currentVersion;
    if( int code = connection.execute( "BEGIN IMMEDIATE" ) )
    {
        reason = connection.failure( code );
        return false;
    }
    bool upgraded = upgrade( connection, reason );
    int code = connection.handle() ? connection.execute( upgraded ? "COMMIT" : "ROLLBACK" ) : SQLITE_OK;
    if( upgraded && code != SQLITE_OK )
        reason = connection.failure( code );
    return upgraded && code == SQLITE_OK;
}

bool checkSchema( Connection &connection, std::string &reason )
{
    int64_t version = versionOf( connection, reason );
    if( version < 0 || version == currentVersion )
        return version == currentVersion;
    if( version > currentVersion )
        return refuseNewer( version, reason );
    reason = "the database has no table of users of version " + std::to_string( currentVersion );
    return false;
}

bool makeDatabaseFile( const std::string &path, std::string &reason )
{
    // SQLite would make the file with the permissions of the process's mask; and it gives the files beside the
    // database the permissions of the database.
    int file = open( path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR );
    if( file < 0 && errno == EEXIST )
        return true;
    if( file < 0 )
    {
        reason = std::strerror( errno );
        return false;
    }
    close( file );
    return true;
}

} // namespace usr_sqlite
