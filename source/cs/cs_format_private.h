// The functions of a format.
#ifndef CS_CS_FORMAT_PRIVATE_H
#define CS_CS_FORMAT_PRIVATE_H

#include "pb/pb_object.h"

#include <cs/cs_format.h>

struct csFormat
{
    pb::Object object;
    csFormatTryDecodeFunc tryDecode;
    csFormatEncodeFunc encode;
};

#endif
