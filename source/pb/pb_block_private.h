// The memory of objects: small blocks that a thread freed wait in lists of its own for its next objects, since a
// typical call makes a dozen small objects and frees them all again.
#ifndef PB_PB_BLOCK_PRIVATE_H
#define PB_PB_BLOCK_PRIVATE_H

#include <pb/pb_base.h>

namespace pb
{

/// A block of at least SIZE bytes, from malloc or of the same kind; its content is undefined. Aborts when there is no
/// memory.
void *allocateBlock( int64_t size );

/// Gives a block back. Any thread.
void freeBlock( void *block );

} // namespace pb

#endif
