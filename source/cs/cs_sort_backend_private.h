// The functions of a sort, and the sorts that have such.
#ifndef CS_CS_SORT_BACKEND_PRIVATE_H
#define CS_CS_SORT_BACKEND_PRIVATE_H

#include "pb/pb_object.h"

#include <cs/cs_sort_backend.h>

struct csSortBackend
{
    pb::Object object;
    pbSort *sort;
    csSortTryCreateFunc tryCreate;
    csSortConfigFunc config;
    csSortSetConfigFunc setConfig;
    csSortNormalizeConfigFunc normalizeConfig;
    csSortCheckConfigFunc checkConfig; ///< null: takes any configuration
    csSortTraceCompleteAnchorFunc traceCompleteAnchor;
    csSortEndFunc end;   ///< null: need not be told
    csSortBackend *next; ///< in the list of all
};

namespace cs
{

/// The backend for the sort of a name ("SIPAUTH_STACK"), or null.
pb::Ref<csSortBackend> sortBackend( pbString *sortName );

} // namespace cs

#endif
