// Connections to the database file.
#include "usr_sqlite/usr_sqlite_connection_private.h"

#include "usr_sqlite/usr_sqlite_schema_private.h"

#include <algorithm>
#include <cstring>

namespace usr_sqlite
{
namespace
{

// In the order of Query. The closest user of a name comes first: with the realm that was asked for, or without any.
// SQLite goes through the parts of a UNION ALL one after the other; to sort it would make a table for each question.
constexpr std::array texts = {
    "SELECT id, name, realm, enabled, key, password FROM users WHERE name = ?1 AND realm IS ?2"
    " UNION ALL SELECT id, name, realm, enabled, key, password FROM users"
    " WHERE name = ?1 AND ( realm IS NULL ) <> ( ?2 IS NULL ) LIMIT iif( ?2 IS NULL, 2, 1 )",
    "SELECT id, name, realm, enabled, key, password FROM users WHERE id = ?1",
    "SELECT id, name, realm, enabled, key, NULL FROM users ORDER BY name, realm, id",
    "SELECT 1 FROM users WHERE password IS NOT NULL LIMIT 1",
    "INSERT INTO users( id, name, realm, enabled, key, password ) VALUES( ?1, ?2, ?3, 1, ?4, ?5 )",
    "UPDATE users SET key = ?2, password = ?3 WHERE id = ?1",
    "UPDATE users SET enabled = ?2 WHERE id = ?1",
    "DELETE FROM users WHERE id = ?1",
    "BEGIN",
    "COMMIT",
};
static_assert( texts.size() == static_cast<size_t>( Query::count ) );

// The longest sleep between two tries to get a lock, in milliseconds.
constexpr int longestNap = 20;

// Called by SQLite when another connection holds a lock: 0 gives up.
int waitForLock( void *argument, int tries )
{
    auto &patience = *static_cast<Patience *>( argument );
    auto now = std::chrono::steady_clock::now();
    if( tries == 0 )
        patience.start = now;
    bool given = patience.stop && patience.stop->load( std::memory_order_acquire );
    if( given || now - patience.start >= patience.limit )
        return 0;
    if( patience.request && usr___RequestEnded( patience.request ) )
        return 0;
    sqlite3_sleep( std::min( tries + 1, longestNap ) );
    return 1;
}

// Whether a connection is good for another try after a failure: the database was in use, full, or refused the values.
bool worthKeeping( int code )
{
    constexpr std::array harmless = { SQLITE_BUSY, SQLITE_CONSTRAINT, SQLITE_FULL, SQLITE_NOMEM, SQLITE_TOOBIG };
    return std::find( harmless.begin(), harmless.end(), code & 0xFF ) != harmless.end();
}

} // namespace

Connection::Connection( const Settings &settings, Role role ) : settings_( settings ), role_( role )
{
    patience_.limit = std::chrono::milliseconds( settings.busyTimeout );
}

bool Connection::moved() const
{
    int moved = 0;
    return sqlite3_file_control( database_, "main", SQLITE_FCNTL_HAS_MOVED, &moved ) == SQLITE_OK && moved;
}

void Connection::close()
{
    for( sqlite3_stmt *&statement : statements_ )
        sqlite3_finalize( std::exchange( statement, nullptr ) );
    sqlite3_close( std::exchange( database_, nullptr ) );
}

bool Connection::ready( std::string &reason )
{
    // A file that was deleted or replaced would go on to serve its old content, and take changes that nobody finds
    // again.
    if( database_ && moved() )
        close();
    return database_ || open( reason );
}

bool Connection::open( std::string &reason )
{
    int code =
        sqlite3_open_v2( settings_.path.c_str(), &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr );
    if( code == SQLITE_OK )
        code = setUp();
    if( code != SQLITE_OK )
    {
        reason = failure( code );
        close();
        return false;
    }
    bool good = role_ == Role::writer ? setUpSchema( *this, reason ) : checkSchema( *this, reason );
    if( !good )
        close();
    return good;
}

int Connection::setUp()
{
    sqlite3_extended_result_codes( database_, 1 );
    sqlite3_busy_handler( database_, waitForLock, &patience_ );
    sqlite3_db_config( database_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr );
    sqlite3_db_config( database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr );
    if( role_ == Role::reader )
        return execute( "PRAGMA query_only = 1" );
    int code = useLog();
    // A change counts as made when it is on stable storage, not when it is in the system's cache.
    return code == SQLITE_OK ? execute( "PRAGMA synchronous = FULL" ) : code;
}

// Where several make a database at the same time, SQLite does not wait here: two of them could wait for each other.
int Connection::useLog()
{
    auto end = std::chrono::steady_clock::now() + patience_.limit;
    int code = execute( "PRAGMA journal_mode = WAL" );
    while( ( code & 0xFF ) == SQLITE_BUSY && std::chrono::steady_clock::now() < end )
    {
        sqlite3_sleep( longestNap );
        code = execute( "PRAGMA journal_mode = WAL" );
    }
    return code;
}

int Connection::execute( const char *text )
{
    return sqlite3_exec( database_, text, nullptr, nullptr, nullptr );
}

sqlite3_stmt *Connection::statement( Query query )
{
    auto index = static_cast<size_t>( query );
    if( !statements_[index] )
        sqlite3_prepare_v3( database_, texts[index], -1, SQLITE_PREPARE_PERSISTENT, &statements_[index], nullptr );
    return statements_[index];
}

int64_t Connection::integerOf( const char *text )
{
    sqlite3_stmt *statement = nullptr;
    int64_t value = -1;
    if( sqlite3_prepare_v2( database_, text, -1, &statement, nullptr ) == SQLITE_OK &&
        sqlite3_step( statement ) == SQLITE_ROW )
        value = sqlite3_column_int64( statement, 0 );
    sqlite3_finalize( statement );
    return value;
}

std::string Connection::failure()
{
    return failure( sqlite3_extended_errcode( database_ ) );
}

std::string Connection::failure( int code )
{
    std::string text = "SQLite: ";
    text += database_ && sqlite3_extended_errcode( database_ ) == code ? sqlite3_errmsg( database_ )
                                                                       : sqlite3_errstr( code );
    int system = database_ ? sqlite3_system_errno( database_ ) : 0;
    if( system != 0 && ( ( code & 0xFF ) == SQLITE_CANTOPEN || ( code & 0xFF ) == SQLITE_IOERR ) )
        text += std::string( " (" ) + std::strerror( system ) + ")";
    if( !worthKeeping( code ) )
        close();
    return text;
}

} // namespace usr_sqlite
