// Why a header value does not parse, and at which character. The walk is the library's own; what a value may be is
// asked of the library's decoder, with a header that holds this one parameter.
#include "explain.h"

#include "sipauth/base/sipauth_authenticate_private.h"
#include "sipauth/base/sipauth_authorization_private.h"
#include "sipauth/base/sipauth_parameters_private.h"

#include <fmt/format.h>
#include <rfc/rfc_base.h>

#include <algorithm>
#include <optional>

namespace tool
{

namespace
{

using sipauth::ListFault;
using sipauth::Reader;
using sipauth::Slice;

std::string lower( std::string text )
{
    for( char &c : text )
        c = sipauth::foldCase( c );
    return text;
}

bool decodes( const std::string &value, ValueKind kind )
{
    auto options = pb::own( sipauthOptionsCreate() );
    auto source = pb::string( value );
    if( kind == ValueKind::challenge )
        return static_cast<bool>( pb::own( sipauth___AuthenticateTryDecode( options, source ) ) );
    return static_cast<bool>( pb::own( sipauth___AuthorizationTryDecode( options, source ) ) );
}

std::string refusal( const std::string &name, const std::string &value )
{
    auto upper = []( char c ) { return c >= 'A' && c <= 'F'; };
    if( name == "response" && std::any_of( value.begin(), value.end(), upper ) )
        return "response has hexadecimal digits in upper case, which count as no credentials";
    if( name == "response" )
        return "response must be hexadecimal digits in lower case";
    if( name == "nc" )
        return fmt::format( "nc must be hexadecimal digits, at most ffffffff, not \"{}\"", value );
    if( name == "stale" )
        return fmt::format( "stale must be true or false, not \"{}\"", value );
    if( name == "uri" )
        return fmt::format( "uri is no valid URI: \"{}\"", value );
    if( name == "domain" )
        return "domain must be URIs with white space between";
    return fmt::format( "{} must be a token, not \"{}\"", name, value );
}

std::string faultReason( ListFault fault, bool quoted )
{
    switch( fault )
    {
    case ListFault::name:
        return "a parameter name must stand here";
    case ListFault::equals:
        return "'=' must follow the parameter name";
    case ListFault::comma:
        return "a comma must stand between parameters (one header line carries one challenge only)";
    default:
        return quoted ? "the quoted string does not end, or holds a control character"
                      : "a value must stand here, a token or a quoted string";
    }
}

std::string sliceText( const Slice &slice )
{
    return pb::text( slice.toString() );
}

template<class Ch>
Explanation explainDigest( Reader<Ch> *reader, ValueKind kind, const std::string &scheme )
{
    Explanation refused;
    auto take = [&]( const Slice &name, const Slice &value, int64_t at )
    {
        std::string nameText = lower( sliceText( name ) );
        auto quotable = pb::own( sipauth___QuotableStringEncode( value.toString() ) );
        if( decodes( fmt::format( "{} {}={}", scheme, nameText, pb::text( quotable ) ), kind ) )
            return true;
        refused = { at, refusal( nameText, sliceText( value ) ), nameText };
        return false;
    };
    ListFault fault = sipauth::eachParameter( reader, take );
    if( fault == ListFault::none || fault == ListFault::refused )
        return refused;
    bool quoted = !reader->atEnd() && *reader->rest() == '"';
    return { reader->offset(), faultReason( fault, quoted ) };
}

// The parts of Basic credentials (RFC 2617 section 2), each looked at for itself.
template<class Ch>
Explanation explainBasic( Reader<Ch> *reader )
{
    int64_t begin = reader->offset();
    Slice encoded = reader->take( sipauth::skipBasicCredentials( reader->rest(), reader->restLength() ) );
    if( encoded.count == 0 )
        return { begin, "Base64 must stand here" };
    reader->takeLws();
    if( !reader->atEnd() )
        return { reader->offset(), "nothing may follow Basic credentials" };
    auto decoded = pb::own( rfcBaseTryDecodeString( encoded.toString(), RFC_BASE_64 ) );
    if( !decoded )
        return { begin, "this is no well-formed Base64" };
    std::string text = pb::bytes( decoded );
    size_t colon = text.find( ':' );
    if( colon == std::string::npos )
        return { begin, "the decoded credentials have no colon" };
    if( colon == 0 )
        return { begin, "the user name is empty" };
    if( colon + 1 == text.size() )
        return { begin, "the password is empty" };
    return { begin, "the decoded credentials hold control characters" };
}

template<class Ch>
Explanation explainValue( Reader<Ch> *reader, ValueKind kind )
{
    reader->takeLws();
    int64_t begin = reader->offset();
    std::string scheme = sliceText( reader->takeToken() );
    if( scheme.empty() )
        return { begin, "a scheme must stand here, Digest or Basic" };
    bool basic = lower( scheme ) == "basic";
    if( !basic && lower( scheme ) != "digest" )
        return { begin, fmt::format( "unknown scheme \"{}\"", scheme ) };
    reader->takeLws();
    if( basic && kind == ValueKind::credentials )
        return explainBasic( reader );
    return explainDigest( reader, kind, scheme );
}

} // namespace

Explanation explain( pbString *value, ValueKind kind )
{
    if( decodes( pb::text( value ), kind ) )
        return {};
    Explanation explanation = sipauth::scanString( value,
                                                   [&]( auto *chs, int64_t length )
                                                   {
                                                       Reader reader( value, chs, length );
                                                       return explainValue( &reader, kind );
                                                   } );
    // What the library refuses is never called right, also when no part of it can be blamed.
    if( explanation.reason.empty() )
        explanation.reason = "this cannot be decoded";
    return explanation;
}

std::string schemeOf( pbString *value )
{
    return sipauth::scanString( value,
                                [&]( auto *chs, int64_t length )
                                {
                                    Reader reader( value, chs, length );
                                    reader.takeLws();
                                    return lower( sliceText( reader.takeToken() ) );
                                } );
}

std::vector<Parameter> parametersOf( pbString *value )
{
    std::vector<Parameter> parameters;
    auto take = [&]( const Slice &name, const Slice &text, int64_t at )
    {
        parameters.push_back( { sliceText( name ), sliceText( text ), at } );
        return true;
    };
    sipauth::scanString( value,
                         [&]( auto *chs, int64_t length )
                         {
                             Reader reader( value, chs, length );
                             reader.takeLws();
                             reader.takeToken();
                             sipauth::eachParameter( &reader, take );
                         } );
    return parameters;
}

std::string parameterOr( pbString *value, const std::string &name, const std::string &otherwise )
{
    std::string found = otherwise;
    for( const Parameter &parameter : parametersOf( value ) )
        if( lower( parameter.name ) == name )
            found = parameter.value;
    return found;
}

} // namespace tool
