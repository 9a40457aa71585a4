// Key files.
#include "usr_seal/usr_seal_key_file.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace usr_seal
{
namespace
{

// A file of keys is short; what is longer is another file.
constexpr size_t maxFileLength = 65536;
// 32 bytes in base 64, one padding character included.
constexpr size_t encodedLength = 44;
// Numbers of keys fit a signed 64-bit column; the first one is drawn from the lower half of 32 bits.
constexpr uint32_t firstIdMask = 0x7FFFFFFF;

constexpr std::string_view head =
    "# The keys that user passwords are sealed with: a number and 32 bytes in base 64. The last\n"
    "# one seals, each one opens. To rotate, append a line with a new number; keep the old ones.\n";

// Closes a file descriptor.
struct Descriptor
{
    int number = -1;

    explicit Descriptor( int descriptor ) : number( descriptor ) {}
    Descriptor( const Descriptor & ) = delete;
    Descriptor &operator=( const Descriptor & ) = delete;
    ~Descriptor()
    {
        if( number >= 0 )
            close( number );
    }
    bool valid() const { return number >= 0; }
};

std::string failure( const std::string &path, const char *what )
{
    return path + ": " + what;
}

std::string failureOfSystem( const std::string &path )
{
    return failure( path, strerror( errno ) );
}

FileStamp stampOf( const struct stat &status )
{
    return { status.st_dev, status.st_ino, status.st_size, status.st_ctim };
}

// Why a file with this status is not to be trusted with keys, or null.
const char *distrust( const struct stat &status )
{
    if( !S_ISREG( status.st_mode ) )
        return "is no regular file";
    if( status.st_mode & ( S_IRWXG | S_IRWXO ) )
        return "others than its owner may access it; it must have mode 0600";
    if( status.st_uid != geteuid() && status.st_uid != 0 )
        return "belongs to another user";
    if( status.st_size > static_cast<off_t>( maxFileLength ) )
        return "is too long for a key file";
    return nullptr;
}

// All of a file's bytes into CONTENT, which is as long as the file was.
bool readAll( int file, Secret &content )
{
    size_t done = 0;
    while( done < content.length() )
    {
        ssize_t count = read( file, content.data() + done, content.length() - done );
        if( count < 0 && errno == EINTR )
            continue;
        if( count < 0 )
            return false;
        if( count == 0 )
            break;
        done += static_cast<size_t>( count );
    }
    content.cutTo( done );
    return true;
}

bool writeAll( int file, const uint8_t *bytes, size_t length )
{
    while( length > 0 )
    {
        ssize_t count = write( file, bytes, length );
        if( count < 0 && errno == EINTR )
            continue;
        if( count < 0 )
            return false;
        bytes += count;
        length -= static_cast<size_t>( count );
    }
    return true;
}

// The key that a line holds; its number is 0 when the line holds none.
Key parseLine( std::string_view line )
{
    Key key{ 0, Secret( keyLength + 1 ) };
    int64_t id = 0;
    auto [rest, error] = std::from_chars( line.data(), line.data() + line.size(), id );
    if( error != std::errc() || id < 1 )
        return key;
    std::string_view encoded = line.substr( static_cast<size_t>( rest - line.data() ) );
    if( encoded.size() != encodedLength + 1 || encoded.front() != ' ' || encoded.back() != '=' )
        return key;
    const auto *text = reinterpret_cast<const unsigned char *>( encoded.data() + 1 );
    if( encoded[encodedLength - 1] == '=' ||
        EVP_DecodeBlock( key.bytes.data(), text, encodedLength ) != static_cast<int>( keyLength + 1 ) )
        return key;
    key.bytes.cutTo( keyLength );
    key.id = id;
    return key;
}

bool hasKey( const std::vector<Key> &keys, int64_t id )
{
    return std::any_of( keys.begin(), keys.end(), [id]( const Key &key ) { return key.id == id; } );
}

// The keys of a text; false with REASON when a line holds none or one twice, or there is no key at all.
bool parse( const std::string &path, std::string_view text, std::vector<Key> &keys, std::string &reason )
{
    int64_t number = 0;
    while( !text.empty() )
    {
        std::string_view line = text.substr( 0, text.find( '\n' ) );
        text.remove_prefix( std::min( line.size() + 1, text.size() ) );
        number++;
        if( line.empty() || line.front() == '#' )
            continue;
        Key key = parseLine( line );
        if( key.id == 0 || hasKey( keys, key.id ) )
        {
            const char *what =
                key.id ? " has the number of another key" : " holds no number and key of 32 bytes in base 64";
            reason = failure( path, ( "line " + std::to_string( number ) + what ).c_str() );
            return false;
        }
        keys.push_back( std::move( key ) );
    }
    if( keys.empty() )
        reason = failure( path, "holds no key" );
    return !keys.empty();
}

// The text of a new file: a head and one key.
Secret newText()
{
    Secret key( keyLength );
    uint32_t id = 0;
    if( RAND_bytes( key.data(), static_cast<int>( keyLength ) ) != 1 ||
        RAND_bytes( reinterpret_cast<unsigned char *>( &id ), sizeof id ) != 1 )
        return Secret();
    // A drawn number tells the keys of one file from those of another, which a counted one would not.
    std::string start = std::string( head ) + std::to_string( ( id & firstIdMask ) | 1 ) + " ";
    Secret text( start.size() + encodedLength + 1 );
    std::memcpy( text.data(), start.data(), start.size() );
    EVP_EncodeBlock( text.data() + start.size(), key.data(), static_cast<int>( keyLength ) );
    text.data()[text.length() - 1] = '\n';
    return text;
}

bool syncFolderOf( const std::string &path )
{
    size_t slash = path.rfind( '/' );
    std::string folder = slash == std::string::npos ? "." : path.substr( 0, slash + 1 );
    Descriptor descriptor( open( folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC ) );
    return descriptor.valid() && fsync( descriptor.number ) == 0;
}

bool writeNew( const std::string &path, const Secret &text )
{
    Descriptor file( open( path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR ) );
    return file.valid() && writeAll( file.number, text.data(), text.length() ) && fsync( file.number ) == 0;
}

} // namespace

KeyFile readKeyFile( const std::string &path, std::vector<Key> &keys, FileStamp &stamp, std::string &reason )
{
    Descriptor file( open( path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK ) );
    struct stat status;
    if( !file.valid() || fstat( file.number, &status ) != 0 )
    {
        reason = failureOfSystem( path );
        return errno == ENOENT ? KeyFile::missing : KeyFile::bad;
    }
    if( const char *why = distrust( status ) )
    {
        reason = failure( path, why );
        return KeyFile::bad;
    }
    Secret content( static_cast<size_t>( status.st_size ) );
    if( !readAll( file.number, content ) )
    {
        reason = failureOfSystem( path );
        return KeyFile::bad;
    }
    stamp = stampOf( status );
    keys.clear();
    std::string_view text( reinterpret_cast<const char *>( content.data() ), content.length() );
    return parse( path, text, keys, reason ) ? KeyFile::ready : KeyFile::bad;
}

FileStamp stampOfKeyFile( const std::string &path )
{
    struct stat status;
    return stat( path.c_str(), &status ) == 0 ? stampOf( status ) : FileStamp();
}

bool makeKeyFile( const std::string &path, std::string &reason )
{
    Secret text = newText();
    if( text.length() == 0 )
    {
        reason = failure( path, "no random bytes for a key" );
        return false;
    }
    // Written under a name of its own and linked when it is whole: nobody ever reads half a file, and of two processes
    // that make one at the same time the second finds the first one's.
    uint64_t number = 0;
    RAND_bytes( reinterpret_cast<unsigned char *>( &number ), sizeof number );
    std::string draft = path + "." + std::to_string( number ) + ".new";
    bool made = writeNew( draft, text ) && ( link( draft.c_str(), path.c_str() ) == 0 || errno == EEXIST );
    if( !made )
        reason = failureOfSystem( path );
    unlink( draft.c_str() );
    if( made && !syncFolderOf( path ) )
    {
        reason = failureOfSystem( path );
        return false;
    }
    return made;
}

} // namespace usr_seal
