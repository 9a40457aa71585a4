// Users as databases keep them.
#include "usr_seal/usr_seal_row.h"

#include "usr_seal/usr_seal_keys.h"

namespace usr_seal
{
namespace
{

// The row that answers a question, or null with the reason.
const Row *choose( const Question &question, const std::vector<Row> &rows, const char *&why )
{
    why = usr___notFound;
    if( rows.empty() )
        return nullptr;
    bool one = question.byId || question.realm || rows.size() == 1 || !rows.front().realm;
    if( !one )
        why = usr___ambiguous;
    return one ? &rows.front() : nullptr;
}

pb::Ref<pbStore> credentials( const Row &row, const Secret &password )
{
    auto text = pb::own( pbStringCreateFromUtf8( password.data(), static_cast<int64_t>( password.length() ) ) );
    return pb::own( usr___CredentialsStore( string( row.name ), text ) );
}

} // namespace

std::string utf8( pbString *string )
{
    int64_t length = 0;
    uint8_t *bytes = pbStringConvertToUtf8( string, &length );
    std::string text( reinterpret_cast<const char *>( bytes ), static_cast<size_t>( length ) );
    pbMemFree( bytes );
    return text;
}

std::optional<std::string> optionalUtf8( pbString *string )
{
    return string ? std::optional( utf8( string ) ) : std::nullopt;
}

pb::Ref<pbString> string( const std::string &text )
{
    return pb::own( pbStringCreateFromUtf8( reinterpret_cast<const uint8_t *>( text.data() ),
                                            static_cast<int64_t>( text.size() ) ) );
}

void answer( usr___Request *request, const Question &question, const std::vector<Row> &rows, Keys &keys )
{
    const char *why = nullptr;
    const Row *row = choose( question, rows, why );
    if( !row )
        return usr___RequestEndWithout( request, why );
    if( !row->enabled )
        return usr___RequestEndWithout( request, usr___disabled );
    if( row->sealed.empty() )
        return usr___RequestEndWithout( request, usr___noPassword );
    Secret password;
    std::string reason;
    if( !keys.open( *row, password, reason ) )
        return usr___RequestEndWithout( request, reason.c_str() );
    if( password.length() == 0 )
        return usr___RequestEndWithout( request, usr___noPassword );
    usr___RequestEnd( request, string( row->id ), credentials( *row, password ) );
}

pb::Ref<pbStore> listed( const Row &row )
{
    auto user = pb::own( pbStoreCreate() );
    pbStoreSetValueCstr( user.inout(), "userId", -1, string( row.id ) );
    pbStoreSetValueCstr( user.inout(), "userName", -1, string( row.name ) );
    if( row.realm )
        pbStoreSetValueCstr( user.inout(), "realm", -1, string( *row.realm ) );
    pbStoreSetValueBoolCstr( user.inout(), "enabled", -1, row.enabled );
    return user;
}

int64_t failed( pbString **reason, const std::string &text )
{
    if( reason )
        *reason = string( text ).give();
    return USR_RESULT_FAILED;
}

} // namespace usr_seal
