// What the files of this module share.
#ifndef RFC_RFC_PRIVATE_H
#define RFC_RFC_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule rfc___module;

#endif
