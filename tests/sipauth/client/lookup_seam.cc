// The functions of the platform that the seam stands in for. This program's definitions go before those of the shared
// library, which answer as long as no test asks for something else.
#include "lookup_seam.h"

#include <usr/usr_lookup_identifier.h>

#include <dlfcn.h>

#include <bit>
#include <cstdlib>
#include <optional>

namespace
{

std::optional<client::LookupSeam::What> seam;

template<class Function>
Function *platformFunction( const char *name )
{
    void *found = dlsym( RTLD_NEXT, name );
    if( !found )
        std::abort();
    return std::bit_cast<Function *>( found );
}

} // namespace

client::LookupSeam::LookupSeam( What what )
{
    seam = what;
}

client::LookupSeam::~LookupSeam()
{
    seam.reset();
}

pbBool usrLookupIdentifierEnd( usrLookupIdentifier *lookup )
{
    static auto *const end = platformFunction<decltype( usrLookupIdentifierEnd )>( "usrLookupIdentifierEnd" );
    return seam == client::LookupSeam::Pending ? 0 : end( lookup );
}

usrUser *usrLookupIdentifierResult( usrLookupIdentifier *lookup )
{
    static auto *const result = platformFunction<decltype( usrLookupIdentifierResult )>( "usrLookupIdentifierResult" );
    return seam == client::LookupSeam::Empty ? nullptr : result( lookup );
}
