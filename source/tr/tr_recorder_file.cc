// The recorder that appends JSON lines to a file.
#include "tr/tr_recorder_private.h"

#include "pb/pb_text.h"
#include "tr/tr_json.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace
{

// Writes all bytes, in one go wherever the file takes them so. How many were written before an error.
int64_t writeAll( int descriptor, const char *bytes, int64_t length )
{
    int64_t written = 0;
    while( written < length )
    {
        ssize_t count = write( descriptor, bytes + written, static_cast<size_t>( length - written ) );
        if( count < 0 && errno == EINTR )
            continue;
        if( count <= 0 )
            break;
        written += count;
    }
    return written;
}

} // namespace

static void tr___RecorderKeepInFile( trRecorder *recorder, trLine *line )
{
    pb::Text text;
    // The place of a line feed in front, which is written only to end a line that was cut off.
    text.append( "\n" );
    tr::appendJson( text, line );
    text.append( "\n" );
    // A file that is appended to takes each line whole without a lock; a pipe or a full disk may take it in parts.
    std::lock_guard lock( recorder->mutex );
    int64_t offset = recorder->torn ? 0 : 1;
    int64_t length = text.length() - offset;
    int64_t written = writeAll( recorder->descriptor, text.bytes() + offset, length );
    if( written > 0 )
        recorder->torn = written < length;
    if( written < length )
        recorder->lostLines++;
}

trRecorder *trRecorderTryCreateFile( pbString *path, pbString **optionalReason )
{
    PB_ASSERT( path );
    pb::Text name;
    name.append( path );
    bool whole = !std::memchr( name.bytes(), 0, static_cast<size_t>( name.length() ) );
    name.appendChar( 0 );
    errno = EINVAL;
    int descriptor = whole ? open( name.bytes(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600 ) : -1;
    if( descriptor < 0 )
    {
        if( optionalReason )
            *optionalReason = pbStringCreateFromCstr( std::generic_category().message( errno ).c_str(), -1 );
        return nullptr;
    }
    auto recorder = tr___RecorderCreate( tr___RecorderKeepInFile );
    recorder->descriptor = descriptor;
    return recorder.give();
}
