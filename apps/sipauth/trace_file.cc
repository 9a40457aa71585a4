// Reads what a file recorder wrote: one JSON object a line. A file may hold several runs, one after the other, in each
// of which the numbers of the streams begin anew, and its first lines may be lost; so a stream begins with its line of
// that kind, or with the first line that no stream in the making can have written.
#include "trace_file.h"
#include "trace_secrets.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <rfc/rfc_base.h>
#include <tr/tr_line.h>

#include <algorithm>
#include <limits>
#include <map>

namespace tool
{

namespace
{

// Something wrong in a line.
struct LineError
{
    std::string what;
    int64_t column = 0;
};

// Beyond this, differences of times would not fit their type.
constexpr int64_t mostMilliseconds = int64_t{ 1 } << 53;

Json parseLine( const std::string &text )
{
    try
    {
        Json object = Json::parse( text );
        if( !object.is_object() )
            throw LineError{ "this is no JSON object" };
        return object;
    }
    catch( const Json::parse_error &error )
    {
        throw LineError{ "this is no JSON", static_cast<int64_t>( error.byte ) };
    }
}

const Json *find( const Json &object, const char *name )
{
    auto found = object.find( name );
    return found == object.end() ? nullptr : &*found;
}

const Json &member( const Json &object, const char *name )
{
    const Json *value = find( object, name );
    if( !value )
        throw LineError{ fmt::format( "\"{}\" is missing", name ) };
    return *value;
}

std::string textOf( const Json &value, const char *name )
{
    if( !value.is_string() )
        throw LineError{ fmt::format( "\"{}\" is no text", name ) };
    return value.get<std::string>();
}

std::optional<std::string> optionalText( const Json &object, const char *name )
{
    const Json *value = find( object, name );
    return value ? std::optional( textOf( *value, name ) ) : std::nullopt;
}

int64_t number( const Json &object, const char *name, int64_t least, int64_t most )
{
    const Json &value = member( object, name );
    if( !value.is_number_integer() )
        throw LineError{ fmt::format( "\"{}\" is no integer", name ) };
    bool tooLarge = value.is_number_unsigned() && value.get<uint64_t>() > static_cast<uint64_t>( most );
    if( tooLarge || value.get<int64_t>() < least || value.get<int64_t>() > most )
        throw LineError{ fmt::format( "\"{}\" is out of range", name ) };
    return value.get<int64_t>();
}

int64_t streamNumber( const Json &object, const char *name, int64_t least )
{
    return number( object, name, least, std::numeric_limits<int64_t>::max() );
}

int64_t kindOf( const Json &object )
{
    std::string name = textOf( member( object, "kind" ), "kind" );
    for( int64_t kind = 0; TR_LINE_KIND_OK( kind ); kind++ )
    {
        if( name == trLineKindName( kind ) )
            return kind;
    }
    throw LineError{ "\"kind\" is unknown" };
}

std::optional<std::string> payloadOf( const Json &object )
{
    std::optional<std::string> text = optionalText( object, "payload" );
    if( !text )
        return std::nullopt;
    auto bytes = pb::own( rfcBaseTryDecodeString( pb::string( *text ), RFC_BASE_64 ) );
    if( !bytes )
        throw LineError{ "\"payload\" is no Base64" };
    return pb::bytes( bytes );
}

TraceLine lineOf( const Json &object )
{
    TraceLine line;
    line.kind = kindOf( object );
    line.timestamp = number( object, "timestamp", -mostMilliseconds, mostMilliseconds );
    const Json &notable = member( object, "notable" );
    if( !notable.is_boolean() )
        throw LineError{ "\"notable\" is neither true nor false" };
    line.notable = notable.get<bool>();
    line.text = optionalText( object, "text" );
    line.payloadType = optionalText( object, "payloadType" ).value_or( "" );
    line.payload = payloadOf( object );
    if( line.kind == TR_LINE_KIND_PROPERTY )
        line.property = textOf( member( object, "property" ), "property" );
    if( line.kind == TR_LINE_KIND_ANCHOR )
    {
        line.anchorKind =
            number( object, "anchorKind", std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max() );
        line.childNumber = streamNumber( object, "child", 0 );
    }
    return line;
}

class Reader
{
public:
    explicit Reader( bool secrets ) : secrets_( secrets ) {}

    void add( const std::string &text )
    {
        Json object = parseLine( text );
        TraceLine line = lineOf( object );
        if( !secrets_ )
            maskSecrets( line );
        int64_t parent = streamNumber( object, "parent", 0 );
        TraceStream &stream = streamFor( object, line.kind );
        if( stream.parentNumber == 0 )
            stream.parentNumber = parent;
        stream.ended = line.kind == TR_LINE_KIND_END;
        if( line.kind == TR_LINE_KIND_ANCHOR )
            link( line );
        stream.lines.push_back( std::move( line ) );
    }

    std::vector<TraceStream> finish()
    {
        for( const Unlinked &anchor : unlinked_ )
            linkLate( anchor );
        return std::move( streams_ );
    }

private:
    // An anchor whose stream had not been seen.
    struct Unlinked
    {
        size_t place; ///< of its own stream
        size_t line;
        size_t from; ///< where streams that came later begin
    };

    // The stream that a line belongs to.
    TraceStream &streamFor( const Json &object, int64_t kind )
    {
        int64_t number = streamNumber( object, "stream", 1 );
        std::string name = textOf( member( object, "name" ), "name" );
        std::string time = textOf( member( object, "time" ), "time" );
        auto found = byName_.find( { number, name } );
        bool begins = kind == TR_LINE_KIND_BEGIN || found == byName_.end() || streams_[found->second].ended;
        current_ = begins ? streams_.size() : found->second;
        if( begins )
        {
            byName_[{ number, name }] = byNumber_[number] = current_;
            if( kind != TR_LINE_KIND_BEGIN )
                cutOff_[number].push_back( current_ );
            streams_.push_back( { number, 0, name, time, false, false, {} } );
        }
        return streams_[current_];
    }

    // A stream is linked while somebody holds it, so that it has begun and not ended.
    void link( TraceLine &line )
    {
        auto found = byNumber_.find( line.childNumber );
        if( found != byNumber_.end() && !streams_[found->second].ended )
            line.child = found->second;
        else
            unlinked_.push_back( { current_, streams_[current_].lines.size(), streams_.size() } );
        if( line.child )
            streams_[*line.child].linked = true;
    }

    // Links a stream whose first lines are lost, if there are lines of it behind the anchor's.
    void linkLate( const Unlinked &anchor )
    {
        TraceLine &line = streams_[anchor.place].lines[anchor.line];
        const std::vector<size_t> &places = cutOff_[line.childNumber];
        auto found = std::lower_bound( places.begin(), places.end(), anchor.from );
        if( found == places.end() )
            return;
        line.child = *found;
        streams_[*found].linked = true;
    }

    bool secrets_;
    std::vector<TraceStream> streams_;
    std::map<std::pair<int64_t, std::string>, size_t> byName_; ///< the latest stream of each number and name
    std::map<int64_t, size_t> byNumber_;                       ///< the latest stream of each number
    std::map<int64_t, std::vector<size_t>> cutOff_;            ///< all streams whose first lines are lost
    std::vector<Unlinked> unlinked_;
    size_t current_ = 0; ///< the stream of the line that is being added
};

} // namespace

Trace readTrace( const std::string &path, bool secrets )
{
    std::string bytes = readInput( path );
    Trace trace;
    Reader reader( secrets );
    int64_t lineNumber = 0;
    for( size_t at = 0; at < bytes.size(); )
    {
        size_t end = std::min( bytes.size(), bytes.find( '\n', at ) );
        std::string text = bytes.substr( at, end - at );
        at = end + 1;
        lineNumber++;
        try
        {
            if( text.find_first_not_of( " \t\r" ) != std::string::npos )
                reader.add( text );
        }
        catch( const LineError &error )
        {
            trace.findings.push_back( { path, lineNumber, error.column, error.what } );
        }
    }
    trace.streams = reader.finish();
    return trace;
}

} // namespace tool
