// What the files of this module share.
#ifndef CS_CS_PRIVATE_H
#define CS_CS_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule cs___module;

#endif
