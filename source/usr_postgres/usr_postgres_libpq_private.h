// What the connections of both kinds share: owners of libpq's things, parameters, rows and the texts of failures.
#ifndef USR_POSTGRES_USR_POSTGRES_LIBPQ_PRIVATE_H
#define USR_POSTGRES_USR_POSTGRES_LIBPQ_PRIVATE_H

#include "usr_seal/usr_seal_row.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <libpq-fe.h>

namespace usr_postgres
{

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

/// What a directory's configuration says.
struct Settings
{
    std::string connection;
    std::string keyFile;
    int64_t pool = 0;
    Milliseconds serverTimeout{};
};

struct FinishConnection
{
    void operator()( PGconn *connection ) const { PQfinish( connection ); }
};
using ConnectionPtr = std::unique_ptr<PGconn, FinishConnection>;

struct ClearResult
{
    void operator()( PGresult *result ) const { PQclear( result ); }
};
using ResultPtr = std::unique_ptr<PGresult, ClearResult>;

/// SQLSTATE codes that the driver tells apart.
inline constexpr char uniqueViolation[] = "23505";
inline constexpr char undefinedTable[] = "42P01";

/// The parameters of a statement, in the order of the calls; what they hold must outlive them.
class Parameters
{
public:
    Parameters &text( const std::string &value ) { return add( value.c_str(), 0, 0 ); }
    Parameters &text( const std::optional<std::string> &value ) { return value ? text( *value ) : null(); }
    Parameters &blob( const std::string &value ) { return add( value.data(), static_cast<int>( value.size() ), 1 ); }
    Parameters &null() { return add( nullptr, 0, 0 ); }

    int count() const { return static_cast<int>( values_.size() ); }
    const char *const *values() const { return values_.data(); }
    const int *lengths() const { return lengths_.data(); }
    const int *formats() const { return formats_.data(); }

private:
    Parameters &add( const char *value, int length, int format )
    {
        values_.push_back( value );
        lengths_.push_back( length );
        formats_.push_back( format );
        return *this;
    }

    std::vector<const char *> values_;
    std::vector<int> lengths_;
    std::vector<int> formats_; ///< 0 text, 1 binary
};

/// Whether a text is a connection string.
bool connectionStringOk( const std::string &text );
/// Begins to connect, without waiting; null only when there is no memory.
ConnectionPtr beginConnecting( const Settings &settings );
/// What failed last on a connection, which may be null, without line breaks.
std::string failureOf( PGconn *connection );
/// The same of a result; of the connection when the result is null.
std::string failureOf( PGresult *result, PGconn *connection );
/// The code of a failed result, empty when the server sent none.
std::string stateOf( PGresult *result );
/// Whether a failed result tells that the server or the connection is gone, and not that the statement failed.
bool connectionLost( PGresult *result, PGconn *connection );
/// The rows of a result, all of whose columns are binary and in the order of the columns of the table.
std::vector<usr_seal::Row> rowsOf( PGresult *result );
/// The 64-bit integer in a binary column.
int64_t integerAt( PGresult *result, int row, int column );

} // namespace usr_postgres

#endif
