// Configurations as TOML text.
#include "cs_toml/cs_toml_edit_private.h"
#include "cs_toml/cs_toml_text_private.h"
#include "pb/pb_assert.h"

#include <cs_toml/cs_toml.h>
#include <pb/pb_std.hh>

#include <utility>

namespace
{

using cs_toml::Item;
using cs_toml::Path;
using cs_toml::Text;

constexpr char modulesKey[] = "modules";
constexpr char objectKey[] = "object";
constexpr char sortKey[] = "sort";
constexpr char configKey[] = "config";

// Reads a configuration out of a text. The first thing that is wrong ends it.
class Decoder
{
public:
    explicit Decoder( const Text &text ) : text_( text ) {}

    bool decode()
    {
        if( !text_.findings.empty() )
            return refuse( text_.findings[0].place, text_.findings[0].what );
        return checkKeys( text_.store, {}, { modulesKey, objectKey } ) && decodeModules() && decodeObjects();
    }

    pb::Ref<csUpdate> update = pb::own( csUpdateCreate() );
    pb::Ref<pbStore> lines = pb::own( pbStoreCreate() );
    std::string reason;

private:
    bool decodeModules()
    {
        if( !has( { modulesKey } ) )
            return true;
        auto versions = pb::own( pbStoreStoreCstr( text_.store, modulesKey, -1 ) );
        if( !versions )
            return refuse( { modulesKey }, "must be a table" );
        for( int64_t index = 0; index < pbStoreLength( versions ); index++ )
        {
            auto name = pb::own( pbStoreKeyAt( versions, index ) );
            auto version = pb::own( pbStoreValue( versions, name ) );
            if( !version || !pb::own( pbModuleVersionTryCreateFromString( version ) ) )
                return refuse( { modulesKey, pb::text( name ) }, "must be a version, for example \"3.1\"" );
        }
        csUpdateSetModuleVersions( update.inout(), versions );
        return true;
    }

    bool decodeObjects()
    {
        if( !has( { objectKey } ) )
            return true;
        auto objects = pb::own( pbStoreStoreCstr( text_.store, objectKey, -1 ) );
        if( !objects )
            return refuse( { objectKey }, "must be a table" );
        for( int64_t index = 0; index < pbStoreLength( objects ); index++ )
        {
            auto name = pb::own( pbStoreKeyAt( objects, index ) );
            Path path = { objectKey, pb::text( name ) };
            auto object = pb::own( pbStoreStore( objects, name ) );
            if( !object )
                return refuse( path, "must be a table" );
            if( !checkKeys( object, path, { sortKey, configKey } ) || !decodeObject( name, object, path ) )
                return false;
        }
        return true;
    }

    bool decodeObject( pbString *name, pbStore *object, Path path )
    {
        auto sort = pb::own( pbStoreValueCstr( object, sortKey, -1 ) );
        if( !sort )
            return refuse( path, "needs a 'sort', which is text, for example \"SIPAUTH_STACK\"" );
        auto config = pb::own( pbStoreStoreCstr( object, configKey, -1 ) );
        if( !config && pbStoreValueTypeCstr( object, configKey, -1 ) != PB_STORE_TYPE_INVALID )
        {
            path.emplace_back( configKey );
            return refuse( path, "must be a table" );
        }
        csUpdateSetObjectWithSortName( update.inout(), name, sort, config ? config : pb::own( pbStoreCreate() ) );
        pbStoreSetStore( lines.inout(), name, linesOf( path ) );
        return true;
    }

    pb::Ref<pbStore> linesOf( const Path &object )
    {
        auto found = pb::own( pbStoreCreate() );
        for( const Item &item : text_.items )
        {
            if( item.path.size() < object.size() || !std::equal( object.begin(), object.end(), item.path.begin() ) )
                continue;
            if( item.path.size() == object.size() )
                pbStoreSetValueIntCstr( found.inout(), "", 0, item.key.line );
            else if( item.path.size() > 3 )
                pbStoreSetValueInt( found.inout(),
                                    pb::string( cs_toml::joined( { item.path.begin() + 3, item.path.end() } ) ),
                                    item.key.line );
        }
        return found;
    }

    bool has( const Path &path ) { return find( text_, path ) != nullptr; }

    // A word that nobody knows is most likely a mistake in one that matters.
    bool checkKeys( pbStore *store, Path path, std::pair<const char *, const char *> known )
    {
        for( int64_t index = 0; index < pbStoreLength( store ); index++ )
        {
            std::string name = pb::textOf( pbStoreKeyAt( store, index ) );
            if( name == known.first || name == known.second )
                continue;
            path.push_back( name );
            return refuse( path, std::string( "is not known here, only '" ) + known.first + "' and '" + known.second +
                                     "' are" );
        }
        return true;
    }

    bool refuse( const Path &path, const std::string &what )
    {
        return refuse( find( text_, path )->key, "'" + cs_toml::joined( path ) + "' " + what );
    }

    bool refuse( const cs_toml::Place &place, const std::string &what )
    {
        reason = std::to_string( place.line ) + ":" + std::to_string( place.column ) + ": " + what;
        return false;
    }

    const Text &text_;
};

csUpdate *tryDecode( pbBuffer *bytes, pbStore **lines, pbString **reason )
{
    Text text = cs_toml::parse( pb::bytes( bytes ) );
    Decoder decoder( text );
    if( decoder.decode() )
    {
        std::swap( *lines, *decoder.lines.inout() );
        return decoder.update.give();
    }
    std::swap( *reason, *pb::string( decoder.reason ).inout() );
    return nullptr;
}

bool holds( const std::string &text, csUpdate *update )
{
    pb::Ref<pbStore> lines;
    pb::Ref<pbString> reason;
    auto read = pb::own( tryDecode( pb::buffer( text ), lines.inout(), reason.inout() ) );
    return read && csUpdateEquals( read, update );
}

pbBuffer *encode( csUpdate *update, pbBuffer *old )
{
    auto store = pb::own( csTomlUpdateStore( update ) );
    std::string edited = cs_toml::edit( pb::bytes( old ), store );
    // The edited text is taken only when it says what it shall say.
    return holds( edited, update ) ? pb::buffer( edited ).give() : csTomlEncodeStore( store, nullptr, nullptr );
}

} // namespace

csFormat *csTomlFormatCreate()
{
    return csFormatCreate( tryDecode, encode );
}

pbStore *csTomlUpdateStore( csUpdate *update )
{
    PB_ASSERT( update );
    auto objects = pb::own( pbStoreCreate() );
    auto names = pb::own( csUpdateAllObjects( update ) );
    for( int64_t index = 0; index < csUpdateObjectsLength( names ); index++ )
    {
        auto name = pb::own( csUpdateObjectsNameAt( names, index ) );
        auto config = pb::own( csUpdateObjectConfig( update, name ) );
        auto object = pb::own( pbStoreCreate() );
        pbStoreSetValueCstr( object.inout(), sortKey, -1, pb::own( csUpdateObjectSortName( update, name ) ) );
        if( pbStoreLength( config ) > 0 )
            pbStoreSetStoreCstr( object.inout(), configKey, -1, config );
        pbStoreSetStore( objects.inout(), name, object );
    }
    auto store = pb::own( pbStoreCreate() );
    auto versions = pb::own( csUpdateModuleVersions( update ) );
    if( pbStoreLength( versions ) > 0 )
        pbStoreSetStoreCstr( store.inout(), modulesKey, -1, versions );
    if( pbStoreLength( objects ) > 0 )
        pbStoreSetStoreCstr( store.inout(), objectKey, -1, objects );
    return store.give();
}
