// Files as a whole.
#include "cs/cs_storage_private.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

// A configuration is no place for more; a device without end is refused by this, too.
constexpr size_t maxSize = size_t{ 256 } << 20;

class Descriptor
{
public:
    explicit Descriptor( int fd ) : fd_( fd ) {}
    ~Descriptor()
    {
        if( fd_ >= 0 )
            ::close( fd_ );
    }
    Descriptor( const Descriptor & ) = delete;
    Descriptor &operator=( const Descriptor & ) = delete;

    int get() const { return fd_; }
    bool open() const { return fd_ >= 0; }
    bool close() { return ::close( std::exchange( fd_, -1 ) ) == 0; }

private:
    int fd_;
};

// Says what failed and why; always false.
bool fail( const char *what, std::string &error )
{
    char text[256];
    error = std::string( what ) + ": " + strerror_r( errno, text, sizeof text );
    return false;
}

bool readAll( int fd, std::string &content, std::string &error )
{
    static constexpr size_t step = 65536;
    for( ;; )
    {
        size_t length = content.size();
        if( length > maxSize )
        {
            error = "cannot be read: it is larger than 256 MiB";
            return false;
        }
        content.resize( length + step );
        ssize_t count = ::read( fd, content.data() + length, step );
        content.resize( length + static_cast<size_t>( count > 0 ? count : 0 ) );
        if( count == 0 )
            return true;
        if( count < 0 && errno != EINTR )
            return fail( "cannot be read", error );
    }
}

bool writeAll( int fd, pbBuffer *bytes, std::string &error )
{
    const uint8_t *at = pbBufferBacking( bytes );
    const uint8_t *end = at + pbBufferLength( bytes );
    while( at < end )
    {
        ssize_t count = ::write( fd, at, static_cast<size_t>( end - at ) );
        if( count >= 0 )
            at += count;
        else if( errno != EINTR )
            return fail( "cannot be written", error );
    }
    return true;
}

// Gives the new file the owner and the mode of the old one. Only a file of somebody else has to change hands.
bool takeOver( int fd, const struct stat &status, std::string &error )
{
    struct stat own;
    if( ::fstat( fd, &own ) != 0 )
        return fail( "cannot be written", error );
    bool same = own.st_uid == status.st_uid && own.st_gid == status.st_gid;
    if( !same && ::fchown( fd, status.st_uid, status.st_gid ) != 0 )
        return fail( "cannot keep its owner", error );
    return ::fchmod( fd, status.st_mode & 07777 ) == 0 || fail( "cannot keep its mode", error );
}

bool fill( Descriptor &file, pbBuffer *bytes, const struct stat &status, std::string &error )
{
    if( !takeOver( file.get(), status, error ) || !writeAll( file.get(), bytes, error ) )
        return false;
    return ( ::fsync( file.get() ) == 0 && file.close() ) || fail( "cannot be written", error );
}

// A name is on stable storage when its folder is.
bool syncFolder( const std::string &path, std::string &error )
{
    size_t slash = path.rfind( '/' );
    std::string folder = slash == std::string::npos ? "." : path.substr( 0, slash + 1 );
    Descriptor descriptor( ::open( folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC ) );
    if( !descriptor.open() || ::fsync( descriptor.get() ) != 0 )
        return fail( "its folder cannot be made stable", error );
    return true;
}

} // namespace

pb::Ref<pbBuffer> cs::readFile( const std::string &path, struct stat &status, std::string &error )
{
    Descriptor file( ::open( path.c_str(), O_RDONLY | O_CLOEXEC ) );
    std::string content;
    if( !file.open() || ::fstat( file.get(), &status ) != 0 )
        fail( "cannot be read", error );
    else if( readAll( file.get(), content, error ) )
        return pb::own( pbBufferCreateFromBytes( content.data(), static_cast<int64_t>( content.size() ) ) );
    return nullptr;
}

bool cs::replaceFile( const std::string &path, pbBuffer *bytes, const struct stat &status, std::string &error )
{
    std::string temporary = path + ".XXXXXX";
    Descriptor file( ::mkostemp( temporary.data(), O_CLOEXEC ) );
    if( !file.open() )
        return fail( "cannot be written: no new file can be made beside it", error );
    if( !fill( file, bytes, status, error ) )
    {
        ::unlink( temporary.c_str() );
        return false;
    }
    if( ::rename( temporary.c_str(), path.c_str() ) != 0 )
    {
        fail( "cannot be replaced", error );
        ::unlink( temporary.c_str() );
        return false;
    }
    return syncFolder( path, error );
}
