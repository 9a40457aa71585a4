// User directories as their users and the configuration service see them.
#include "usr/usr_directory_private.h"

#include "pb/pb_type.h"
#include "usr/usr_private.h"

#include <cs/cs_sort_backend.h>

PB_TYPE( usrDirectory, USR_DIRECTORY, usr, usr___DirectoryFreeFunc, nullptr );

static csSortBackend *usr___directoryBackend = nullptr;

static void usr___DirectoryFreeFunc( pbObj *obj )
{
    usrDirectory *directory = usrDirectoryFrom( obj );
    PB_ASSERT( directory );
    usr___DirectoryImpHalt( directory->imp );
    pb::poison( directory->imp );
}

namespace
{

pb::Ref<pbStore> orEmpty( pbStore *config )
{
    return config ? pb::share( config ) : pb::own( pbStoreCreate() );
}

} // namespace

usrDirectory *usrDirectoryTryCreate( pbStore *config, trAnchor *anchor, pbString **reason )
{
    auto imp = pb::own( usr___DirectoryImpTryCreate( config, anchor, reason ) );
    if( !imp )
        return nullptr;
    auto directory = pb::create<usrDirectory>( usrDirectorySort() );
    directory->imp = imp;
    return directory.give();
}

pbBool usrDirectoryCheckConfig( pbStore *config, pbString **reason )
{
    auto given = orEmpty( config );
    usr___DirectorySettings settings = {};
    if( !usr___DirectoryConfigTryRead( given, &settings, reason ) )
        return 0;
    if( !settings.driver->check )
        return 1;
    return settings.driver->check( pb::own( usr___DirectoryConfigOfDriver( given ) ), reason );
}

pbStore *usrDirectoryNormalizeConfig( pbStore *config, int64_t storeFlags )
{
    return usr___DirectoryConfigNormalize( orEmpty( config ), nullptr, storeFlags );
}

pbStore *usrDirectoryConfig( usrDirectory *directory, int64_t storeFlags )
{
    PB_ASSERT( directory );
    return usr___DirectoryImpConfig( directory->imp, storeFlags );
}

pbBool usrDirectoryTrySetConfig( usrDirectory *directory, pbStore *config, pbString **reason )
{
    PB_ASSERT( directory );
    return usr___DirectoryImpTrySetConfig( directory->imp, orEmpty( config ), reason );
}

int64_t usrDirectoryChanges( usrDirectory *directory )
{
    PB_ASSERT( directory );
    return directory->imp->changes;
}

pbBool usrDirectoryTellsChanges( usrDirectory *directory )
{
    PB_ASSERT( directory );
    return directory->imp->tellsChanges;
}

void usrDirectoryTraceCompleteAnchor( usrDirectory *directory, trAnchor *anchor )
{
    PB_ASSERT( directory );
    PB_ASSERT( anchor );
    trAnchorComplete( anchor, directory->imp->stream );
}

namespace
{

pbObj *backendTryCreate( pbStore *config, trAnchor *anchor )
{
    return usrDirectoryObj( usrDirectoryTryCreate( config, anchor, nullptr ) );
}

pbStore *backendConfig( pbObj *object, int64_t storeFlags )
{
    return usrDirectoryConfig( usrDirectoryFrom( object ), storeFlags );
}

// What cannot be taken is told in the directory's stream; the service has checked the configuration before.
void backendSetConfig( pbObj *object, pbStore *config )
{
    (void) usrDirectoryTrySetConfig( usrDirectoryFrom( object ), config, nullptr );
}

void backendTraceCompleteAnchor( pbObj *object, trAnchor *anchor )
{
    usrDirectoryTraceCompleteAnchor( usrDirectoryFrom( object ), anchor );
}

} // namespace

void usr___DirectoryStartup()
{
    // A directory that leaves the configuration goes on for those who use it.
    usr___directoryBackend = csSortBackendCreate( usrDirectorySort(), backendTryCreate, backendConfig, backendSetConfig,
                                                  usrDirectoryNormalizeConfig, usrDirectoryCheckConfig,
                                                  backendTraceCompleteAnchor, nullptr );
}

void usr___DirectoryShutdown()
{
    csSortBackendRelease( usr___directoryBackend );
    pb::poisonGlobal( usr___directoryBackend );
}
