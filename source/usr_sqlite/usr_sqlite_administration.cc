// Changes of the table of users. Each one is a transaction, which has reached stable storage when the call returns.
#include "usr_sqlite/usr_sqlite_administration_private.h"

#include "usr_sqlite/usr_sqlite_users_private.h"

#include <pb/pb_vector.h>

namespace usr_sqlite
{

bool Administration::open( std::string &reason )
{
    std::lock_guard lock( mutex_ );
    return connection_.ready( reason );
}

void Administration::close()
{
    std::lock_guard lock( mutex_ );
    connection_.close();
}

int64_t Administration::failed( pbString **reason )
{
    return usr_seal::failed( reason, connection_.failure() );
}

// What a change of one row came to.
int64_t Administration::outcome( int code, pbString **reason )
{
    if( code != SQLITE_DONE )
        return failed( reason );
    return committed( sqlite3_changes( connection_.handle() ) > 0 ? USR_RESULT_OK : USR_RESULT_NOT_FOUND, reason );
}

// A change is made when the file that has it is the one under the path.
int64_t Administration::committed( int64_t result, pbString **reason )
{
    if( result != USR_RESULT_OK || !connection_.moved() )
        return result;
    return usr_seal::failed( reason, "the database was replaced or deleted in the middle of the change" );
}

// Seals a password into a row; null is no password.
bool Administration::seal( usr_seal::Row &row, pbString *password, std::string &reason )
{
    if( !password )
        return true;
    int sealed = shared_.keys.fileThere() ? 0 : anySealed( connection_ );
    if( sealed < 0 )
    {
        reason = connection_.failure();
        return false;
    }
    return shared_.keys.seal( row, usr_seal::Secret::of( password ), sealed == 1, reason );
}

int64_t Administration::add( pbString *userId, pbString *userName, pbString *realm, pbString *password,
                             pbString **reason )
{
    std::lock_guard lock( mutex_ );
    usr_seal::Row row{
        usr_seal::utf8( userId ), usr_seal::utf8( userName ), usr_seal::optionalUtf8( realm ), true, 0, {} };
    std::string why;
    if( !connection_.ready( why ) || !seal( row, password, why ) )
        return usr_seal::failed( reason, why );
    int code = insert( connection_, row );
    bool exists = code == SQLITE_CONSTRAINT_PRIMARYKEY || code == SQLITE_CONSTRAINT_UNIQUE;
    return exists ? USR_RESULT_EXISTS : outcome( code, reason );
}

int64_t Administration::setPassword( pbString *userId, pbString *password, pbString **reason )
{
    std::lock_guard lock( mutex_ );
    std::string why;
    if( !connection_.ready( why ) )
        return usr_seal::failed( reason, why );
    // The password is bound to its row's name and realm, which must not change between reading and writing.
    if( connection_.execute( "BEGIN IMMEDIATE" ) != SQLITE_OK )
        return failed( reason );
    int64_t result = changePassword( userId, password, reason );
    if( result != USR_RESULT_OK )
    {
        if( connection_.handle() )
            connection_.execute( "ROLLBACK" );
        return result;
    }
    if( connection_.execute( "COMMIT" ) == SQLITE_OK )
        return committed( USR_RESULT_OK, reason );
    result = failed( reason );
    if( connection_.handle() )
        connection_.execute( "ROLLBACK" );
    return result;
}

int64_t Administration::changePassword( pbString *userId, pbString *password, pbString **reason )
{
    std::vector<usr_seal::Row> rows;
    if( !find( connection_, { true, usr_seal::utf8( userId ), {} }, rows ) )
        return failed( reason );
    if( rows.empty() )
        return USR_RESULT_NOT_FOUND;
    usr_seal::Row &row = rows.front();
    row.sealed.clear();
    std::string why;
    if( !seal( row, password, why ) )
        return usr_seal::failed( reason, why );
    return updatePassword( connection_, row ) == SQLITE_DONE ? USR_RESULT_OK : failed( reason );
}

int64_t Administration::setEnabled( pbString *userId, bool enabled, pbString **reason )
{
    std::lock_guard lock( mutex_ );
    std::string why;
    if( !connection_.ready( why ) )
        return usr_seal::failed( reason, why );
    return outcome( updateEnabled( connection_, usr_seal::utf8( userId ), enabled ), reason );
}

int64_t Administration::remove( pbString *userId, pbString **reason )
{
    std::lock_guard lock( mutex_ );
    std::string why;
    if( !connection_.ready( why ) )
        return usr_seal::failed( reason, why );
    return outcome( usr_sqlite::remove( connection_, usr_seal::utf8( userId ) ), reason );
}

int64_t Administration::list( pbVector **users, pbString **reason )
{
    std::lock_guard lock( mutex_ );
    std::string why;
    if( !connection_.ready( why ) )
        return usr_seal::failed( reason, why );
    std::vector<usr_seal::Row> rows;
    if( !usr_sqlite::list( connection_, rows ) )
        return failed( reason );
    auto vector = pb::own( pbVectorCreate() );
    for( const usr_seal::Row &row : rows )
        pbVectorAppendObj( vector.inout(), pbStoreObj( usr_seal::listed( row ) ) );
    *users = vector.give();
    return USR_RESULT_OK;
}

} // namespace usr_sqlite
