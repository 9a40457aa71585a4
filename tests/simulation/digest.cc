// A second opinion on header values and Digest responses.
#include "digest.h"

#include "settings.h"

#include <openssl/evp.h>

#include <algorithm>
#include <strings.h>

namespace simulation
{

static std::string lower( std::string text )
{
    for( char &ch : text )
        ch = static_cast<char>( ch >= 'A' && ch <= 'Z' ? ch + 32 : ch );
    return text;
}

static std::string trimmed( std::string_view text )
{
    size_t first = text.find_first_not_of( " \t" );
    if( first == std::string_view::npos )
        return {};
    return std::string( text.substr( first, text.find_last_not_of( " \t" ) - first + 1 ) );
}

Message Message::parse( std::string_view bytes )
{
    Message message;
    size_t at = bytes.find( "\r\n" );
    message.first = bytes.substr( 0, at );
    for( at += 2; bytes.substr( at, 2 ) != "\r\n"; )
    {
        size_t end = bytes.find( "\r\n", at );
        size_t colon = bytes.find( ':', at );
        message.headers.emplace_back( trimmed( bytes.substr( at, colon - at ) ),
                                      trimmed( bytes.substr( colon + 1, end - colon - 1 ) ) );
        at = end + 2;
    }
    message.body = bytes.substr( at + 2 );
    return message;
}

std::string Message::method() const
{
    return first.substr( 0, first.find( ' ' ) );
}

std::string Message::iri() const
{
    size_t space = first.find( ' ' );
    return first.substr( space + 1, first.rfind( ' ' ) - space - 1 );
}

int64_t Message::status() const
{
    return std::stoll( first.substr( 8, 3 ) );
}

std::vector<std::string> Message::values( std::string_view name ) const
{
    std::vector<std::string> found;
    for( const auto &[header, value] : headers )
        if( header.size() == name.size() && strncasecmp( header.data(), name.data(), name.size() ) == 0 )
            found.push_back( value );
    return found;
}

// A quoted string from its opening quote on, without quotes and escapes; AT comes to stand after it.
static std::string unquoted( std::string_view value, size_t &at )
{
    std::string text;
    for( at++; at < value.size() && value[at] != '"'; at++ )
    {
        if( value[at] == '\\' && at + 1 < value.size() )
            at++;
        text += value[at];
    }
    at++;
    return text;
}

Parameters Parameters::parse( std::string_view value )
{
    Parameters parameters;
    size_t space = value.find( ' ' );
    parameters.scheme = lower( std::string( value.substr( 0, space ) ) );
    std::string_view rest = space == std::string_view::npos ? std::string_view() : value.substr( space + 1 );
    if( parameters.scheme == "basic" && rest.find( '=' ) >= rest.find_last_not_of( '=' ) )
    {
        parameters.values["credentials"] = trimmed( rest );
        return parameters;
    }
    for( size_t at = 0; at < rest.size(); )
    {
        at = rest.find_first_not_of( " ,\t", at );
        if( at == std::string_view::npos )
            break;
        size_t equals = rest.find( '=', at );
        std::string name = lower( trimmed( rest.substr( at, equals - at ) ) );
        at = equals + 1;
        if( rest[at] == '"' )
        {
            parameters.values[name] = unquoted( rest, at );
            continue;
        }
        size_t end = std::min( rest.find( ',', at ), rest.size() );
        parameters.values[name] = trimmed( rest.substr( at, end - at ) );
        at = end;
    }
    return parameters;
}

std::optional<std::string> Parameters::get( const std::string &name ) const
{
    auto found = values.find( name );
    return found == values.end() ? std::nullopt : std::optional( found->second );
}

DigestOffer DigestOffer::of( const Parameters &challenge )
{
    DigestOffer offer;
    offer.algorithm = challenge.get( "algorithm" ).value_or( "MD5" );
    std::string qops = challenge.get( "qop" ).value_or( "" );
    qops.insert( 0, 1, ',' ).push_back( ',' );
    std::erase( qops, ' ' );
    offer.qopAuth = qops.find( ",auth," ) != std::string::npos;
    offer.qopAuthInt = qops.find( ",auth-int," ) != std::string::npos;
    offer.realm = challenge.get( "realm" ).value_or( "" );
    offer.nonce = challenge.get( "nonce" ).value_or( "" );
    offer.opaque = challenge.get( "opaque" );
    offer.nonceCount = offer.qop() ? 1 : -1;
    return offer;
}

static const Algorithm *algorithmOf( const std::string &name )
{
    for( const Algorithm &algorithm : algorithms )
        if( lower( algorithm.name ) == lower( name ) )
            return &algorithm;
    return nullptr;
}

static std::string hex( const Algorithm &algorithm, const std::string &text )
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    static const EVP_MD *fetched[12];
    const EVP_MD *&function = fetched[algorithm.number];
    if( !function )
        function = EVP_MD_fetch( nullptr, algorithm.hash, nullptr );
    EVP_Digest( text.data(), text.size(), digest, &length, function, nullptr );
    std::string result;
    for( unsigned int i = 0; i < length; i++ )
    {
        result += "0123456789abcdef"[digest[i] >> 4];
        result += "0123456789abcdef"[digest[i] & 15];
    }
    return result;
}

// Text as it stands between quotes.
static std::string escaped( const std::string &text )
{
    std::string result;
    for( char ch : text )
    {
        if( ch == '"' || ch == '\\' )
            result += '\\';
        result += ch;
    }
    return result;
}

static bool sameParameters( const DigestOffer &offer, const Parameters &authorization )
{
    const Algorithm *theirs = algorithmOf( authorization.get( "algorithm" ).value_or( "MD5" ) );
    if( !theirs || theirs != algorithmOf( offer.algorithm ) )
        return false;
    std::optional<std::string> qop = authorization.get( "qop" );
    if( !qop ? offer.qop() : !( ( *qop == "auth" && offer.qopAuth ) || ( *qop == "auth-int" && offer.qopAuthInt ) ) )
        return false;
    if( authorization.get( "realm" ) != offer.realm || authorization.get( "nonce" ) != offer.nonce ||
        authorization.get( "opaque" ) != offer.opaque )
        return false;
    std::optional<std::string> count = authorization.get( "nc" );
    return ( count ? std::stoll( *count, nullptr, 16 ) : -1 ) == offer.nonceCount;
}

bool answers( const DigestOffer &offer, const Parameters &authorization, const Message &request,
              const std::string &userName, const std::string &password )
{
    if( !sameParameters( offer, authorization ) )
        return false;
    const Algorithm &algorithm = *algorithmOf( offer.algorithm );
    std::string qop = authorization.get( "qop" ).value_or( "" );
    std::string nonce = escaped( offer.nonce );
    std::string cnonce = escaped( authorization.get( "cnonce" ).value_or( "" ) );
    std::string iri = authorization.get( "uri" ).value_or( request.iri() );

    std::string a1 = hex( algorithm, escaped( userName ) + ":" + escaped( offer.realm ) + ":" + password );
    if( algorithm.session )
        a1 = hex( algorithm, a1 + ":" + nonce + ":" + cnonce );
    std::string a2 = request.method() + ":" + iri;
    if( qop == "auth-int" )
        a2 += ":" + hex( algorithm, request.body );
    a2 = hex( algorithm, a2 );
    std::string response = qop.empty()
                               ? hex( algorithm, a1 + ":" + nonce + ":" + a2 )
                               : hex( algorithm, a1 + ":" + nonce + ":" + authorization.get( "nc" ).value_or( "" ) +
                                                     ":" + cnonce + ":" + qop + ":" + a2 );
    return authorization.get( "response" ) == response;
}

std::string fromBase64( std::string_view text )
{
    static constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned bits = 0;
    int count = 0;
    for( char ch : text )
    {
        size_t digit = digits.find( ch );
        if( digit == std::string_view::npos )
            break;
        bits = bits << 6 | static_cast<unsigned>( digit );
        count += 6;
        if( count >= 8 )
        {
            count -= 8;
            bytes += static_cast<char>( bits >> count & 0xFF );
        }
    }
    return bytes;
}

} // namespace simulation
