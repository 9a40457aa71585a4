// sipauth trace: what a recorder wrote, as a tree of streams.
#include "commands.h"
#include "trace_file.h"

#include "pb/pb_utf8.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <tr/tr_line.h>

#include <algorithm>
#include <memory>

namespace tool
{

namespace
{

struct Arguments
{
    std::string file;
    bool secrets = false;
    bool json = false;
};

// Text of a stranger, safe on a terminal: what is no printable text is shown as its bytes.
std::string shown( std::string_view text )
{
    std::string result;
    for( size_t at = 0; at < text.size(); )
    {
        const auto *bytes = reinterpret_cast<const uint8_t *>( text.data() ) + at;
        int64_t count = 0;
        pbChar ch = pb::readUtf8( bytes, static_cast<int64_t>( text.size() - at ), &count );
        std::string_view part = text.substr( at, static_cast<size_t>( count ) );
        bool invalid = ch == pb::replacementChar && part != "\xEF\xBF\xBD";
        bool control = ( ch < 0x20 && ch != '\t' ) || ( ch >= 0x7F && ch < 0xA0 );
        if( invalid || control )
        {
            for( char byte : part )
                result += fmt::format( "\\x{:02x}", static_cast<unsigned char>( byte ) );
        }
        else
            result += part;
        at += part.size();
    }
    return result;
}

// Prints a tree of streams. A stream under several anchors is printed under the first of them. What is in the making is
// kept on a stack of its own, since a file may nest streams as deep as it likes.
class Tree
{
public:
    explicit Tree( const Trace &trace ) : trace_( trace ), seen_( trace.streams.size() ) {}

    void print()
    {
        for( size_t place = 0; place < trace_.streams.size(); place++ )
        {
            if( !trace_.streams[place].linked )
                printFrom( place );
        }
        // What is left hangs in circles.
        for( size_t place = 0; place < trace_.streams.size(); place++ )
        {
            if( !seen_[place] )
                printFrom( place );
        }
    }

private:
    struct Open
    {
        size_t place;
        size_t nextLine;
    };

    const TraceStream &at( size_t place ) const { return trace_.streams[place]; }

    void printFrom( size_t place )
    {
        start_ = at( place ).lines.front().timestamp;
        open( place );
        while( !open_.empty() )
        {
            Open &top = open_.back();
            if( top.nextLine == at( top.place ).lines.size() )
                open_.pop_back();
            else
                printLine( at( top.place ).lines[top.nextLine++] );
        }
    }

    // Deep down the lines go no further to the right.
    std::string indent() const { return std::string( 4 * std::min<size_t>( open_.size(), 20 ), ' ' ); }

    void open( size_t place )
    {
        const TraceStream &stream = at( place );
        seen_[place] = true;
        std::string line = indent() + heading( place );
        if( open_.empty() )
        {
            line += ", " + shown( stream.time );
            if( !stream.linked && stream.parentNumber > 0 )
                line += fmt::format( ", linked to stream {} by a line that is not in the file", stream.parentNumber );
        }
        tool::print( line + ( stream.notable() ? ", notable\n" : "\n" ) );
        open_.push_back( { place, 0 } );
    }

    std::string heading( size_t place ) const
    {
        const TraceStream &stream = at( place );
        return fmt::format( "{} stream {} {}", stream.notable() ? '!' : '-', stream.number, shown( stream.name ) );
    }

    void printLine( const TraceLine &line )
    {
        if( line.kind == TR_LINE_KIND_BEGIN )
            return;
        std::string margin = indent();
        double seconds = static_cast<double>( line.timestamp - start_ ) / 1000;
        tool::print( fmt::format( "{}{:+9.3f}  ", margin.substr( 4 ), seconds ) );
        margin += std::string( 7, ' ' );
        printText( what( line ), margin, false );
        if( line.payload )
            printPayload( line, margin );
        if( line.kind == TR_LINE_KIND_ANCHOR )
            printChild( line );
    }

    static std::string what( const TraceLine &line )
    {
        std::string text = line.text.value_or( "" );
        switch( line.kind )
        {
        case TR_LINE_KIND_PROPERTY:
            return line.property + ( line.text ? ": " + text : "" );
        case TR_LINE_KIND_CONFIGURATION:
            return "configuration: " + text;
        case TR_LINE_KIND_NOTABLE:
            return line.notable ? "marked as notable" : "no longer notable";
        case TR_LINE_KIND_ANCHOR:
            return fmt::format( "anchor {}{}", line.anchorKind, line.text ? ": " + text : "" );
        case TR_LINE_KIND_END:
            return "end";
        default:
            return text;
        }
    }

    static void printPayload( const TraceLine &line, const std::string &margin )
    {
        std::string type = line.payloadType.empty() ? "payload" : shown( line.payloadType );
        tool::print( fmt::format( "{}{}, {} bytes\n", margin, type, line.payload->size() ) );
        // Most messages end with an empty line, which would tell nothing here.
        size_t end = line.payload->find_last_not_of( "\r\n" );
        if( end != std::string::npos )
            printText( line.payload->substr( 0, end + 1 ), margin + "  ", true );
    }

    // Text of one or more lines; the first goes behind what stands there already unless it is INDENTED as well.
    static void printText( std::string_view text, const std::string &margin, bool indented )
    {
        while( true )
        {
            size_t end = std::min( text.find( '\n' ), text.size() );
            std::string_view line = text.substr( 0, end );
            if( line.ends_with( '\r' ) )
                line.remove_suffix( 1 );
            tool::print( ( indented && !line.empty() ? margin : "" ) + shown( line ) + "\n" );
            indented = true;
            if( end + 1 >= text.size() )
                return;
            text.remove_prefix( end + 1 );
        }
    }

    void printChild( const TraceLine &line )
    {
        if( line.child && !seen_[*line.child] )
            return open( *line.child );
        std::string text = fmt::format( "- stream {}, not in the file", line.childNumber );
        if( line.child )
            text = heading( *line.child ) + ", see above";
        else if( line.childNumber == 0 )
            text = "- a stream that was not recorded";
        tool::print( indent() + text + "\n" );
    }

    const Trace &trace_;
    std::vector<bool> seen_;
    std::vector<Open> open_;
    int64_t start_ = 0;
};

Json lineJson( const TraceLine &line )
{
    Json object = {
        { "kind", trLineKindName( line.kind ) }, { "timestamp", line.timestamp }, { "notable", line.notable } };
    if( line.kind == TR_LINE_KIND_PROPERTY )
        object["property"] = line.property;
    if( line.kind == TR_LINE_KIND_ANCHOR )
    {
        object["anchorKind"] = line.anchorKind;
        object["child"] = line.child ? Json( *line.child ) : Json( nullptr );
    }
    if( line.text )
        object["text"] = *line.text;
    if( line.payload )
    {
        object["payloadType"] = line.payloadType;
        object["payload"] = *line.payload;
    }
    return object;
}

Json streamJson( const TraceStream &stream )
{
    Json lines = Json::array();
    for( const TraceLine &line : stream.lines )
        lines.push_back( lineJson( line ) );
    return { { "stream", stream.number }, { "name", stream.name },         { "time", stream.time },
             { "linked", stream.linked }, { "notable", stream.notable() }, { "lines", lines } };
}

void printTraceJson( const Trace &trace )
{
    Json streams = Json::array();
    for( const TraceStream &stream : trace.streams )
        streams.push_back( streamJson( stream ) );
    printJson( { { "streams", streams }, { "errors", toJson( trace.findings ) } } );
}

Exit trace( const Arguments &arguments )
{
    Trace trace = readTrace( arguments.file, arguments.secrets );
    if( arguments.json )
        printTraceJson( trace );
    else
        Tree( trace ).print();
    for( const Finding &finding : trace.findings )
        note( describe( finding ) );
    if( trace.streams.empty() )
        note( arguments.file + ": no trace stream" );
    return trace.streams.empty() || !trace.findings.empty() ? exitNo : exitYes;
}

} // namespace

void addTrace( Command app, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = app.add( "trace", "Show a recorded trace as a tree of its streams" );
    command.option( "FILE", arguments->file, "What a recorder wrote; \"-\" for standard input" ).required();
    command.flag( "--secrets", arguments->secrets, "Show the secrets that the recorder did not mask" );
    addJson( command, arguments->json );
    command.onCall( [arguments, &result] { result = trace( *arguments ); } );
}

} // namespace tool
