// What the files of this module share.
#ifndef USR_USR_PRIVATE_H
#define USR_USR_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule usr___module;

#endif
