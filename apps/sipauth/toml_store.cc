// Stores in TOML files: what the format of configurations reads and writes, in the terms of this tool.
#include "toml_store.h"

#include <cs_toml/cs_toml.h>
#include <nlohmann/json.hpp>

namespace tool
{

namespace
{

struct Reading
{
    TomlStore result;
    const std::string &file;

    static void key( void *reading, const char *key, int64_t line )
    {
        static_cast<Reading *>( reading )->result.lines[key] = line;
    }
    static void finding( void *reading, int64_t line, int64_t column, const char *what )
    {
        auto *self = static_cast<Reading *>( reading );
        self->result.findings.push_back( { self->file, line, column, what } );
    }
};

pbString *remarkOf( void *remark, const char *key )
{
    std::string said = ( *static_cast<const TomlRemark *>( remark ) )( key );
    return said.empty() ? nullptr : pb::string( said ).give();
}

} // namespace

TomlStore readToml( const std::string &text, const std::string &file )
{
    Reading reading = { {}, file };
    auto store = pb::own( csTomlTryDecodeStore( pb::buffer( text ), Reading::key, Reading::finding, &reading ) );
    if( !store )
        throw UsageError( describe( reading.result.findings.at( 0 ) ) );
    reading.result.store = store;
    return reading.result;
}

std::string writeToml( pbStore *store, TomlRemark remark )
{
    return pb::bytes( pb::own( csTomlEncodeStore( store, remark ? remarkOf : nullptr, &remark ) ) );
}

Json toJson( pbStore *store )
{
    Json object = Json::object();
    for( int64_t index = 0; index < pbStoreLength( store ); index++ )
    {
        auto key = pb::own( pbStoreKeyAt( store, index ) );
        int64_t integer = 0;
        pbBool boolean = 0;
        Json &value = object[pb::text( key )];
        if( auto nested = pb::own( pbStoreStore( store, key ) ) )
            value = toJson( nested );
        else if( pbStoreValueInt( store, key, &integer ) )
            value = integer;
        else if( pbStoreValueBool( store, key, &boolean ) )
            value = boolean != 0;
        else
            value = pb::textOf( pbStoreValue( store, key ) );
    }
    return object;
}

} // namespace tool
