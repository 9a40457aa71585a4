// Stores in TOML files.
#include "toml_store.h"

#include <fmt/format.h>
#include <toml++/toml.h>

#include <sstream>

namespace tool
{

namespace
{

class Reader
{
public:
    explicit Reader( TomlStore &result, const std::string &file ) : result_( result ), file_( file ) {}

    pb::Ref<pbStore> read( const toml::table &table, const std::string &prefix )
    {
        auto store = pb::own( pbStoreCreate() );
        for( const auto &[name, node] : table )
        {
            std::string key = prefix + std::string( name.str() );
            result_.lines[key] = static_cast<int64_t>( name.source().begin.line );
            set( store, std::string( name.str() ), key, node );
        }
        return store;
    }

private:
    void set( pb::Ref<pbStore> &store, const std::string &name, const std::string &key, const toml::node &node )
    {
        auto nameString = pb::string( name );
        if( const auto *text = node.as_string() )
            pbStoreSetValue( store.inout(), nameString, pb::string( text->get() ) );
        else if( const auto *integer = node.as_integer() )
            pbStoreSetValueInt( store.inout(), nameString, integer->get() );
        else if( const auto *boolean = node.as_boolean() )
            pbStoreSetValueBool( store.inout(), nameString, boolean->get() );
        else if( const auto *table = node.as_table() )
            pbStoreSetStore( store.inout(), nameString, read( *table, key + "." ) );
        else
            result_.findings.push_back( { file_, static_cast<int64_t>( node.source().begin.line ),
                                          static_cast<int64_t>( node.source().begin.column ),
                                          fmt::format( "'{}' is neither text, integer, boolean nor table", key ) } );
    }

    TomlStore &result_;
    const std::string &file_;
};

std::string quoted( const std::string &text )
{
    std::ostringstream out;
    out << toml::value<std::string>( text );
    return out.str();
}

std::string valueText( pbStore *store, pbString *key )
{
    int64_t integer = 0;
    pbBool boolean = 0;
    if( pbStoreValueInt( store, key, &integer ) )
        return fmt::format( "{}", integer );
    if( pbStoreValueBool( store, key, &boolean ) )
        return boolean ? "true" : "false";
    return quoted( pb::textOf( pbStoreValue( store, key ) ) );
}

void write( std::string &out, pbStore *store, const std::string &prefix, const TomlComment &comment )
{
    for( int64_t index = 0; index < pbStoreLength( store ); index++ )
    {
        auto key = pb::own( pbStoreKeyAt( store, index ) );
        if( pbStoreValueType( store, key ) == PB_STORE_TYPE_STORE )
            continue;
        std::string said = comment ? comment( prefix + pb::text( key ) ) : "";
        out +=
            fmt::format( "{} = {}{}{}\n", pb::text( key ), valueText( store, key ), said.empty() ? "" : "  # ", said );
    }
    for( int64_t index = 0; index < pbStoreLength( store ); index++ )
    {
        auto key = pb::own( pbStoreKeyAt( store, index ) );
        auto nested = pb::own( pbStoreStore( store, key ) );
        if( !nested )
            continue;
        std::string name = prefix + pb::text( key );
        std::string said = comment ? comment( name ) : "";
        out += fmt::format( "\n[{}]{}{}\n", name, said.empty() ? "" : "  # ", said );
        write( out, nested, name + ".", comment );
    }
}

} // namespace

TomlStore readToml( const std::string &text, const std::string &file )
{
    try
    {
        toml::table table = toml::parse( text, file );
        TomlStore result;
        result.store = Reader( result, file ).read( table, "" );
        return result;
    }
    catch( const toml::parse_error &error )
    {
        throw UsageError(
            describe( { file, static_cast<int64_t>( error.source().begin.line ),
                        static_cast<int64_t>( error.source().begin.column ), std::string( error.description() ) } ) );
    }
}

std::string writeToml( pbStore *store, const TomlComment &comment )
{
    std::string out;
    write( out, store, "", comment );
    return out;
}

} // namespace tool
