// The functions that stand in for those of the same names. The linker sends the calls of this program here.
#include "seam.h"

#include <sipauth/sipauth_value.h>
#include <usr/usr_lookup_identifier.h>

#include <optional>

// What the linker calls the functions themselves, and those here.
pbBool lookupEnd( usrLookupIdentifier *lookup ) __asm__( "__real_usrLookupIdentifierEnd" );
usrUser *lookupResult( usrLookupIdentifier *lookup ) __asm__( "__real_usrLookupIdentifierResult" );
pbBool digestUserNameOk( pbString *userName ) __asm__( "__real_sipauthValueDigestUserNameOk" );
pbBool lookupEndOrSeam( usrLookupIdentifier *lookup ) __asm__( "__wrap_usrLookupIdentifierEnd" );
usrUser *lookupResultOrSeam( usrLookupIdentifier *lookup ) __asm__( "__wrap_usrLookupIdentifierResult" );
pbBool digestUserNameOkOrSeam( pbString *userName ) __asm__( "__wrap_sipauthValueDigestUserNameOk" );

namespace
{

std::optional<client::Seam::What> seam;

} // namespace

client::Seam::Seam( What what )
{
    seam = what;
}

client::Seam::~Seam()
{
    seam.reset();
}

pbBool lookupEndOrSeam( usrLookupIdentifier *lookup )
{
    return seam == client::Seam::LookupPending ? 0 : lookupEnd( lookup );
}

usrUser *lookupResultOrSeam( usrLookupIdentifier *lookup )
{
    return seam == client::Seam::LookupEmpty ? nullptr : lookupResult( lookup );
}

pbBool digestUserNameOkOrSeam( pbString *userName )
{
    return seam == client::Seam::DigestUserNameRefused ? 0 : digestUserNameOk( userName );
}
