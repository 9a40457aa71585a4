// Configuration files.
#include "cs/cs_format_private.h"
#include "cs/cs_private.h"
#include "cs/cs_storage_private.h"
#include "pb/pb_type.h"

#include <cs/cs_file.h>
#include <pb/pb_std.hh>

#include <cstdlib>
#include <utility>

struct csFile
{
    pb::Object object;
    pb::Field<csFormat> format;
    pb::Field<pbString> path;
    pb::Field<pbBuffer> bytes;
    pb::Field<csUpdate> update;
    pb::Field<pbStore> lines; ///< where the objects and their keys stand
};

PB_TYPE( csFile, CS_FILE, cs, cs___FileFreeFunc, nullptr );

static void cs___FileFreeFunc( pbObj *obj )
{
    csFile *file = csFileFrom( obj );
    PB_ASSERT( file );
    pb::poison( file->format, file->path, file->bytes, file->update, file->lines );
}

namespace
{

void setReason( const std::string &text, pbString **reason )
{
    if( reason )
        std::swap( *reason, *pb::string( text ).inout() );
}

// "path: what"; what begins with the line where there is one.
void setReasonOf( pbString *path, const std::string &what, pbString **reason )
{
    bool placed = !what.empty() && what[0] >= '0' && what[0] <= '9';
    setReason( pb::text( path ) + ( placed ? ":" : ": " ) + what, reason );
}

// The key that a refusal names first ("object 'main': driver: there is none"), empty when it names none.
std::string namedKey( const std::string &why, const std::string &object )
{
    std::string begin = "object '" + object + "': ";
    size_t end = why.find( ": ", begin.size() );
    return why.starts_with( begin ) && end != std::string::npos ? why.substr( begin.size(), end - begin.size() ) : "";
}

// Where a key of an object stands; of one that is missing its table, or the object. Empty when the file does not have
// the object, since an update has made it.
std::string place( csFile *file, pbString *object, std::string key )
{
    auto lines = pb::own( pbStoreStore( file->lines, object ) );
    int64_t line = 0;
    while( lines && !pbStoreValueInt( lines, pb::string( key ), &line ) && !key.empty() )
        key.resize( key.find( '.' ) == std::string::npos ? 0 : key.rfind( '.' ) );
    return line ? std::to_string( line ) + ": " : "";
}

// The file that a path leads to, through symbolic links.
std::string target( const std::string &path )
{
    char *real = ::realpath( path.c_str(), nullptr );
    std::string result = real ? real : path;
    std::free( real );
    return result;
}

bool rewrite( csFile *file, csUpdate *update, std::string &error )
{
    std::string path = target( pb::text( file->path ) );
    struct stat status;
    pb::Ref<pbBuffer> present = cs::readFile( path, status, error );
    if( !present )
        return false;
    if( !pbBufferEquals( present, file->bytes ) )
    {
        error = "has changed since it was read";
        return false;
    }
    std::string backup = path + ".bak";
    if( !cs::replaceFile( backup, present, status, error ) )
    {
        error = "its copy '" + backup + "' " + error;
        return false;
    }
    return cs::replaceFile( path, pb::own( file->format->encode( update, present ) ), status, error );
}

} // namespace

csFile *csFileTryRead( csFormat *format, pbString *path, pbString **reason )
{
    PB_ASSERT( format );
    PB_ASSERT( path );
    struct stat status;
    std::string error;
    pb::Ref<pbBuffer> bytes = cs::readFile( pb::text( path ), status, error );
    if( !bytes )
    {
        setReasonOf( path, error, reason );
        return nullptr;
    }
    pb::Ref<pbStore> lines;
    pb::Ref<pbString> why;
    auto update = pb::own( format->tryDecode( bytes, lines.inout(), why.inout() ) );
    if( !update )
    {
        setReasonOf( path, pb::text( why ), reason );
        return nullptr;
    }
    auto file = pb::create<csFile>( csFileSort() );
    file->format = pb::share( format );
    file->path = pb::share( path );
    file->bytes = bytes;
    file->update = update;
    file->lines = lines;
    return file.give();
}

csUpdate *csFileUpdate( csFile *file )
{
    PB_ASSERT( file );
    return file->update.shareOut();
}

csUpdate *csFileTryNormalize( csFile *file, csUpdate *update, int64_t storeFlags, pbString **reason )
{
    PB_ASSERT( file );
    PB_ASSERT( update );
    pb::Ref<pbString> object;
    pb::Ref<pbString> why;
    auto normal = pb::own( csUpdateTryNormalize( update, storeFlags, object.inout(), why.inout() ) );
    if( normal )
        return normal.give();
    std::string text = pb::text( why );
    setReasonOf( file->path, place( file, object, namedKey( text, pb::text( object ) ) ) + text, reason );
    return nullptr;
}

pbBool csFileTryRewrite( csFile *file, csUpdate *update, pbString **reason )
{
    PB_ASSERT( file );
    PB_ASSERT( update );
    std::string error;
    if( rewrite( file, update, error ) )
        return 1;
    setReasonOf( file->path, error, reason );
    return 0;
}
