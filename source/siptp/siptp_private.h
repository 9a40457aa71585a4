// What the files of this module share.
#ifndef SIPTP_SIPTP_PRIVATE_H
#define SIPTP_SIPTP_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule siptp___module;

#endif
