// The keys of a directory.
#include "usr_seal/usr_seal_keys.h"

#include "usr_seal/usr_seal_cipher.h"

namespace usr_seal
{
namespace
{

// Each text with its length in front, so that no two rows give the same bytes.
void addText( std::string &context, const std::string &text )
{
    uint64_t length = text.size();
    for( int shift = 56; shift >= 0; shift -= 8 )
        context += static_cast<char>( length >> shift & 0xFF );
    context += text;
}

// What a sealed password is bound to: it opens in no other row and under no other key number.
std::string contextOf( const Row &row )
{
    std::string context = "sipauth user password 1";
    addText( context, std::to_string( row.key ) );
    addText( context, row.id );
    addText( context, row.name );
    context += row.realm ? '\1' : '\0';
    if( row.realm )
        addText( context, *row.realm );
    return context;
}

} // namespace

bool Keys::load( std::string &reason )
{
    std::lock_guard lock( mutex_ );
    return stampOfKeyFile( path_ ) == FileStamp() || reload( reason );
}

bool Keys::fileThere() const
{
    return !( stampOfKeyFile( path_ ) == FileStamp() );
}

// Takes the file's keys when it has changed. What was known before stays when the file is bad.
bool Keys::reload( std::string &reason )
{
    if( !keys_.empty() && stampOfKeyFile( path_ ) == stamp_ )
        return true;
    std::vector<Key> keys;
    FileStamp stamp;
    if( readKeyFile( path_, keys, stamp, reason ) != KeyFile::ready )
        return false;
    keys_.swap( keys );
    stamp_ = stamp;
    return true;
}

const Key *Keys::find( int64_t id ) const
{
    for( const Key &key : keys_ )
        if( key.id == id )
            return &key;
    return nullptr;
}

bool Keys::seal( Row &row, const Secret &password, bool anySealed, std::string &reason )
{
    std::lock_guard lock( mutex_ );
    if( !fileThere() )
    {
        if( anySealed )
        {
            reason = path_ + " is missing, but there are passwords that were sealed with its keys";
            return false;
        }
        if( !makeKeyFile( path_, reason ) )
            return false;
    }
    if( !reload( reason ) )
        return false;
    row.key = keys_.back().id;
    row.sealed = encrypt( keys_.back().bytes, contextOf( row ), password );
    if( row.sealed.empty() )
        reason = "the password cannot be sealed";
    return !row.sealed.empty();
}

bool Keys::open( const Row &row, Secret &password, std::string &reason )
{
    std::lock_guard lock( mutex_ );
    std::string why;
    if( !find( row.key ) )
        reload( why );
    const Key *key = find( row.key );
    if( !key )
    {
        reason = "the password is sealed with key " + std::to_string( row.key ) + ", which is unknown";
        if( !why.empty() )
            reason += " (" + why + ")";
        return false;
    }
    if( !decrypt( key->bytes, contextOf( row ), row.sealed, password ) )
    {
        reason = "the sealed password does not open: the row or its key was changed";
        return false;
    }
    return true;
}

} // namespace usr_seal
