// Users.
#include "usr/usr_user_private.h"

#include "pb/pb_type.h"
#include "tr/tr_trace.h"
#include "usr/usr_private.h"

struct usrUser
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<usrDirectory> directory;
    pb::Field<pbString> userId;
    pb::Field<pbStore> credentials; ///< null unless a lookup brought them along
    bool decoy;
};

PB_TYPE( usrUser, USR_USER, usr, usr___UserFreeFunc, nullptr );

static void usr___UserFreeFunc( pbObj *obj )
{
    usrUser *user = usrUserFrom( obj );
    PB_ASSERT( user );
    pb::poison( user->stream, user->directory, user->userId, user->credentials );
}

usrUser *usrUserCreate( usrDirectory *directory, pbString *userId )
{
    return usr___UserCreateWithCredentials( directory, userId, nullptr, 0 );
}

usrUser *usr___UserCreateWithCredentials( usrDirectory *directory, pbString *userId, pbStore *optionalCredentials,
                                          pbBool decoy )
{
    PB_ASSERT( directory );
    PB_ASSERT( userId );
    auto user = pb::create<usrUser>( usrUserSort() );
    user->stream = tr::begin( "USR_USER", nullptr );
    user->directory = pb::share( directory );
    user->userId = pb::share( userId );
    user->credentials = pb::share( optionalCredentials );
    user->decoy = decoy != 0;
    tr::whenRecorded( user->stream,
                      [&] { trStreamSetPropertyCstrString( user->stream, "userId", -1, user->userId ); } );
    return user.give();
}

usrDirectory *usrUserDirectory( usrUser *user )
{
    PB_ASSERT( user );
    return user->directory.shareOut();
}

pbString *usrUserId( usrUser *user )
{
    PB_ASSERT( user );
    return user->userId.shareOut();
}

pbBool usrUserIsDecoy( usrUser *user )
{
    PB_ASSERT( user );
    return user->decoy;
}

void usrUserTraceCompleteAnchor( usrUser *user, trAnchor *anchor )
{
    PB_ASSERT( user );
    PB_ASSERT( anchor );
    trAnchorComplete( anchor, user->stream );
}

pbStore *usr___UserCredentials( usrUser *user )
{
    PB_ASSERT( user );
    return user->credentials.shareOut();
}
