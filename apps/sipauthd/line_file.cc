// Files to which lines are appended.
#include "sipauthd/log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace sipauthd
{

namespace
{

constexpr size_t enough = 65536;

bool writeAll( int descriptor, std::string_view bytes )
{
    while( !bytes.empty() )
    {
        ssize_t written = ::write( descriptor, bytes.data(), bytes.size() );
        if( written < 0 && errno == EINTR )
            continue;
        if( written <= 0 )
            return false;
        bytes.remove_prefix( static_cast<size_t>( written ) );
    }
    return true;
}

} // namespace

LineFile::~LineFile()
{
    open( "", nullptr );
}

bool LineFile::open( const std::string &path, std::string *why )
{
    int opened = -1;
    if( !path.empty() )
    {
        opened = ::open( path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600 );
        if( opened < 0 )
        {
            *why = path + ": " + std::strerror( errno );
            return false;
        }
    }
    flush();
    if( descriptor_ >= 0 )
        ::close( descriptor_ );
    descriptor_ = opened;
    return true;
}

void LineFile::append( std::string_view line )
{
    if( descriptor_ < 0 )
        return;
    waiting_.append( line );
    waiting_ += '\n';
    waitingLines_++;
    if( waiting_.size() >= enough )
        flush();
}

void LineFile::flush()
{
    if( waiting_.empty() )
        return;
    if( !writeAll( descriptor_, waiting_ ) )
        lost_ += waitingLines_;
    waiting_.clear();
    waitingLines_ = 0;
}

} // namespace sipauthd
