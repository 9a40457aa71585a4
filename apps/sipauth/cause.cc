// Why a response does not match.
#include "cause.h"

#include "sipauth/base/sipauth_quotable_string_private.h"
#include "sipauth/digest/sipauth_digest_algorithm_private.h"
#include "sipauth/digest/sipauth_digest_qop_private.h"
#include "sipauth/digest/sipauth_digest_state_response_private.h"

#include <fmt/format.h>
#include <sipauth/sipauth_digest_algorithm.h>

#include <cstdlib>
#include <optional>

namespace tool
{

namespace
{

std::string hash( int64_t algorithm, const std::string &text )
{
    auto hex = pb::own( sipauth___DigestStateResponseTryHashBuffer( algorithm, pb::buffer( text ) ) );
    return hex ? pb::text( hex ) : "";
}

std::string escaped( const std::string &text )
{
    return pb::textOf( sipauth___QuotableStringEncodeUnq( pb::string( text ) ) );
}

std::string qopToken( int64_t qop )
{
    return pb::textOf( sipauth___DigestQopEncode( qop ) );
}

} // namespace

std::string digestResponse( const DigestInput &in )
{
    std::string a1 = fmt::format( "{}:{}:{}", in.escapeUserName ? escaped( in.userName ) : in.userName,
                                  in.escapeRealm ? escaped( in.realm ) : in.realm, in.password );
    std::string hashA1 = hash( in.algorithm, a1 );
    std::string nonce = escaped( in.nonce );
    std::string cnonce = escaped( in.cnonce );
    if( sipauth___DigestAlgorithmRequiresQop( in.algorithm ) )
        hashA1 = hash( in.algorithm, fmt::format( "{}:{}:{}", hashA1, nonce, cnonce ) );
    std::string a2 = fmt::format( "{}:{}", in.method, in.iri );
    if( in.qop == SIPAUTH_DIGEST_QOP_AUTH_INT && in.hashBody )
        a2 += ":" + hash( in.algorithm, in.body );
    std::string hashA2 = hash( in.algorithm, a2 );
    if( in.qop == SIPAUTH_DIGEST_QOP_NONE )
        return hash( in.algorithm, fmt::format( "{}:{}:{}", hashA1, nonce, hashA2 ) );
    return hash( in.algorithm,
                 fmt::format( "{}:{}:{}:{}:{}:{}", hashA1, nonce, in.nonceCount, cnonce, qopToken( in.qop ), hashA2 ) );
}

namespace
{

class Search
{
public:
    Search( const DigestInput &input, std::string received ) : input_( input ), received_( std::move( received ) ) {}

    /// Tests a variation; once one explains the response, all later ones are skipped.
    template<class Change>
    void attempt( const char *kind, const std::string &text, Change change )
    {
        if( found_ )
            return;
        DigestInput varied = input_;
        change( varied );
        tested_++;
        if( digestResponse( varied ) == received_ )
            found_ = Cause{ kind, text };
    }

    std::optional<Cause> found_;
    int64_t tested_ = 0;
    const DigestInput input_;

private:
    const std::string received_;
};

void tryRealmAndIri( Search &search, const Surroundings &around )
{
    const DigestInput &in = search.input_;
    if( !around.challengeRealm.empty() && around.challengeRealm != in.realm )
        search.attempt( "realm-differs",
                        fmt::format( "the realm differs: the response was computed with the challenge's realm \"{}\", "
                                     "the header says \"{}\"",
                                     around.challengeRealm, in.realm ),
                        [&]( DigestInput &v ) { v.realm = around.challengeRealm; } );
    if( around.requestIri != in.iri )
        search.attempt( "uri-differs",
                        fmt::format( "the uri differs: the response was computed over the Request-URI \"{}\", the "
                                     "header's uri is \"{}\"",
                                     around.requestIri, in.iri ),
                        [&]( DigestInput &v ) { v.iri = around.requestIri; } );
}

std::string withLf( const std::string &body )
{
    std::string result;
    for( char c : body )
        if( c != '\r' )
            result += c;
    return result;
}

void tryBody( Search &search )
{
    const DigestInput &in = search.input_;
    if( in.qop != SIPAUTH_DIGEST_QOP_AUTH_INT )
        return;
    auto body = [&]( const char *what, const std::string &text )
    {
        search.attempt( "body-changed",
                        fmt::format( "the body was changed under auth-int: the response was computed over {}", what ),
                        [&]( DigestInput &v ) { v.body = text; } );
    };
    body( "an empty body", "" );
    body( "the body with line ends of LF alone", withLf( in.body ) );
    body( "the body with one more CR LF at its end", in.body + "\r\n" );
    if( in.body.ends_with( "\r\n" ) )
        body( "the body without its last CR LF", in.body.substr( 0, in.body.size() - 2 ) );
    search.attempt( "body-not-hashed", "qop is auth-int, but the response was computed without the hash of the body",
                    []( DigestInput &v ) { v.hashBody = false; } );
    search.attempt( "body-not-hashed", "qop is auth-int, but the response was computed as for qop auth",
                    []( DigestInput &v ) { v.qop = SIPAUTH_DIGEST_QOP_AUTH; } );
}

void tryNonceCount( Search &search, const std::string &written )
{
    const DigestInput &in = search.input_;
    if( in.qop == SIPAUTH_DIGEST_QOP_NONE )
        return;
    auto count = [&]( const char *kind, const std::string &text )
    {
        search.attempt( kind,
                        fmt::format( "the nonce count was hashed as \"{}\": it must enter the hash as eight lower-case "
                                     "hexadecimal digits, padded with zeros",
                                     text ),
                        [&]( DigestInput &v ) { v.nonceCount = text; } );
    };
    uint64_t value = std::strtoull( in.nonceCount.c_str(), nullptr, 16 );
    count( "nc-upper-case", fmt::format( "{:08X}", value ) );
    count( "nc-unpadded", fmt::format( "{:x}", value ) );
    count( "nc-unpadded", written );
    count( "nc-decimal", fmt::format( "{:08}", value ) );
    count( "nc-decimal", fmt::format( "{}", value ) );
    count( "nc-not-hashed", "" );
}

void tryAlgorithms( Search &search )
{
    for( int64_t algorithm = 0; SIPAUTH_DIGEST_ALGORITHM_OK( algorithm ); algorithm++ )
    {
        if( algorithm == search.input_.algorithm )
            continue;
        search.attempt( "other-algorithm",
                        fmt::format( "the response was computed with the algorithm {}, the header says {}",
                                     pb::textOf( sipauth___DigestAlgorithmEncode( algorithm ) ),
                                     pb::textOf( sipauth___DigestAlgorithmEncode( search.input_.algorithm ) ) ),
                        [&]( DigestInput &v ) { v.algorithm = algorithm; } );
    }
}

void tryEscapes( Search &search )
{
    search.attempt( "user-name-unescaped", "the user name was hashed without the escapes that it has in the header",
                    []( DigestInput &v ) { v.escapeUserName = false; } );
    search.attempt( "realm-unescaped", "the realm was hashed without the escapes that it has in the header",
                    []( DigestInput &v ) { v.escapeRealm = false; } );
    search.attempt( "unescaped", "user name and realm were hashed without the escapes that they have in the header",
                    []( DigestInput &v ) { v.escapeUserName = v.escapeRealm = false; } );
}

void tryQops( Search &search )
{
    const DigestInput &in = search.input_;
    if( in.qop != SIPAUTH_DIGEST_QOP_NONE )
        search.attempt( "other-qop", "the header has a qop, but the response was computed in the old form without one",
                        []( DigestInput &v ) { v.qop = SIPAUTH_DIGEST_QOP_NONE; } );
    else if( !in.cnonce.empty() )
        search.attempt( "other-qop", "the header has no qop, but the response was computed with qop auth",
                        []( DigestInput &v ) { v.qop = SIPAUTH_DIGEST_QOP_AUTH; } );
}

void tryMethods( Search &search )
{
    constexpr const char *methods[] = { "REGISTER", "INVITE", "ACK",       "CANCEL", "BYE",   "OPTIONS", "MESSAGE",
                                        "INFO",     "PRACK",  "SUBSCRIBE", "NOTIFY", "REFER", "UPDATE",  "PUBLISH" };
    for( const char *method : methods )
        if( method != search.input_.method )
            search.attempt( "other-method",
                            fmt::format( "the response was computed for the method {}, this request is {}", method,
                                         search.input_.method ),
                            [&]( DigestInput &v ) { v.method = method; } );
}

void tryUserNames( Search &search, const std::string &inHeader )
{
    const std::string &user = search.input_.userName;
    auto name = [&]( const std::string &text )
    {
        search.attempt( "other-user-name",
                        fmt::format( "the response was computed with the user name \"{}\", not \"{}\"", text, user ),
                        [&]( DigestInput &v ) { v.userName = text; } );
    };
    if( inHeader != user )
        name( inHeader );
    size_t at = user.find( '@' );
    if( at != std::string::npos )
        name( user.substr( 0, at ) );
    else
        name( user + "@" + search.input_.realm );
}

} // namespace

Diagnosis diagnose( const DigestInput &input, const std::string &received, const Surroundings &around )
{
    Search search( input, received );
    tryRealmAndIri( search, around );
    tryBody( search );
    tryNonceCount( search, around.writtenNonceCount );
    tryAlgorithms( search );
    tryEscapes( search );
    tryQops( search );
    tryMethods( search );
    tryUserNames( search, around.headerUserName );
    if( !search.found_ )
        search.found_ = Cause{ "wrong-password",
                               fmt::format( "wrong password for user \"{}\": none of {} other ways to compute the "
                                            "response gives the received one",
                                            input.userName, search.tested_ ) };
    return { *search.found_, search.tested_ };
}

} // namespace tool
