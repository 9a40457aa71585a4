// User directories: for now no more than the name by which configurations know them.
#include "pb/pb_type.h"
#include "usr/usr_private.h"

#include <cs/cs_object_record.h>
#include <usr/usr_directory.h>

struct usrDirectory
{
    pb::Object object;
    pb::Field<pbString> name;
};

PB_TYPE( usrDirectory, USR_DIRECTORY, usr, usr___DirectoryFreeFunc, nullptr );

static void usr___DirectoryFreeFunc( pbObj *obj )
{
    usrDirectory *directory = usrDirectoryFrom( obj );
    PB_ASSERT( directory );
    pb::poison( directory->name );
}

usrDirectory *usrDirectoryCreate( pbString *name )
{
    PB_ASSERT( csObjectRecordNameOk( name ) );
    auto directory = pb::create<usrDirectory>( usrDirectorySort() );
    directory->name = pb::share( name );
    return directory.give();
}

pbString *usrDirectoryName( usrDirectory *directory )
{
    PB_ASSERT( directory );
    return directory->name.shareOut();
}
