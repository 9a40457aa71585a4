// What the files of this module share.
#ifndef SIPSN_SIPSN_PRIVATE_H
#define SIPSN_SIPSN_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule sipsn___module;

#endif
