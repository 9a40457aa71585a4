// What all files of this module share.
#ifndef SIPAUTH_SIPAUTH_PRIVATE_H
#define SIPAUTH_SIPAUTH_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule sipauth___module;

#endif
