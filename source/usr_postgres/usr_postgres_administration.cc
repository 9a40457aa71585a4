// Changes of the table of users.
#include "usr_postgres/usr_postgres_administration_private.h"

#include "usr_postgres/usr_postgres_schema_private.h"

#include <pb/pb_vector.h>

namespace usr_postgres
{
namespace
{

using usr_seal::Row;
using usr_seal::utf8;

// Each of them gives a row for each user that it changed, and tells whoever listens.
constexpr char insertStatement[] = "WITH changed AS ("
                                   " INSERT INTO sipauth_users( id, name, realm, enabled, key, password )"
                                   " VALUES( $1, $2, $3, true, $4, $5 ) RETURNING 1 )"
                                   " SELECT pg_notify( 'sipauth_users', '' ) FROM changed";
constexpr char passwordStatement[] = "WITH changed AS ("
                                     " UPDATE sipauth_users SET key = $2, password = $3 WHERE id = $1 RETURNING 1 )"
                                     " SELECT pg_notify( 'sipauth_users', '' ) FROM changed";
constexpr char enabledStatement[] = "WITH changed AS ("
                                    " UPDATE sipauth_users SET enabled = $2 WHERE id = $1 RETURNING 1 )"
                                    " SELECT pg_notify( 'sipauth_users', '' ) FROM changed";
constexpr char deleteStatement[] = "WITH changed AS ("
                                   " DELETE FROM sipauth_users WHERE id = $1 RETURNING 1 )"
                                   " SELECT pg_notify( 'sipauth_users', '' ) FROM changed";
constexpr char listStatement[] = "SELECT id, name, realm, enabled, key, NULL::bytea FROM sipauth_users"
                                 " ORDER BY name COLLATE \"C\", realm COLLATE \"C\" NULLS FIRST, id COLLATE \"C\"";
constexpr char sealedStatement[] = "SELECT 1 FROM sipauth_users WHERE password IS NOT NULL LIMIT 1";
// The user's row as it stands, until the end of the transaction.
constexpr char lockStatement[] = "SELECT id, name, realm, enabled, key, password FROM sipauth_users WHERE id = $1"
                                 " FOR UPDATE";

// The server takes no text with a NUL, and libpq would end the text there: another user's.
bool storable( const std::string &text, const char *what, std::string &reason )
{
    if( text.find( '\0' ) == std::string::npos )
        return true;
    reason = std::string( what ) + ": holds the character NUL";
    return false;
}

int64_t told( int64_t result, const std::string &why, pbString **reason )
{
    return result == USR_RESULT_FAILED ? usr_seal::failed( reason, why ) : result;
}

} // namespace

void Administration::close()
{
    std::lock_guard lock( mutex_ );
    session_.close();
}

bool Administration::run( const char *statement, std::string &reason )
{
    return session_.execute( statement, {}, reason ) != nullptr;
}

bool Administration::seal( Row &row, pbString *password, std::string &reason )
{
    bool anySealed = false;
    if( !keys_.fileThere() )
    {
        ResultPtr result = session_.execute( sealedStatement, {}, reason );
        if( !result )
            return false;
        anySealed = PQntuples( result.get() ) > 0;
    }
    return keys_.seal( row, usr_seal::Secret::of( password ), anySealed, reason );
}

// Runs a statement that changes at most one row.
int64_t Administration::change( const char *statement, const Parameters &parameters, std::string &reason )
{
    std::string state;
    ResultPtr result = session_.execute( statement, parameters, reason, &state );
    if( !result )
        return state == uniqueViolation ? USR_RESULT_EXISTS : USR_RESULT_FAILED;
    return PQntuples( result.get() ) > 0 ? USR_RESULT_OK : USR_RESULT_NOT_FOUND;
}

int64_t Administration::add( pbString *userId, pbString *userName, pbString *realm, pbString *password,
                             pbString **reason )
{
    std::lock_guard lock( mutex_ );
    Row row{ utf8( userId ), utf8( userName ), usr_seal::optionalUtf8( realm ), true, 0, {} };
    std::string why;
    if( !storable( row.id, "userId", why ) || !storable( row.name, "userName", why ) ||
        !storable( row.realm.value_or( "" ), "realm", why ) || !session_.begin( why ) || !seal( row, password, why ) )
        return usr_seal::failed( reason, why );
    std::string key = std::to_string( row.key );
    Parameters parameters;
    parameters.text( row.id ).text( row.name ).text( row.realm ).text( key ).blob( row.sealed );
    return told( change( insertStatement, parameters, why ), why, reason );
}

int64_t Administration::setPassword( pbString *userId, pbString *password, pbString **reason )
{
    std::lock_guard lock( mutex_ );
    std::string id = utf8( userId );
    std::string why;
    if( !storable( id, "userId", why ) )
        return USR_RESULT_NOT_FOUND;
    // The password is bound to its row's name and realm, which must not change between reading and writing.
    if( !session_.begin( why ) || !run( "BEGIN", why ) )
        return usr_seal::failed( reason, why );
    int64_t result = changePassword( id, password, why );
    if( result == USR_RESULT_OK && !run( "COMMIT", why ) )
        result = USR_RESULT_FAILED;
    std::string ignored;
    // A connection that was lost has taken its transaction back already; begin finds out.
    if( result != USR_RESULT_OK && session_.connected() && !run( "ROLLBACK", ignored ) )
        session_.close();
    return told( result, why, reason );
}

int64_t Administration::changePassword( const std::string &id, pbString *password, std::string &reason )
{
    ResultPtr result = session_.execute( lockStatement, Parameters().text( id ), reason );
    if( !result )
        return USR_RESULT_FAILED;
    std::vector<Row> rows = rowsOf( result.get() );
    if( rows.empty() )
        return USR_RESULT_NOT_FOUND;
    Row &row = rows.front();
    if( !seal( row, password, reason ) )
        return USR_RESULT_FAILED;
    std::string key = std::to_string( row.key );
    Parameters parameters;
    parameters.text( row.id ).text( key ).blob( row.sealed );
    return change( passwordStatement, parameters, reason );
}

int64_t Administration::setEnabled( pbString *userId, bool enabled, pbString **reason )
{
    std::lock_guard lock( mutex_ );
    std::string id = utf8( userId );
    std::string why;
    if( !storable( id, "userId", why ) )
        return USR_RESULT_NOT_FOUND;
    if( !session_.begin( why ) )
        return usr_seal::failed( reason, why );
    std::string value = enabled ? "true" : "false";
    return told( change( enabledStatement, Parameters().text( id ).text( value ), why ), why, reason );
}

int64_t Administration::remove( pbString *userId, pbString **reason )
{
    std::lock_guard lock( mutex_ );
    std::string id = utf8( userId );
    std::string why;
    if( !storable( id, "userId", why ) )
        return USR_RESULT_NOT_FOUND;
    if( !session_.begin( why ) )
        return usr_seal::failed( reason, why );
    return told( change( deleteStatement, Parameters().text( id ), why ), why, reason );
}

int64_t Administration::list( pbVector **users, pbString **reason )
{
    std::lock_guard lock( mutex_ );
    std::string why;
    if( !session_.begin( why ) )
        return usr_seal::failed( reason, why );
    ResultPtr result = session_.execute( listStatement, {}, why );
    if( !result )
        return usr_seal::failed( reason, why );
    auto vector = pb::own( pbVectorCreate() );
    for( const Row &row : rowsOf( result.get() ) )
        pbVectorAppendObj( vector.inout(), pbStoreObj( usr_seal::listed( row ) ) );
    *users = vector.give();
    return USR_RESULT_OK;
}

} // namespace usr_postgres
