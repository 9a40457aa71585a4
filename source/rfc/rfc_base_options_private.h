// The options of the base encodings, as their encoder reads them.
#ifndef RFC_RFC_BASE_OPTIONS_PRIVATE_H
#define RFC_RFC_BASE_OPTIONS_PRIVATE_H

#include "pb/pb_object.h"

#include <rfc/rfc_base_options.h>

struct rfcBaseOptions
{
    pb::Object object;
    int64_t alphabet;
    pbBool padding;
    int64_t lineLength; ///< 0: no line breaks
};

#endif
