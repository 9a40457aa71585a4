// sipauth parse: what header values and messages say, and where and why a value does not parse.
#include "commands.h"
#include "explain.h"

#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/base/sipauth_authorization_private.h"

#include <fmt/format.h>
#include <sipauth/sipauth_scheme.h>

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

// A header value and where it stands in the input.
struct Value
{
    std::string header; ///< as written; empty for a bare value
    std::string text;
    ValueKind kind;
    int64_t line;
    int64_t column;
};

struct HeaderName
{
    const char *name;
    ValueKind kind;
};

constexpr HeaderName headerNames[] = {
    { "WWW-Authenticate", ValueKind::challenge },
    { "Proxy-Authenticate", ValueKind::challenge },
    { "Authorization", ValueKind::credentials },
    { "Proxy-Authorization", ValueKind::credentials },
};
static_assert( std::size( headerNames ) == 4 );

const HeaderName *findHeader( const std::string &name )
{
    for( const HeaderName &header : headerNames )
        if( pbStringEqualsCaseFoldCstr( pb::string( name ), header.name, -1 ) )
            return &header;
    return nullptr;
}

std::string trimmed( const std::string &text )
{
    size_t begin = text.find_first_not_of( " \t\r" );
    return begin == std::string::npos ? "" : text.substr( begin, text.find_last_not_of( " \t\r" ) - begin + 1 );
}

// A bare value says by its parameters what it is: only credentials have a response, a user name or a uri.
ValueKind guessKind( const std::string &text )
{
    auto value = pb::string( text );
    for( const char *name : { "response", "username", "uri" } )
        if( !parameterOr( value, name, "" ).empty() )
            return ValueKind::credentials;
    bool basic = pbStringEqualsCaseFoldCstr( pb::string( trimmed( text ).substr( 0, 6 ) ), "basic ", -1 );
    return basic && text.find( "realm" ) == std::string::npos ? ValueKind::credentials : ValueKind::challenge;
}

Value valueOfLine( const std::string &line, int64_t number )
{
    size_t colon = line.find( ':' );
    if( colon != std::string::npos )
        if( const HeaderName *header = findHeader( trimmed( line.substr( 0, colon ) ) ) )
        {
            size_t begin = std::min( line.size(), line.find_first_not_of( " \t", colon + 1 ) );
            return { trimmed( line.substr( 0, colon ) ), trimmed( line.substr( begin ) ), header->kind, number,
                     static_cast<int64_t>( begin ) + 1 };
        }
    size_t begin = std::min( line.size(), line.find_first_not_of( " \t" ) );
    return { "", trimmed( line ), guessKind( line ), number, static_cast<int64_t>( begin ) + 1 };
}

bool looksLikeMessage( const std::string &text )
{
    std::string first = trimmed( text.substr( 0, text.find( '\n' ) ) );
    return first.starts_with( "SIP/2.0 " ) || first.ends_with( " SIP/2.0" );
}

// Lines of header values; a continuation line belongs to the line before it.
std::vector<Value> valuesOfLines( const std::string &text )
{
    std::vector<Value> values;
    std::string whole;
    int64_t number = 0, begin = 1;
    auto finish = [&]
    {
        if( !trimmed( whole ).empty() )
            values.push_back( valueOfLine( whole, begin ) );
        whole.clear();
    };
    for( size_t at = 0; at < text.size(); )
    {
        size_t end = std::min( text.size(), text.find( '\n', at ) );
        std::string line = text.substr( at, end - at );
        at = end + 1;
        number++;
        bool continues = !whole.empty() && ( line.starts_with( ' ' ) || line.starts_with( '\t' ) );
        if( !continues )
        {
            finish();
            begin = number;
        }
        whole += continues ? " " + trimmed( line ) : line;
    }
    finish();
    return values;
}

// The authentication headers of a message. Other headers are not this tool's business.
std::vector<Value> valuesOfMessage( const std::string &text, const std::string &file )
{
    pb::Ref<pbString> reason;
    auto message = pb::own( sipsnMessageTryDecode( pb::buffer( withLineEnds( text ) ), nullptr, reason.inout() ) );
    if( !message )
        throw UsageError( fmt::format( "{}: not a SIP message: {}", file, pb::text( reason ) ) );
    std::vector<Value> values;
    for( const Value &value : valuesOfLines( text.substr( 0, text.find( "\n\r\n" ) ) ) )
        if( !value.header.empty() )
            values.push_back( value );
    return values;
}

Json parametersJson( pbString *text )
{
    Json object = Json::object();
    for( const Parameter &parameter : parametersOf( text ) )
        object[parameter.name] = parameter.value;
    return object;
}

const char *kindName( ValueKind kind )
{
    return kind == ValueKind::challenge ? "challenge" : "credentials";
}

// A line of the input with a mark under the place, as a compiler shows it.
void noteFinding( const Finding &finding, const Value &value )
{
    note( describe( finding ) );
    note( "  " + value.text );
    note( "  " + std::string( static_cast<size_t>( finding.column - value.column ), ' ' ) + "^" );
}

class Report
{
public:
    explicit Report( const Arguments &arguments ) : arguments_( arguments ) {}

    void add( const Value &value )
    {
        auto text = pb::string( value.text );
        Explanation explanation = explain( text, value.kind );
        if( !explanation.reason.empty() )
        {
            Finding finding{ arguments_.file, value.line, value.column + explanation.at, explanation.reason };
            findings_.push_back( finding );
            if( !arguments_.json )
                noteFinding( finding, value );
            return;
        }
        std::string scheme = value.text.substr( 0, value.text.find_first_of( " \t" ) );
        // Credentials of the Basic scheme have no parameters, and what they hold is a password.
        Json parameters = parametersJson( text );
        values_.push_back( { { "line", value.line },
                             { "header", value.header },
                             { "kind", kindName( value.kind ) },
                             { "scheme", scheme },
                             { "parameters", parameters } } );
        if( arguments_.json )
            return;
        print( fmt::format( "{}:{}: {} {}{}\n", arguments_.file, value.line, scheme, kindName( value.kind ),
                            value.header.empty() ? "" : " in " + value.header ) );
        for( const auto &[name, parameter] : parameters.items() )
            print( fmt::format( "  {:<10} {}\n", name, parameter.get<std::string>() ) );
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
    const Arguments &arguments_;
    Json values_ = Json::array();
    std::vector<Finding> findings_;
};

Exit parse( const Arguments &arguments )
{
    std::string text = readInput( arguments.file );
    Report report( arguments );
    std::vector<Value> values =
        looksLikeMessage( text ) ? valuesOfMessage( text, arguments.file ) : valuesOfLines( text );
    for( const Value &value : values )
        report.add( value );
    return report.finish();
}

} // namespace

void addParse( CLI::App &app, Exit &result )
{
    auto arguments = std::make_shared<Arguments>();
    CLI::App *command =
        app.add_subcommand( "parse", "Say what challenges and credentials hold, and where one is malformed" );
    command->add_option( "FILE", arguments->file,
                         "Header values, header lines or a whole message; \"-\" (the default) for standard input" );
    addJson( *command, arguments->json );
    command->callback( [arguments, &result] { result = parse( *arguments ); } );
}

} // namespace tool
