// The table of users.
#include "usr_sqlite/usr_sqlite_users_private.h"

namespace usr_sqlite
{
namespace
{

using usr_seal::Row;

bool collect( Run &run, std::vector<Row> &rows )
{
    int code = run.step();
    for( ; code == SQLITE_ROW; code = run.step() )
    {
        Row row;
        row.id = run.textAt( 0 );
        row.name = run.textAt( 1 );
        if( !run.nullAt( 2 ) )
            row.realm = run.textAt( 2 );
        row.enabled = run.integerAt( 3 ) != 0;
        row.key = run.integerAt( 4 );
        row.sealed = run.textAt( 5 );
        rows.push_back( std::move( row ) );
    }
    return code == SQLITE_DONE;
}

// A password's blob; a user without one has no value there.
Run &password( Run &run, const Row &row )
{
    return row.sealed.empty() ? run.null() : run.blob( row.sealed );
}

} // namespace

bool find( Connection &connection, const usr_seal::Question &question, std::vector<Row> &rows )
{
    Run run( connection, question.byId ? Query::findById : Query::findByName );
    run.text( question.text );
    if( !question.byId )
        run.text( question.realm );
    return collect( run, rows );
}

bool list( Connection &connection, std::vector<Row> &rows )
{
    Run run( connection, Query::list );
    return collect( run, rows );
}

int anySealed( Connection &connection )
{
    Run run( connection, Query::anySealed );
    int code = run.step();
    return code == SQLITE_ROW ? 1 : code == SQLITE_DONE ? 0 : -1;
}

int insert( Connection &connection, const Row &row )
{
    Run run( connection, Query::insert );
    run.text( row.id ).text( row.name ).text( row.realm ).integer( row.key );
    return password( run, row ).step();
}

int updatePassword( Connection &connection, const Row &row )
{
    Run run( connection, Query::updatePassword );
    run.text( row.id ).integer( row.key );
    return password( run, row ).step();
}

int updateEnabled( Connection &connection, const std::string &id, bool enabled )
{
    Run run( connection, Query::updateEnabled );
    return run.text( id ).integer( enabled ).step();
}

int remove( Connection &connection, const std::string &id )
{
    Run run( connection, Query::remove );
    return run.text( id ).step();
}

} // namespace usr_sqlite
