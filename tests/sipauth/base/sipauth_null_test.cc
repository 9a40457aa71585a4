// Every accessor of a value refuses to work without one, and names the argument that is missing.
#include "support/abort.h"
#include "support/text.h"

#include <sipauth/sipauth.h>

#include <gtest/gtest.h>

#include <functional>
#include <type_traits>

namespace
{

using pb::own;
using support::string;

void expectAbort( const std::function<void()> &call, const std::string &path, const std::string &text )
{
    EXPECT_ABORT( call(), path, text );
}

// A function that reads a value aborts without one, under the name that the value has in its type.
template<class Result, class T>
void expectReadRefusesNull( const std::string &path, const std::string &holder, Result ( *read )( T * ) )
{
    expectAbort( [&] { (void) read( nullptr ); }, path, holder );
}

// A function that changes a value takes the address of the caller's reference, and neither may be missing.
template<class T, class... Args>
void expectChangeRefusesNull( const std::string &path, const std::string &holder, void ( *change )( T **, Args... ),
                              std::type_identity_t<Args>... args )
{
    T *none = nullptr;
    expectAbort( [&] { change( nullptr, args... ); }, path, holder );
    expectAbort( [&] { change( &none, args... ); }, path, "*" + holder );
}

// The functions of a field, as the field rows make them: a getter and a setter, or all four.

#define EXPECT_GET_REFUSES_NULL( path, holder, get ) expectReadRefusesNull( path, #holder, get )

#define EXPECT_CHANGE_REFUSES_NULL( path, Type, holder, change, ... )                                                  \
    expectChangeRefusesNull<Type>( path, #holder, change __VA_OPT__(, ) __VA_ARGS__ )

#define EXPECT_VALUE_REFUSES_NULL( path, Type, holder, Name, value )                                                   \
    EXPECT_GET_REFUSES_NULL( path, holder, Type##Name );                                                               \
    EXPECT_CHANGE_REFUSES_NULL( path, Type, holder, Type##Set##Name, value )

#define EXPECT_OBJECT_REFUSES_NULL( path, Type, holder, Name, value )                                                  \
    EXPECT_VALUE_REFUSES_NULL( path, Type, holder, Name, value );                                                      \
    EXPECT_GET_REFUSES_NULL( path, holder, Type##Has##Name );                                                          \
    EXPECT_CHANGE_REFUSES_NULL( path, Type, holder, Type##Del##Name )

#define EXPECT_VECTOR_REFUSES_NULL( path, Type, holder, Names, Name, item )                                            \
    EXPECT_GET_REFUSES_NULL( path, holder, Type##Names##Vector );                                                      \
    EXPECT_GET_REFUSES_NULL( path, holder, Type##Names##Length );                                                      \
    expectAbort( [&] { (void) Type##Name##At( nullptr, 0 ); }, path, #holder );                                        \
    EXPECT_CHANGE_REFUSES_NULL( path, Type, holder, Type##Clear##Names );                                              \
    EXPECT_CHANGE_REFUSES_NULL( path, Type, holder, Type##Prepend##Name, item );                                       \
    EXPECT_CHANGE_REFUSES_NULL( path, Type, holder, Type##Append##Name, item );                                        \
    EXPECT_CHANGE_REFUSES_NULL( path, Type, holder, Type##Insert##Name, 0, item );                                     \
    EXPECT_CHANGE_REFUSES_NULL( path, Type, holder, Type##Set##Names##Vector, own( pbVectorCreate() ) )

#define EXPECT_STANDARD_FUNCTIONS_REFUSE_NULL( path, Type )                                                            \
    expectReadRefusesNull( path, "stdfunc retain: obj", Type##Retain );                                                \
    expectReadRefusesNull( path, "stdfunc release: obj", Type##Release );                                              \
    expectReadRefusesNull( path, "stdfunc tostring: obj", Type##ToString );                                            \
    expectAbort( [&] { (void) Type##Compare( nullptr, nullptr ); }, path, "stdfunc compare a: objA" );                 \
    EXPECT_EQ( Type##From( nullptr ), nullptr )

TEST( NullDeathTest, StandardFunctionsRefuseNothing )
{
    EXPECT_STANDARD_FUNCTIONS_REFUSE_NULL( "source/sipauth/base/sipauth_authenticate", sipauthAuthenticate );
    EXPECT_STANDARD_FUNCTIONS_REFUSE_NULL( "source/sipauth/base/sipauth_authorization", sipauthAuthorization );
    EXPECT_STANDARD_FUNCTIONS_REFUSE_NULL( "source/sipauth/base/sipauth_challenge", sipauthChallenge );
    EXPECT_STANDARD_FUNCTIONS_REFUSE_NULL( "source/sipauth/base/sipauth_credentials", sipauthCredentials );
    EXPECT_STANDARD_FUNCTIONS_REFUSE_NULL( "source/sipauth/base/sipauth_options", sipauthOptions );
    EXPECT_STANDARD_FUNCTIONS_REFUSE_NULL( "source/sipauth/digest/sipauth_digest_state", sipauthDigestState );
}

TEST( NullDeathTest, AuthenticateIsNamed )
{
    const char *path = "source/sipauth/base/sipauth_authenticate";
    auto text = string( "MD5" );
    EXPECT_VALUE_REFUSES_NULL( path, sipauthAuthenticate, ac, Scheme, SIPAUTH_SCHEME_BASIC );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthenticate, ac, BasicRealm, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthenticate, ac, DigestRealm, text );
    EXPECT_VECTOR_REFUSES_NULL( path, sipauthAuthenticate, ac, DigestIris, DigestIri, string( "sip:a" ) );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthenticate, ac, DigestNonce, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthenticate, ac, DigestOpaque, text );
    EXPECT_VALUE_REFUSES_NULL( path, sipauthAuthenticate, ac, DigestStale, 1 );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthenticate, ac, DigestAlgorithm, text );
    EXPECT_VECTOR_REFUSES_NULL( path, sipauthAuthenticate, ac, DigestQopOptions, DigestQopOption, text );
}

TEST( NullDeathTest, AuthorizationIsNamed )
{
    const char *path = "source/sipauth/base/sipauth_authorization";
    auto text = string( "MD5" );
    EXPECT_VALUE_REFUSES_NULL( path, sipauthAuthorization, ar, Scheme, SIPAUTH_SCHEME_BASIC );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, BasicUserName, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, BasicPassword, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, DigestUserName, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, DigestRealm, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, DigestNonce, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, DigestIri, string( "sip:a" ) );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, DigestResponse, string( "0a" ) );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, DigestAlgorithm, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, DigestCnonce, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, DigestOpaque, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, DigestMessageQop, text );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthAuthorization, ar, DigestNonceCount, 1 );
}

TEST( NullDeathTest, ChallengeIsNamed )
{
    const char *path = "source/sipauth/base/sipauth_challenge";
    auto authenticate = own( sipauthAuthenticateCreate( SIPAUTH_SCHEME_BASIC ) );
    EXPECT_VECTOR_REFUSES_NULL( path, sipauthChallenge, ch, Authenticates, Authenticate, authenticate );
}

TEST( NullDeathTest, CredentialsAreNamed )
{
    const char *path = "source/sipauth/base/sipauth_credentials";
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthCredentials, cred, UserName, string( "alice" ) );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthCredentials, cred, Password, string( "secret" ) );
}

#define EXPECT_SET_REFUSES_NULL( path, One, Many, element )                                                            \
    expectAbort( [&] { (void) sipauthOptionsHas##One( nullptr, element ); }, path, "opt" );                            \
    EXPECT_CHANGE_REFUSES_NULL( path, sipauthOptions, opt, sipauthOptionsSet##One, element );                          \
    EXPECT_CHANGE_REFUSES_NULL( path, sipauthOptions, opt, sipauthOptionsDel##One, element );                          \
    EXPECT_CHANGE_REFUSES_NULL( path, sipauthOptions, opt, sipauthOptionsClear##Many );                                \
    EXPECT_DEFAULT_REFUSES_NULL( path, Many )

#define EXPECT_DEFAULT_REFUSES_NULL( path, Name )                                                                      \
    EXPECT_GET_REFUSES_NULL( path, opt, sipauthOptions##Name##Default );                                               \
    EXPECT_CHANGE_REFUSES_NULL( path, sipauthOptions, opt, sipauthOptionsSet##Name##Default )

#define EXPECT_DEFAULTABLE_REFUSES_NULL( path, Name, value )                                                           \
    EXPECT_VALUE_REFUSES_NULL( path, sipauthOptions, opt, Name, value );                                               \
    EXPECT_DEFAULT_REFUSES_NULL( path, Name )

TEST( NullDeathTest, OptionsAreNamed )
{
    const char *path = "source/sipauth/base/sipauth_options";
    EXPECT_VALUE_REFUSES_NULL( path, sipauthOptions, opt, Defaults, SIPAUTH_DEFAULTS_MINIMAL );
    EXPECT_SET_REFUSES_NULL( path, Scheme, Schemes, SIPAUTH_SCHEME_BASIC );
    EXPECT_SET_REFUSES_NULL( path, DigestAlgorithm, DigestAlgorithms, SIPAUTH_DIGEST_ALGORITHM_MD5 );
    EXPECT_SET_REFUSES_NULL( path, DigestQop, DigestQops, SIPAUTH_DIGEST_QOP_AUTH );
    EXPECT_DEFAULTABLE_REFUSES_NULL( path, DigestLowQualityRandomness, 1 );
    EXPECT_DEFAULTABLE_REFUSES_NULL( path, ServerChallengeExpiration, 1 );
    EXPECT_DEFAULTABLE_REFUSES_NULL( path, ServerRechallenge, 1 );
    EXPECT_DEFAULTABLE_REFUSES_NULL( path, ServerRechallengeInvalidAuthorization, 1 );
    EXPECT_DEFAULTABLE_REFUSES_NULL( path, ServerAcceptAuthorizationReuse, 1 );
    EXPECT_DEFAULTABLE_REFUSES_NULL( path, ServerDigestAcceptNonceReuse, 1 );
    EXPECT_DEFAULTABLE_REFUSES_NULL( path, ServerDigestOmitOpaque, 1 );
    EXPECT_DEFAULTABLE_REFUSES_NULL( path, RfcBaseOptions, own( rfcBaseOptionsCreate() ) );
    auto directory = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    auto reference = own( usrReferenceCreate( string( "users" ), string( "alice" ) ) );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthOptions, opt, ClientUsrReference, reference );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthOptions, opt, ServerRealm, string( "example.com" ) );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthOptions, opt, ServerUsrDirectory, directory );
    EXPECT_OBJECT_REFUSES_NULL( path, sipauthOptions, opt, ServerUsrDirectoryName, string( "users" ) );
}

TEST( NullDeathTest, DigestStateIsNamed )
{
    const char *path = "source/sipauth/digest/sipauth_digest_state";
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateTryCreateNext );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateConstructAuthenticate );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateOptions );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateAlgorithm );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateQopAuthInt );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateQopAuth );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateRealm );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateNonce );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateNonceCount );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateHasNonceCount );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateOpaque );
    EXPECT_GET_REFUSES_NULL( path, state, sipauthDigestStateHasOpaque );
}

} // namespace
