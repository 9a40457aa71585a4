// What the files of this module share.
#ifndef CRY_CRY_PRIVATE_H
#define CRY_CRY_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule cry___module;

#endif
