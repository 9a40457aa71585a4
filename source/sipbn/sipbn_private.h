// What the files of this module share.
#ifndef SIPBN_SIPBN_PRIVATE_H
#define SIPBN_SIPBN_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule sipbn___module;

#endif
