// Signatures and tokens in our own headers.
#include "sipauthd/seal.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <charconv>
#include <cstring>

namespace sipauthd
{

namespace
{

constexpr char hexDigits[] = "0123456789abcdef";
constexpr size_t signatureBytes = 12;
constexpr size_t markBytes = 4;

std::string toHex( const uint8_t *bytes, size_t length )
{
    std::string text;
    text.reserve( length * 2 );
    for( size_t i = 0; i < length; i++ )
    {
        text += hexDigits[bytes[i] >> 4];
        text += hexDigits[bytes[i] & 15];
    }
    return text;
}

// Targets are written as "u.c0000201.5060.0.name": transport, address, port and flow in hexadecimal digits.
std::string textOf( const engine::Target &target )
{
    std::string text( 1, engine::nameOf( target.transport )[0] );
    if( target.transport == engine::Transport::Tls )
        text = "s";
    text += '.';
    const size_t skip = target.remote.isIpv4() ? 12 : 0;
    text += toHex( target.remote.bytes.data() + skip, 16 - skip );
    char number[24];
    text += '.';
    text.append( number, std::to_chars( number, number + sizeof number, target.remote.port ).ptr );
    text += '.';
    text.append( number, std::to_chars( number, number + sizeof number, target.flow, 16 ).ptr );
    text += '.';
    text += toHex( reinterpret_cast<const uint8_t *>( target.tlsName.data() ), target.tlsName.size() );
    return text;
}

// The part of TEXT up to the next '.', which is taken off.
std::string_view nextPart( std::string_view &text )
{
    const size_t end = std::min( text.find( '.' ), text.size() );
    std::string_view part = text.substr( 0, end );
    text.remove_prefix( std::min( end + 1, text.size() ) );
    return part;
}

std::optional<std::string> fromHex( std::string_view text )
{
    if( text.size() % 2 )
        return std::nullopt;
    std::string bytes;
    for( size_t i = 0; i < text.size(); i += 2 )
    {
        uint8_t byte = 0;
        if( std::from_chars( text.data() + i, text.data() + i + 2, byte, 16 ).ptr != text.data() + i + 2 )
            return std::nullopt;
        bytes += static_cast<char>( byte );
    }
    return bytes;
}

template<class Number>
bool read( std::string_view text, int base, Number &number )
{
    auto result = std::from_chars( text.data(), text.data() + text.size(), number, base );
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

std::optional<engine::Target> takeTarget( std::string_view &text )
{
    engine::Target target;
    const std::string_view transport = nextPart( text );
    if( transport != "u" && transport != "t" && transport != "s" )
        return std::nullopt;
    target.transport = transport == "u"   ? engine::Transport::Udp
                       : transport == "t" ? engine::Transport::Tcp
                                          : engine::Transport::Tls;
    const auto address = fromHex( nextPart( text ) );
    if( !address || ( address->size() != 4 && address->size() != 16 ) )
        return std::nullopt;
    if( address->size() == 4 )
        target.remote.bytes[10] = target.remote.bytes[11] = 0xff;
    std::memcpy( target.remote.bytes.data() + 16 - address->size(), address->data(), address->size() );
    if( !read( nextPart( text ), 10, target.remote.port ) || !read( nextPart( text ), 16, target.flow ) )
        return std::nullopt;
    const auto name = fromHex( nextPart( text ) );
    if( !name )
        return std::nullopt;
    target.tlsName = *name;
    return target;
}

} // namespace

std::string Seal::sign( std::initializer_list<std::string_view> parts, size_t bytes ) const
{
    std::string message;
    for( std::string_view part : parts )
    {
        message += std::to_string( part.size() );
        message += ':';
        message += part;
    }
    uint8_t digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if( !HMAC( EVP_sha256(), secret_.data(), static_cast<int>( secret_.size() ),
               reinterpret_cast<const uint8_t *>( message.data() ), message.size(), digest, &length ) )
        return {};
    return toHex( digest, std::min<size_t>( bytes, length ) );
}

DialogToken DialogToken::create( const Seal &seal, const engine::Target &caller, const engine::Target &callee,
                                 std::string_view callerTag )
{
    return { caller, callee, seal.sign( { "caller", callerTag }, markBytes ) };
}

std::string DialogToken::text( const Seal &seal, std::string_view callId ) const
{
    const std::string content = callerMark + "." + textOf( caller ) + "." + textOf( callee );
    return seal.sign( { "dialog", callId, content }, signatureBytes ) + "." + content;
}

std::optional<DialogToken> DialogToken::open( const Seal &seal, std::string_view text, std::string_view callId )
{
    std::string_view content = text;
    const std::string_view signature = nextPart( content );
    const std::string expected = seal.sign( { "dialog", callId, content }, signatureBytes );
    if( expected.empty() || signature.size() != expected.size() ||
        CRYPTO_memcmp( signature.data(), expected.data(), expected.size() ) != 0 )
        return std::nullopt;
    DialogToken token;
    token.callerMark = nextPart( content );
    const auto caller = takeTarget( content );
    const auto callee = takeTarget( content );
    if( !caller || !callee )
        return std::nullopt;
    token.caller = *caller;
    token.callee = *callee;
    return token;
}

const engine::Target &DialogToken::target( const Seal &seal, std::string_view fromTag ) const
{
    return seal.sign( { "caller", fromTag }, markBytes ) == callerMark ? callee : caller;
}

} // namespace sipauthd
