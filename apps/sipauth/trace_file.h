// A recorded trace: the streams that its lines tell of.
#ifndef SIPAUTH_TRACE_FILE_H
#define SIPAUTH_TRACE_FILE_H

#include "tool.h"

#include <optional>

namespace tool
{

/// One line of a stream.
struct TraceLine
{
    int64_t kind = 0;                   ///< one of TR_LINE_KIND
    int64_t timestamp = 0;              ///< in milliseconds
    bool notable = false;               ///< whether its stream was, after the line
    std::string property;               ///< the name of a property
    std::optional<std::string> text;    ///< of an anchor its annotation
    std::string payloadType;            ///< empty for none
    std::optional<std::string> payload; ///< bytes
    int64_t anchorKind = 0;             ///< of an anchor
    int64_t childNumber = 0;            ///< of an anchor
    std::optional<size_t> child;        ///< of an anchor, in the list of streams; none when the file does not have it
};

/// A stream; it has at least one line.
struct TraceStream
{
    int64_t number;
    int64_t parentNumber = 0; ///< 0 for none
    std::string name;
    std::string time;    ///< of its first line
    bool linked = false; ///< whether some anchor has it
    bool ended = false;
    std::vector<TraceLine> lines;

    bool notable() const { return lines.back().notable; }
};

/// What a file holds.
struct Trace
{
    std::vector<TraceStream> streams; ///< in the order of their first lines
    std::vector<Finding> findings;    ///< lines that make no sense
};

/// Reads a file that a recorder wrote ("-" for standard input), with its secrets or without.
Trace readTrace( const std::string &path, bool secrets );

} // namespace tool

#endif
