// The daemon's log: one line for each thing that an operator may want to know, on standard error or in a file that can
// be opened again. Lines that may come in floods are limited. No line holds a secret; controls in texts from outside
// are made harmless.
#ifndef SIPAUTHD_LOG_H
#define SIPAUTHD_LOG_H

#include "sipauthd/config.h"

#include <memory>
#include <string>
#include <string_view>

namespace sipauthd
{

class Log
{
public:
    /// Opens a log; FILE empty: standard error. Null with *WHY.
    static std::unique_ptr<Log> open( LogLevel level, const std::string &file, std::string *why );
    virtual ~Log() = default;

    virtual void write( LogLevel level, std::string_view text ) = 0;
    /// As write, but of one KIND at most 5 lines in 10 seconds; the next line tells how many were left out.
    virtual void limited( LogLevel level, const std::string &kind, std::string_view text ) = 0;
    virtual void setLevel( LogLevel level ) = 0;
    /// Opens the file again, or another one, after it was moved away; false with *WHY: it goes on in the old one.
    virtual bool reopen( const std::string &file, std::string *why ) = 0;

    void debug( std::string_view text ) { write( LogLevel::Debug, text ); }
    void info( std::string_view text ) { write( LogLevel::Info, text ); }
    void warning( std::string_view text ) { write( LogLevel::Warning, text ); }
    void error( std::string_view text ) { write( LogLevel::Error, text ); }
};

/// A file to which lines are appended, readable for its owner only. Lines are kept until flush, or until they are many.
class LineFile
{
public:
    ~LineFile();
    LineFile() = default;
    LineFile( const LineFile & ) = delete;
    LineFile &operator=( const LineFile & ) = delete;

    /// Opens or makes a file in place of the one before; empty: none. False with *WHY: the one before stays.
    bool open( const std::string &path, std::string *why );
    bool isOpen() const { return descriptor_ >= 0; }
    void append( std::string_view line );
    void flush();
    /// How many lines could not be written.
    int64_t lost() const { return lost_; }

private:
    int descriptor_ = -1;
    std::string waiting_;
    int64_t waitingLines_ = 0;
    int64_t lost_ = 0;
};

} // namespace sipauthd

#endif
