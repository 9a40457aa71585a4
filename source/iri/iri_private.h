// What the files of this module share.
#ifndef IRI_IRI_PRIVATE_H
#define IRI_IRI_PRIVATE_H

#include <pb/pb_module.h>

extern const pbModule iri___module;

#endif
