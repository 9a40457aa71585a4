// Configurations of drivers.
#include "usr_seal/usr_seal_config.h"

#include "usr_seal/usr_seal_row.h"

#include <algorithm>

namespace usr_seal
{

void Config::fail( const char *key, const std::string &what )
{
    if( reason_.empty() )
        reason_ = std::string( key ) + ": " + what;
}

std::string Config::text( const char *key, const char *fallback )
{
    known_.push_back( key );
    int64_t type = pbStoreValueTypeCstr( config_, key, -1 );
    if( type == PB_STORE_TYPE_INVALID && fallback )
        return fallback;
    std::string value;
    if( type == PB_STORE_TYPE_STRING )
        value = utf8( pb::own( pbStoreValueCstr( config_, key, -1 ) ) );
    if( type == PB_STORE_TYPE_INVALID )
        fail( key, "is missing" );
    else if( value.empty() || value.find( '\0' ) != std::string::npos )
        fail( key, "is to be a text that is not empty" );
    return value;
}

int64_t Config::integer( const char *key, int64_t fallback, int64_t low, int64_t high )
{
    known_.push_back( key );
    if( pbStoreValueTypeCstr( config_, key, -1 ) == PB_STORE_TYPE_INVALID )
        return fallback;
    int64_t value = 0;
    if( pbStoreValueIntCstr( config_, key, -1, &value ) && value >= low && value <= high )
        return value;
    fail( key, "is to be an integer from " + std::to_string( low ) + " to " + std::to_string( high ) );
    return fallback;
}

void Config::end()
{
    for( int64_t index = 0; index < pbStoreLength( config_ ); index++ )
    {
        std::string key = utf8( pb::own( pbStoreKeyAt( config_, index ) ) );
        if( std::find( known_.begin(), known_.end(), key ) == known_.end() )
            fail( key.c_str(), "is unknown" );
    }
}

} // namespace usr_seal
