// One connection to the database file, and the statements that it keeps prepared. Used by one thread at a time.
#ifndef USR_SQLITE_USR_SQLITE_CONNECTION_PRIVATE_H
#define USR_SQLITE_USR_SQLITE_CONNECTION_PRIVATE_H

#include "usr_seal/usr_seal_row.h"

#include <array>
#include <atomic>
#include <chrono>
#include <string>

#include <sqlite3.h>

namespace usr_sqlite
{

/// What a directory's configuration says.
struct Settings
{
    std::string path;
    std::string keyFile;
    int64_t readers;
    int64_t busyTimeout; ///< milliseconds
};

/// The statements, in the order of their texts in the file of this type.
enum class Query
{
    findByName,
    findById,
    list,
    anySealed,
    insert,
    updatePassword,
    updateEnabled,
    remove,
    begin, ///< a transaction that reads
    commit,
    count
};

/// How long a connection waits for a lock that another one holds.
struct Patience
{
    std::chrono::milliseconds limit{};
    std::chrono::steady_clock::time_point start{};
    const std::atomic<bool> *stop = nullptr; ///< the directory is being closed; null: it cannot be
    usr___Request *request = nullptr;        ///< what the wait is for; null: an administrative change
};

enum class Role
{
    reader,
    writer
};

/// See the head of the file.
class Connection
{
public:
    Connection( const Settings &settings, Role role );
    ~Connection() { close(); }
    Connection( const Connection & ) = delete;
    Connection &operator=( const Connection & ) = delete;

    Patience &patience() { return patience_; }
    /// Opens the database unless it is open and still the file under its path. False with REASON when it cannot be
    /// used. A writer sets up the tables of an empty database.
    bool ready( std::string &reason );
    /// 1 when the file under the path is no longer the one that is open.
    bool moved() const;
    void close();

    /// A prepared statement, to be used through Run; null with the failure noted.
    sqlite3_stmt *statement( Query query );
    /// Runs a text of statements without results.
    int execute( const char *text );
    /// The integer that a statement gives, or -1.
    int64_t integerOf( const char *text );
    /// The text of what failed last. After a failure that a fresh connection might heal, closes the connection.
    std::string failure();
    /// The same for a failure whose code is known.
    std::string failure( int code );

    sqlite3 *handle() const { return database_; }

private:
    bool open( std::string &reason );
    int setUp();
    int useLog();

    const Settings &settings_;
    Role role_;
    Patience patience_;
    sqlite3 *database_ = nullptr;
    std::array<sqlite3_stmt *, static_cast<size_t>( Query::count )> statements_{};
};

/// One run of a prepared statement: parameters are bound in the order of the calls, and the statement is free for the
/// next run when this goes. Texts that are bound must outlive it.
class Run
{
public:
    Run( Connection &connection, Query query ) : statement_( connection.statement( query ) ) {}
    ~Run()
    {
        if( !statement_ )
            return;
        sqlite3_reset( statement_ );
        sqlite3_clear_bindings( statement_ );
    }
    Run( const Run & ) = delete;
    Run &operator=( const Run & ) = delete;

    Run &text( const std::string &value )
    {
        check( sqlite3_bind_text64( statement_, ++bound_, value.data(), value.size(), SQLITE_STATIC, SQLITE_UTF8 ) );
        return *this;
    }
    Run &text( const std::optional<std::string> &value ) { return value ? text( *value ) : null(); }
    Run &blob( const std::string &value )
    {
        check( sqlite3_bind_blob64( statement_, ++bound_, value.data(), value.size(), SQLITE_STATIC ) );
        return *this;
    }
    Run &integer( int64_t value )
    {
        check( sqlite3_bind_int64( statement_, ++bound_, value ) );
        return *this;
    }
    Run &null()
    {
        check( sqlite3_bind_null( statement_, ++bound_ ) );
        return *this;
    }

    /// SQLITE_ROW, SQLITE_DONE or what failed.
    int step() { return statement_ && bindings_ == SQLITE_OK ? sqlite3_step( statement_ ) : SQLITE_MISUSE; }

    std::string textAt( int column ) const
    {
        const void *bytes = sqlite3_column_blob( statement_, column );
        auto length = static_cast<size_t>( sqlite3_column_bytes( statement_, column ) );
        return bytes ? std::string( static_cast<const char *>( bytes ), length ) : std::string();
    }
    int64_t integerAt( int column ) const { return sqlite3_column_int64( statement_, column ); }
    bool nullAt( int column ) const { return sqlite3_column_type( statement_, column ) == SQLITE_NULL; }

private:
    void check( int code ) { bindings_ = bindings_ == SQLITE_OK ? code : bindings_; }

    sqlite3_stmt *statement_;
    int bound_ = 0;
    int bindings_ = SQLITE_OK;
};

} // namespace usr_sqlite

#endif
