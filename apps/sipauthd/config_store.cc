// Writing the daemon's configuration in its canonical form.
#include "sipauthd/config.h"
#include "sipauthd/config_keys.h"

#include <pb/pb_std.hh>

#include <functional>

namespace sipauthd
{

namespace
{

std::string joined( const std::vector<std::string> &words )
{
    std::string text;
    for( const std::string &word : words )
        text += ( text.empty() ? "" : " " ) + word;
    return text;
}

// Writes all keys of a table.
class Writer
{
public:
    pb::Ref<pbStore> store_ = pb::own( pbStoreCreate() );

    void text( const char *key, const std::string &value )
    {
        pbStoreSetValueCstr( store_.inout(), key, -1, pb::string( value ) );
    }

    void words( const char *key, const std::vector<std::string> &value ) { text( key, joined( value ) ); }
    void flag( const char *key, bool value ) { pbStoreSetValueBoolCstr( store_.inout(), key, -1, value ); }

    void number( const char *key, int64_t value, int64_t, int64_t )
    {
        pbStoreSetValueIntCstr( store_.inout(), key, -1, value );
    }

    template<class E, size_t N>
    void choice( const char *key, E value, const Choices<E, N> &choices )
    {
        for( const auto &[name, meaning] : choices )
            if( meaning == value )
                text( key, name );
    }

    void store( const char *key, pbStore *value )
    {
        if( value && pbStoreLength( value ) > 0 )
            pbStoreSetStoreCstr( store_.inout(), key, -1, value );
    }

    void table( const char *key, const std::function<void( Writer & )> &write )
    {
        Writer nested;
        write( nested );
        store( key, nested.store_ );
    }

    template<class T, class F>
    void labels( const char *key, std::vector<T> &items, std::string T::*label, F write )
    {
        Writer all;
        for( T &item : items )
        {
            Writer nested;
            write( nested, item );
            // Without what has its default, as everywhere; a table of nothing still says that there is one.
            T unset;
            Writer defaults;
            write( defaults, unset );
            pbStoreSetStore( all.store_.inout(), pb::string( item.*label ),
                             differences( nested.store_, defaults.store_ ) );
        }
        store( key, all.store_ );
    }

    // What of STORE is not the same in DEFAULTS.
    static pb::Ref<pbStore> differences( pbStore *store, pbStore *defaults )
    {
        auto result = pb::share( store );
        for( int64_t index = 0; index < pbStoreLength( store ); index++ )
        {
            auto key = pb::own( pbStoreKeyAt( store, index ) );
            auto nested = pb::own( pbStoreStore( store, key ) );
            auto nestedDefaults = pb::own( pbStoreStore( defaults, key ) );
            if( nested && nestedDefaults )
            {
                pb::Ref<pbStore> rest = differences( nested, nestedDefaults );
                if( pbStoreLength( rest ) > 0 )
                    pbStoreSetStore( result.inout(), key, rest );
                else
                    pbStoreDelKey( result.inout(), key );
            }
            else if( !nested && same( store, defaults, key ) )
                pbStoreDelKey( result.inout(), key );
        }
        return result;
    }

private:
    static bool same( pbStore *a, pbStore *b, pbString *key )
    {
        int64_t type = pbStoreValueType( a, key );
        if( type != pbStoreValueType( b, key ) )
            return false;
        int64_t numbers[2] = {};
        pbBool flags[2] = {};
        if( type == PB_STORE_TYPE_INT )
            return pbStoreValueInt( a, key, &numbers[0] ) && pbStoreValueInt( b, key, &numbers[1] ) &&
                   numbers[0] == numbers[1];
        if( type == PB_STORE_TYPE_BOOL )
            return pbStoreValueBool( a, key, &flags[0] ) && pbStoreValueBool( b, key, &flags[1] ) &&
                   flags[0] == flags[1];
        return pbStringEquals( pb::own( pbStoreValue( a, key ) ), pb::own( pbStoreValue( b, key ) ) ) != 0;
    }
};

pb::Ref<pbStore> write( Config config )
{
    Writer writer;
    daemonKeys( writer, config );
    return writer.store_;
}

} // namespace

pb::Ref<pbStore> storeOf( const Config &config, bool full )
{
    Config whole = config;
    if( config.settings )
        whole.limits = pb::own( hostSettingsStore( config.settings, full ) );
    pb::Ref<pbStore> store = write( whole );
    return full ? store : Writer::differences( store, write( Config() ) );
}

} // namespace sipauthd
