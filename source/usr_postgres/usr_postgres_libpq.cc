// What the connections of both kinds share.
#include "usr_postgres/usr_postgres_libpq_private.h"

#include <algorithm>
#include <array>

namespace usr_postgres
{
namespace
{

// The server's notices are for those who type statements.
void ignoreNotice( void *, const PGresult * ) {}

std::string oneLine( std::string text )
{
    while( !text.empty() && text.back() == '\n' )
        text.pop_back();
    std::replace( text.begin(), text.end(), '\n', ' ' );
    return "PostgreSQL: " + ( text.empty() ? "no reason given" : text );
}

std::string bytesAt( PGresult *result, int row, int column )
{
    return std::string( PQgetvalue( result, row, column ), static_cast<size_t>( PQgetlength( result, row, column ) ) );
}

} // namespace

bool connectionStringOk( const std::string &text )
{
    PQconninfoOption *options = PQconninfoParse( text.c_str(), nullptr );
    PQconninfoFree( options );
    return options != nullptr;
}

ConnectionPtr beginConnecting( const Settings &settings )
{
    // What stands behind the connection string takes precedence over it, and a fallback is used without a value there.
    constexpr std::array names = { "dbname", "client_encoding", "fallback_application_name",
                                   static_cast<const char *>( nullptr ) };
    std::array values = { settings.connection.c_str(), "UTF8", "sipauth", static_cast<const char *>( nullptr ) };
    static_assert( names.size() == values.size() );
    ConnectionPtr connection( PQconnectStartParams( names.data(), values.data(), 1 ) );
    if( connection )
        PQsetNoticeReceiver( connection.get(), ignoreNotice, nullptr );
    return connection;
}

std::string failureOf( PGconn *connection )
{
    return oneLine( connection ? PQerrorMessage( connection ) : "out of memory" );
}

std::string failureOf( PGresult *result, PGconn *connection )
{
    const char *primary = PQresultErrorField( result, PG_DIAG_MESSAGE_PRIMARY );
    return primary ? oneLine( primary ) + " (" + stateOf( result ) + ")" : failureOf( connection );
}

std::string stateOf( PGresult *result )
{
    const char *state = PQresultErrorField( result, PG_DIAG_SQLSTATE );
    return state ? state : "";
}

bool connectionLost( PGresult *result, PGconn *connection )
{
    // Classes of SQLSTATE: 08 connection, 53 out of resources, 57 operator intervention such as a shut-down.
    constexpr std::array classes = { "08", "53", "57" };
    std::string state = stateOf( result );
    return PQstatus( connection ) != CONNECTION_OK || state.empty() ||
           std::find( classes.begin(), classes.end(), state.substr( 0, 2 ) ) != classes.end();
}

int64_t integerAt( PGresult *result, int row, int column )
{
    uint64_t value = 0;
    for( char byte : bytesAt( result, row, column ) )
        value = value << 8 | static_cast<uint8_t>( byte );
    return static_cast<int64_t>( value );
}

std::vector<usr_seal::Row> rowsOf( PGresult *result )
{
    std::vector<usr_seal::Row> rows;
    for( int index = 0; index < PQntuples( result ); index++ )
    {
        usr_seal::Row row;
        row.id = bytesAt( result, index, 0 );
        row.name = bytesAt( result, index, 1 );
        if( !PQgetisnull( result, index, 2 ) )
            row.realm = bytesAt( result, index, 2 );
        row.enabled = integerAt( result, index, 3 ) != 0;
        row.key = integerAt( result, index, 4 );
        row.sealed = bytesAt( result, index, 5 );
        rows.push_back( std::move( row ) );
    }
    return rows;
}

} // namespace usr_postgres
