// The daemon's log, by spdlog.
#include "sipauthd/log.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <chrono>
#include <map>
#include <mutex>

namespace sipauthd
{

namespace
{

// The millisecond in UTC, the level, the text.
constexpr const char *pattern = "%Y-%m-%dT%H:%M:%S.%eZ %l %v";
constexpr int64_t linesOfKind = 5;
constexpr auto window = std::chrono::seconds( 10 );
constexpr size_t maxLine = 4096;

// A file sink that can be told to open another file.
class FileSink : public spdlog::sinks::base_sink<std::mutex>
{
public:
    bool open( const std::string &path, std::string *why )
    {
        std::lock_guard lock( mutex_ );
        return file_.open( path, why );
    }

protected:
    void sink_it_( const spdlog::details::log_msg &message ) override
    {
        spdlog::memory_buf_t line;
        formatter_->format( message, line );
        // The formatter ends a line as the file does.
        file_.append( { line.data(), line.size() - 1 } );
        file_.flush();
    }
    void flush_() override { file_.flush(); }

private:
    LineFile file_;
};

spdlog::level::level_enum levelOf( LogLevel level )
{
    constexpr spdlog::level::level_enum levels[] = { spdlog::level::debug, spdlog::level::info, spdlog::level::warn,
                                                     spdlog::level::err };
    return levels[static_cast<size_t>( level )];
}

// A text as it may stand in a line: no controls, and not without end.
std::string harmless( std::string_view text )
{
    std::string result( text.substr( 0, maxLine ) );
    for( char &ch : result )
        if( static_cast<unsigned char>( ch ) < ' ' || ch == 0x7F )
            ch = '?';
    return result;
}

class SpdLog : public Log
{
public:
    SpdLog( LogLevel level, std::shared_ptr<FileSink> file ) : file_( std::move( file ) )
    {
        std::shared_ptr<spdlog::sinks::sink> sink = file_;
        if( !sink )
            sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
        auto formatter = std::make_unique<spdlog::pattern_formatter>( pattern, spdlog::pattern_time_type::utc, "\n" );
        sink->set_formatter( std::move( formatter ) );
        logger_ = std::make_unique<spdlog::logger>( "sipauthd", sink );
        logger_->flush_on( spdlog::level::debug );
        setLevel( level );
    }

    void write( LogLevel level, std::string_view text ) override
    {
        if( logger_->should_log( levelOf( level ) ) )
            logger_->log( levelOf( level ), spdlog::string_view_t( harmless( text ) ) );
    }

    void limited( LogLevel level, const std::string &kind, std::string_view text ) override
    {
        if( !logger_->should_log( levelOf( level ) ) )
            return;
        int64_t before = 0;
        if( !tryCount( kind, before ) )
            return;
        if( before > 0 )
            write( level, std::string( text ) + " (and " + std::to_string( before ) + " lines like it before)" );
        else
            write( level, text );
    }

    void setLevel( LogLevel level ) override { logger_->set_level( levelOf( level ) ); }

    bool reopen( const std::string &path, std::string *why ) override
    {
        if( !file_ || path.empty() )
            return true;
        return file_->open( path, why );
    }

private:
    struct Kind
    {
        std::chrono::steady_clock::time_point begin;
        int64_t lines = 0;
        int64_t leftOut = 0;
    };

    // Whether one more line of a kind may be written; LEFTOUT is how many were not.
    bool tryCount( const std::string &name, int64_t &leftOut )
    {
        std::lock_guard lock( mutex_ );
        Kind &kind = kinds_[name];
        auto now = std::chrono::steady_clock::now();
        if( kind.lines == 0 || now - kind.begin >= window )
        {
            leftOut = kind.leftOut;
            kind = { now, 0, 0 };
        }
        if( kind.lines < linesOfKind )
        {
            kind.lines++;
            return true;
        }
        kind.leftOut++;
        return false;
    }

    std::shared_ptr<FileSink> file_;
    std::unique_ptr<spdlog::logger> logger_;
    std::mutex mutex_;
    std::map<std::string, Kind> kinds_; // kinds are literals of the code: a few
};

} // namespace

std::unique_ptr<Log> Log::open( LogLevel level, const std::string &path, std::string *why )
{
    std::shared_ptr<FileSink> file;
    if( !path.empty() )
    {
        file = std::make_shared<FileSink>();
        if( !file->open( path, why ) )
            return nullptr;
    }
    return std::make_unique<SpdLog>( level, file );
}

} // namespace sipauthd
