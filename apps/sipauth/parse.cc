// sipauth parse: what header values and messages say, and where and why a value does not parse.
#include "commands.h"
#include "header_values.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>
#include <memory>

namespace tool
{

namespace
{

struct Arguments
{
    std::string file = "-";
    bool json = false;
};

// Credentials of the Basic scheme have no parameters, and what they hold is a password.
bool holdsPassword( const Value &value )
{
    return value.kind == ValueKind::credentials && schemeOf( pb::string( value.text ) ) == "basic";
}

Json parametersJson( const Value &value )
{
    Json object = Json::object();
    if( !holdsPassword( value ) )
        for( const Parameter &parameter : parametersOf( pb::string( value.text ) ) )
            object[parameter.name] = parameter.value;
    return object;
}

const char *kindName( ValueKind kind )
{
    return kind == ValueKind::challenge ? "challenge" : "credentials";
}

// The first COUNT characters of a line made blank; tabs stay, so that what follows stands below its place.
std::string blanksFor( const std::string &line, int64_t count )
{
    auto text = pb::string( line );
    std::string result;
    for( int64_t index = 0; index < count; index++ )
        result += index < pbStringLength( text ) && pbStringCharAt( text, index ) == '\t' ? '\t' : ' ';
    return result;
}

// The line of the input that a part stands on. What may be a password is covered up.
std::string shownLine( const Value &value, const ValuePart &part )
{
    if( !holdsPassword( value ) )
        return part.source;
    auto text = pb::string( part.source );
    int64_t begin = part.column - 1 + ( part.offset == 0 ? static_cast<int64_t>( strlen( "basic" ) ) : 0 );
    begin = std::min( begin, pbStringLength( text ) );
    std::string line = pb::textOf( pbStringCreateFromSlice( text, 0, begin ) );
    for( int64_t index = begin; index < pbStringLength( text ); index++ )
    {
        pbChar ch = pbStringCharAt( text, index );
        line += ch == ' ' || ch == '\t' ? static_cast<char>( ch ) : '*';
    }
    return line;
}

class Report
{
public:
    explicit Report( const Arguments &arguments ) : arguments_( arguments ) {}

    void add( const Value &value )
    {
        Explanation explanation = explain( pb::string( value.text ), value.kind );
        if( explanation.reason.empty() )
            addRight( value );
        else
            addWrong( value, explanation );
    }

    Exit finish()
    {
        if( arguments_.json )
            printJson( { { "values", values_ }, { "errors", toJson( findings_ ) } } );
        if( values_.empty() && findings_.empty() )
            note( arguments_.file + ": no authentication header" );
        return !values_.empty() && findings_.empty() ? exitYes : exitNo;
    }

private:
    void addRight( const Value &value )
    {
        std::string scheme = value.text.substr( 0, value.text.find_first_of( " \t" ) );
        Json parameters = parametersJson( value );
        values_.push_back( { { "line", value.line() },
                             { "header", value.header },
                             { "kind", kindName( value.kind ) },
                             { "scheme", scheme },
                             { "parameters", parameters } } );
        if( arguments_.json )
            return;
        print( fmt::format( "{}:{}: {} {}{}\n", arguments_.file, value.line(), scheme, kindName( value.kind ),
                            value.header.empty() ? "" : " in " + value.header ) );
        for( const auto &[name, parameter] : parameters.items() )
            print( fmt::format( "  {:<10} {}\n", name, parameter.get<std::string>() ) );
    }

    // Shows the line of the input with a mark under the place, as a compiler does.
    void addWrong( const Value &value, const Explanation &explanation )
    {
        const ValuePart &part = value.partAt( explanation.at );
        int64_t column = part.column + explanation.at - part.offset;
        findings_.push_back( { arguments_.file, part.line, column, explanation.reason } );
        if( arguments_.json )
            return;
        note( describe( findings_.back() ) );
        note( "  " + shownLine( value, part ) );
        note( "  " + blanksFor( part.source, column - 1 ) + "^" );
    }

    const Arguments &arguments_;
    Json values_ = Json::array();
    std::vector<Finding> findings_;
};

Exit parse( const Arguments &arguments )
{
    Report report( arguments );
    for( const Value &value : readValues( readInput( arguments.file ), arguments.file ) )
        report.add( value );
    return report.finish();
}

} // namespace

void addParse( Command app, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    Command command = app.add( "parse", "Say what challenges and credentials hold, and where one is malformed" );
    command.option( "FILE", arguments->file,
                    "Header values, header lines or a whole message; \"-\" (the default) for standard input" );
    addJson( command, arguments->json );
    command.onCall( [arguments, &result] { result = parse( *arguments ); } );
}

} // namespace tool
