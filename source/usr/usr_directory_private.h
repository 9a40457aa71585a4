// What the other files of this module need of a directory.
#ifndef USR_USR_DIRECTORY_PRIVATE_H
#define USR_USR_DIRECTORY_PRIVATE_H

#include "usr/usr_directory_imp_private.h"

#include <usr/usr_directory.h>

/// A directory: it halts its implementation when it is freed.
struct usrDirectory
{
    pb::Object object;
    pb::Field<usr___DirectoryImp> imp;
};

PB_BEGIN_DECLS

/// Registers directories with the configuration service.
void usr___DirectoryStartup( void );
/// Takes them out again.
void usr___DirectoryShutdown( void );

PB_END_DECLS

#endif
