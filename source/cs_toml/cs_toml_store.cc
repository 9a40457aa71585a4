// Stores as TOML text.
#include "cs_toml/cs_toml_text_private.h"
#include "cs_toml/cs_toml_write_private.h"
#include "pb/pb_assert.h"

#include <cs_toml/cs_toml.h>
#include <pb/pb_std.hh>

namespace
{

class Writer
{
public:
    Writer( csTomlRemarkFunc remark, void *context ) : remark_( remark ), context_( context ) {}

    void write( pbStore *store, const std::string &path, const std::string &head )
    {
        for( int64_t index = 0; index < pbStoreLength( store ); index++ )
        {
            auto key = pb::own( pbStoreKeyAt( store, index ) );
            std::string name = pb::text( key );
            if( pbStoreValueType( store, key ) != PB_STORE_TYPE_STORE )
                text +=
                    cs_toml::key( name ) + " = " + cs_toml::valueText( store, key ) + remarkOf( path + name ) + "\n";
        }
        for( int64_t index = 0; index < pbStoreLength( store ); index++ )
        {
            auto key = pb::own( pbStoreKeyAt( store, index ) );
            if( auto nested = pb::own( pbStoreStore( store, key ) ) )
                writeTable( nested, path + pb::text( key ), head + cs_toml::key( pb::text( key ) ) );
        }
    }

    std::string text;

private:
    void writeTable( pbStore *store, const std::string &path, const std::string &head )
    {
        std::string remark = remarkOf( path );
        if( !holdsOnlyTables( store ) || !remark.empty() )
            text += ( text.empty() ? "[" : "\n[" ) + head + "]" + remark + "\n";
        write( store, path + ".", head + "." );
    }

    // The heads of the tables within say enough.
    static bool holdsOnlyTables( pbStore *store )
    {
        int64_t length = pbStoreLength( store );
        for( int64_t index = 0; index < length; index++ )
            if( pbStoreValueType( store, pb::own( pbStoreKeyAt( store, index ) ) ) != PB_STORE_TYPE_STORE )
                return false;
        return length > 0;
    }

    std::string remarkOf( const std::string &path )
    {
        auto remark = pb::own( remark_ ? remark_( context_, path.c_str() ) : nullptr );
        return remark ? "  # " + pb::text( remark ) : "";
    }

    csTomlRemarkFunc remark_;
    void *context_;
};

} // namespace

std::string cs_toml::valueText( pbStore *store, pbString *key )
{
    int64_t integer = 0;
    pbBool boolean = 0;
    if( pbStoreValueInt( store, key, &integer ) )
        return std::to_string( integer );
    if( pbStoreValueBool( store, key, &boolean ) )
        return boolean ? "true" : "false";
    return quoted( pb::textOf( pbStoreValue( store, key ) ) );
}

pbStore *csTomlTryDecodeStore( pbBuffer *text, csTomlKeyFunc key, csTomlFindingFunc finding, void *context )
{
    PB_ASSERT( text );
    PB_ASSERT( finding );
    cs_toml::Text parsed = cs_toml::parse( pb::bytes( text ) );
    for( const cs_toml::Finding &found : parsed.findings )
        finding( context, found.place.line, found.place.column, found.what.c_str() );
    if( key )
        for( const cs_toml::Item &item : parsed.items )
            key( context, cs_toml::joined( item.path ).c_str(), item.key.line );
    return parsed.store.give();
}

pbBuffer *csTomlEncodeStore( pbStore *store, csTomlRemarkFunc remark, void *context )
{
    PB_ASSERT( store );
    Writer writer( remark, context );
    writer.write( store, "", "" );
    return pb::buffer( writer.text ).give();
}
