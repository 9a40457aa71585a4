// The SQLite file of the registrar's bindings.
#include "sipauthd/bindings_file.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sipauthd
{
namespace
{

// Each step takes the tables from one version to the next, the first one from nothing.
constexpr std::array steps = {
    "CREATE TABLE bindings("
    "  id INTEGER PRIMARY KEY,"
    "  aor TEXT NOT NULL,"
    "  contact TEXT NOT NULL,"
    "  parameters TEXT NOT NULL,"
    "  expires INTEGER NOT NULL," // milliseconds since 1970
    "  call_id TEXT NOT NULL,"
    "  cseq INTEGER NOT NULL,"
    "  path TEXT NOT NULL,"
    "  identity TEXT NOT NULL,"
    "  transport INTEGER NOT NULL," // 0 UDP, 1 TCP, 2 TLS
    "  address BLOB NOT NULL,"      // an IPv6 address, or an IPv4 address as one
    "  port INTEGER NOT NULL,"
    "  tls_name TEXT NOT NULL,"
    "  q INTEGER NOT NULL ) STRICT;" // thousandths
    "PRAGMA user_version = 1",
};
constexpr int64_t currentVersion = steps.size();

// One process has the file for itself: it keeps the bindings in memory. So the index of the log needs no shared memory.
// The log may grow to 8,000 pages: a page that changes often in this time is written to the database once.
constexpr const char *settings = "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = WAL;"
                                 "PRAGMA wal_autocheckpoint = 8000; PRAGMA cache_size = -16384";

constexpr const char *columns = "id, aor, contact, parameters, expires, call_id, cseq, path, identity, transport,"
                                " address, port, tls_name, q";

void bindText( sqlite3_stmt *statement, int index, const std::string &text )
{
    sqlite3_bind_text64( statement, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8 );
}

std::string textAt( sqlite3_stmt *statement, int column )
{
    auto text = reinterpret_cast<const char *>( sqlite3_column_text( statement, column ) );
    return text ? std::string( text, static_cast<size_t>( sqlite3_column_bytes( statement, column ) ) ) : std::string();
}

// The binding of a row; false when no binding can have such values.
bool readRow( sqlite3_stmt *row, StoredBinding &stored )
{
    stored.id = sqlite3_column_int64( row, 0 );
    Binding &binding = stored.binding;
    binding.contact = textAt( row, 2 );
    binding.parameters = textAt( row, 3 );
    binding.expires = sqlite3_column_int64( row, 4 );
    binding.callId = textAt( row, 5 );
    binding.cseq = static_cast<uint32_t>( sqlite3_column_int64( row, 6 ) );
    binding.path = textAt( row, 7 );
    binding.identity = textAt( row, 8 );
    int64_t transport = sqlite3_column_int64( row, 9 );
    engine::Address &remote = binding.target.remote;
    if( transport < 0 || transport > 2 || sqlite3_column_bytes( row, 10 ) != static_cast<int>( remote.bytes.size() ) )
        return false;
    binding.target.transport = static_cast<engine::Transport>( transport );
    std::memcpy( remote.bytes.data(), sqlite3_column_blob( row, 10 ), remote.bytes.size() );
    remote.port = static_cast<uint16_t>( sqlite3_column_int64( row, 11 ) );
    binding.target.tlsName = textAt( row, 12 );
    binding.q = static_cast<int>( sqlite3_column_int64( row, 13 ) );
    return true;
}

// SQLite would make the file with the permissions of the process's mask; it gives the log those of the database.
bool makeFile( const std::string &path, std::string *why )
{
    int file = ::open( path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR );
    if( file < 0 )
    {
        *why = path + ": " + std::strerror( errno );
        return false;
    }
    ::close( file );
    return true;
}

} // namespace

std::unique_ptr<BindingsFile> BindingsFile::open( const std::string &path, bool fsync, std::string *why )
{
    if( !makeFile( path, why ) )
        return nullptr;
    std::unique_ptr<BindingsFile> file( new BindingsFile );
    if( file->connect( path ) && file->setUp( fsync, why ) && file->prepare() )
        return file;
    if( why->empty() )
        *why = file->failure();
    why->insert( 0, path + ": " );
    return nullptr;
}

BindingsFile::~BindingsFile()
{
    for( sqlite3_stmt *statement : { put_, touch_, remove_, begin_, commit_ } )
        sqlite3_finalize( statement );
    sqlite3_close( database_ );
}

bool BindingsFile::connect( const std::string &path )
{
    int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
    if( sqlite3_open_v2( path.c_str(), &database_, flags, nullptr ) != SQLITE_OK )
        return false;
    sqlite3_extended_result_codes( database_, 1 );
    sqlite3_busy_timeout( database_, 1000 );
    sqlite3_db_config( database_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr );
    sqlite3_db_config( database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr );
    return true;
}

bool BindingsFile::execute( const char *text )
{
    return sqlite3_exec( database_, text, nullptr, nullptr, nullptr ) == SQLITE_OK;
}

// The version of the tables, -1 when it cannot be read.
int64_t BindingsFile::version()
{
    sqlite3_stmt *statement = nullptr;
    int64_t version = -1;
    if( sqlite3_prepare_v2( database_, "PRAGMA user_version", -1, &statement, nullptr ) == SQLITE_OK &&
        sqlite3_step( statement ) == SQLITE_ROW )
        version = sqlite3_column_int64( statement, 0 );
    sqlite3_finalize( statement );
    return version;
}

bool BindingsFile::setUp( bool fsync, std::string *why )
{
    if( !execute( settings ) || !execute( fsync ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL" ) ||
        !execute( "BEGIN IMMEDIATE" ) )
        return false;
    int64_t version = this->version();
    if( version > currentVersion )
        *why = "has tables of version " + std::to_string( version ) + ", newer than " +
               std::to_string( currentVersion ) + ", which this program knows";
    bool good = version >= 0 && version <= currentVersion;
    for( ; good && version < currentVersion; version++ )
        good = execute( steps[static_cast<size_t>( version )] );
    return good && execute( "COMMIT" );
}

bool BindingsFile::prepare()
{
    std::string put = std::string( "REPLACE INTO bindings( " ) + columns +
                      " ) VALUES( ?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14 )";
    struct Text
    {
        const char *text;
        sqlite3_stmt **statement;
    };
    const Text texts[] = { { put.c_str(), &put_ },
                           { "UPDATE bindings SET expires = ?2, cseq = ?3 WHERE id = ?1", &touch_ },
                           { "DELETE FROM bindings WHERE id = ?1", &remove_ },
                           { "BEGIN IMMEDIATE", &begin_ },
                           { "COMMIT", &commit_ } };
    auto prepared = [this]( const Text &item )
    {
        return sqlite3_prepare_v3( database_, item.text, -1, SQLITE_PREPARE_PERSISTENT, item.statement, nullptr ) ==
               SQLITE_OK;
    };
    return std::all_of( std::begin( texts ), std::end( texts ), prepared );
}

bool BindingsFile::load( int64_t now,
                         const std::function<void( std::string addressOfRecord, StoredBinding stored )> &take,
                         std::string *why )
{
    std::string text = "DELETE FROM bindings WHERE expires <= " + std::to_string( now );
    bool good = execute( text.c_str() );
    sqlite3_stmt *rows = nullptr;
    text = std::string( "SELECT " ) + columns + " FROM bindings ORDER BY id";
    good = good && sqlite3_prepare_v2( database_, text.c_str(), -1, &rows, nullptr ) == SQLITE_OK;
    int code = good ? sqlite3_step( rows ) : SQLITE_ERROR;
    for( ; code == SQLITE_ROW; code = sqlite3_step( rows ) )
    {
        StoredBinding stored;
        if( !readRow( rows, stored ) )
        {
            *why = "binding " + std::to_string( stored.id ) + " is damaged";
            break;
        }
        take( textAt( rows, 1 ), std::move( stored ) );
    }
    if( code != SQLITE_DONE && why->empty() )
        *why = failure();
    sqlite3_finalize( rows );
    return code == SQLITE_DONE;
}

bool BindingsFile::run( sqlite3_stmt *statement )
{
    bool done = sqlite3_step( statement ) == SQLITE_DONE;
    // What it returns is the failure of the step once more.
    static_cast<void>( sqlite3_reset( statement ) );
    return done;
}

bool BindingsFile::begin()
{
    // A file that was deleted or replaced would take changes that nobody finds again.
    int moved = 0;
    moved_ = sqlite3_file_control( database_, "main", SQLITE_FCNTL_HAS_MOVED, &moved ) == SQLITE_OK && moved;
    return !moved_ && run( begin_ );
}

bool BindingsFile::put( const std::string &addressOfRecord, int64_t id, const Binding &binding )
{
    const engine::Target &target = binding.target;
    sqlite3_bind_int64( put_, 1, id );
    bindText( put_, 2, addressOfRecord );
    bindText( put_, 3, binding.contact );
    bindText( put_, 4, binding.parameters );
    sqlite3_bind_int64( put_, 5, binding.expires );
    bindText( put_, 6, binding.callId );
    sqlite3_bind_int64( put_, 7, binding.cseq );
    bindText( put_, 8, binding.path );
    bindText( put_, 9, binding.identity );
    sqlite3_bind_int64( put_, 10, static_cast<int64_t>( target.transport ) );
    sqlite3_bind_blob( put_, 11, target.remote.bytes.data(), static_cast<int>( target.remote.bytes.size() ),
                       SQLITE_STATIC );
    sqlite3_bind_int64( put_, 12, target.remote.port );
    bindText( put_, 13, target.tlsName );
    sqlite3_bind_int64( put_, 14, binding.q );
    return run( put_ );
}

bool BindingsFile::change( const std::string &addressOfRecord, const RowChange &change )
{
    if( change.kind == RowChange::Kind::Put )
        return put( addressOfRecord, change.id, *change.binding );
    sqlite3_stmt *statement = change.kind == RowChange::Kind::Touch ? touch_ : remove_;
    sqlite3_bind_int64( statement, 1, change.id );
    if( statement == touch_ )
    {
        sqlite3_bind_int64( touch_, 2, change.expires );
        sqlite3_bind_int64( touch_, 3, change.cseq );
    }
    return run( statement );
}

bool BindingsFile::commit()
{
    return run( commit_ );
}

void BindingsFile::rollback()
{
    // After some failures there is no transaction any more: then there is nothing to do.
    if( !sqlite3_get_autocommit( database_ ) )
        execute( "ROLLBACK" );
}

std::string BindingsFile::failure() const
{
    if( moved_ )
        return "the file was deleted or replaced";
    int code = sqlite3_extended_errcode( database_ );
    if( ( code & 0xFF ) == SQLITE_BUSY )
        return "another process uses the file";
    std::string text = sqlite3_errmsg( database_ );
    if( int error = sqlite3_system_errno( database_ ); error && ( code & 0xFF ) != SQLITE_NOTADB )
        text += std::string( " (" ) + std::strerror( error ) + ")";
    return text;
}

} // namespace sipauthd
