// The credentials or challenges of a message.
#include "host/host_bridge_lines_private.h"

#include <algorithm>

namespace host
{

const char *credentialsHeader( pbBool proxy )
{
    return proxy ? "Proxy-Authorization" : "Authorization";
}

const char *challengesHeader( pbBool proxy )
{
    return proxy ? "Proxy-Authenticate" : "WWW-Authenticate";
}

AuthLimits::AuthLimits( hostSettings *settings )
    : items( static_cast<size_t>( hostSettingsValue( settings, HOST_SETTING_AUTHORIZATIONS ) ) ),
      lineBytes( static_cast<size_t>( hostSettingsValue( settings, HOST_SETTING_AUTHORIZATION_BYTES ) ) )
{
}

AuthLines::AuthLines( sipsnMessage *message, const char *headerName, const AuthLimits &limits )
    : name_( headerName ), header_( pb::own( sipsnMessageHeaderCstr( message, headerName, -1 ) ) )
{
    int64_t length = header_ ? sipsnMessageHeaderLinesLength( header_ ) : 0;
    constexpr size_t usual = 32;
    size_t likely = std::min( { static_cast<size_t>( length ), limits.items, usual } );
    texts_.reserve( likely );
    items_.reserve( likely );
    for( int64_t index = 0; index < length; index++ )
    {
        if( items_.size() < limits.items )
            read( pb::own( sipsnMessageHeaderLineAt( header_, index ) ), limits );
        else
            refused_++;
    }
    asReceived_ = asReceived_ && refused_ == 0;
}

// The header keeps the line alive.
void AuthLines::read( pbString *line, const AuthLimits &limits )
{
    if( static_cast<size_t>( pbStringLength( line ) ) > limits.lineBytes )
    {
        refused_++;
        return;
    }
    texts_.emplace_back( line );
    size_t before = items_.size();
    AuthReader reader( texts_.back().view() );
    while( reader.atItem() )
    {
        if( items_.size() < limits.items )
        {
            reader.read( items_.emplace_back() );
            continue;
        }
        AuthItem ignored;
        reader.read( ignored );
        refused_++;
    }
    asReceived_ = asReceived_ && items_.size() == before + 1;
}

bool AuthLines::unchanged( const std::vector<const AuthItem *> &chosen ) const
{
    if( !asReceived_ || chosen.size() != items_.size() )
        return false;
    for( size_t index = 0; index < chosen.size(); index++ )
        if( chosen[index] != &items_[index] || chosen[index]->changed() )
            return false;
    return true;
}

void AuthLines::store( sipsnMessage **message, const std::vector<const AuthItem *> &chosen ) const
{
    if( unchanged( chosen ) )
        return;
    if( chosen.empty() )
    {
        sipsnMessageDelHeaderCstr( message, name_, -1 );
        return;
    }
    auto header = pb::own( sipsnMessageHeaderCreateCstr( name_, -1 ) );
    for( const AuthItem *item : chosen )
        sipsnMessageHeaderAppendLine( header.inout(), item->toString() );
    sipsnMessageSetHeader( message, header );
}

} // namespace host
