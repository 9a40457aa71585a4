// What the files of this module share.
#ifndef HOST_HOST_PRIVATE_H
#define HOST_HOST_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule host___module;

#endif
