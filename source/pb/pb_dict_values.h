// What libraries above use of dictionaries besides the public functions.
#ifndef PB_PB_DICT_VALUES_H
#define PB_PB_DICT_VALUES_H

#include <pb/pb_dict.h>

PB_BEGIN_DECLS

/// Sets VALUE under each of COUNT keys, as pbDictSetValue does one after the other. In a big dictionary this takes much
/// less time, since the processor loads the places of several keys at once.
PB_EXPORT void pb___DictSetValues( pbDict **dict, pbString *const *keys, int64_t count, pbObj *value );

PB_END_DECLS

#endif
