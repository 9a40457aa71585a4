// What the files of this module share.
#ifndef PB_PB_PRIVATE_H
#define PB_PB_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule pb___module;

#endif
