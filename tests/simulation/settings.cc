// What a side is configured with.
#include "settings.h"

#include <pb/pb_std.hh>

namespace simulation
{

Settings Settings::draw( Random &random )
{
    Settings settings;
    int64_t schemes = random.below( 10 );
    settings.basic = schemes < 4;
    settings.digest = schemes != 0;
    for( bool &allowed : settings.allowed )
        allowed = random.chance( 12 );
    settings.allowed[0] = random.chance( 70 ); // MD5, the cheapest
    settings.qopNone = random.chance( 40 );
    settings.qopAuth = random.chance( 75 );
    settings.qopAuthInt = random.chance( 25 );
    if( random.chance( 3 ) )
        settings.realm.clear();
    constexpr int64_t expirations[] = { 0, 100, 1000, 10000, 60000 };
    settings.expiration = expirations[random.below( 5 )];
    settings.rechallenge = random.chance( 60 );
    settings.rechallengeInvalid = random.chance( 30 );
    settings.acceptReuse = random.chance( 30 );
    settings.acceptNonceReuse = random.chance( 40 );
    settings.omitOpaque = random.chance( 30 );
    settings.directory = random.chance( 97 );
    return settings;
}

pb::Ref<sipauthOptions> Settings::options( usrDirectory *theDirectory ) const
{
    auto options = pb::own( sipauthOptionsCreate() );
    sipauthOptions **opt = options.inout();
    sipauthOptionsClearSchemes( opt );
    if( basic )
        sipauthOptionsSetScheme( opt, SIPAUTH_SCHEME_BASIC );
    if( digest )
        sipauthOptionsSetScheme( opt, SIPAUTH_SCHEME_DIGEST );
    sipauthOptionsClearDigestAlgorithms( opt );
    for( const Algorithm &algorithm : algorithms )
        if( allowed[static_cast<size_t>( algorithm.number )] )
            sipauthOptionsSetDigestAlgorithm( opt, algorithm.number );
    sipauthOptionsClearDigestQops( opt );
    if( qopNone )
        sipauthOptionsSetDigestQop( opt, SIPAUTH_DIGEST_QOP_NONE );
    if( qopAuth )
        sipauthOptionsSetDigestQop( opt, SIPAUTH_DIGEST_QOP_AUTH );
    if( qopAuthInt )
        sipauthOptionsSetDigestQop( opt, SIPAUTH_DIGEST_QOP_AUTH_INT );
    if( !realm.empty() )
        sipauthOptionsSetServerRealm( opt, pb::string( realm ) );
    sipauthOptionsSetServerChallengeExpiration( opt, expiration );
    sipauthOptionsSetServerRechallenge( opt, rechallenge );
    sipauthOptionsSetServerRechallengeInvalidAuthorization( opt, rechallengeInvalid );
    sipauthOptionsSetServerAcceptAuthorizationReuse( opt, acceptReuse );
    sipauthOptionsSetServerDigestAcceptNonceReuse( opt, acceptNonceReuse );
    sipauthOptionsSetServerDigestOmitOpaque( opt, omitOpaque );
    if( directory && theDirectory )
        sipauthOptionsSetServerUsrDirectory( opt, theDirectory );
    return options;
}

int64_t Settings::digestChallenges() const
{
    if( !digest || realm.empty() )
        return 0;
    int64_t count = 0;
    for( const Algorithm &algorithm : algorithms )
    {
        if( !allowed[static_cast<size_t>( algorithm.number )] )
            continue;
        count += qopAuth || qopAuthInt;
        count += qopNone && !algorithm.session;
    }
    return count;
}

} // namespace simulation
