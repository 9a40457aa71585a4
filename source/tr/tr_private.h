// What the files of this module share.
#ifndef TR_TR_PRIVATE_H
#define TR_TR_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule tr___module;

#endif
