// Configuration files, as they were read.
#ifndef CS_CS_FILE_H
#define CS_CS_FILE_H

#include <cs/cs_format.h>

PB_BEGIN_DECLS

/// A configuration file.
typedef struct csFile csFile;

/// The sort of configuration files; static, not counted for the caller.
PB_EXPORT pbSort *csFileSort( void );
/// Takes one more reference of OBJ and returns OBJ.
PB_EXPORT csFile *csFileRetain( csFile *obj );
/// Gives back one reference of OBJ; the last one frees it.
PB_EXPORT void csFileRelease( csFile *obj );
/// OBJ as a generic object; takes no reference, null passes through.
PB_EXPORT pbObj *csFileObj( csFile *obj );
/// OBJ as a configuration file; takes no reference, null passes through, an object of another sort aborts.
PB_EXPORT csFile *csFileFrom( pbObj *obj );
/// A new string: the name of its sort.
PB_EXPORT pbString *csFileToString( csFile *obj );
/// Negative, 0 or positive: orders by identity, since values of this type have no order of their own.
PB_EXPORT int64_t csFileCompare( csFile *objA, csFile *objB );
/// 1 when csFileCompare gives 0, else 0.
PB_EXPORT pbBool csFileEquals( csFile *objA, csFile *objB );

/// Reads a file; null with *REASON (when REASON is not null) set to a new string that begins with the path and says
/// what is wrong in which line.
PB_EXPORT csFile *csFileTryRead( csFormat *format, pbString *path, pbString **reason );
/// What the file holds.
PB_EXPORT csUpdate *csFileUpdate( csFile *file );
/// As csUpdateTryNormalize of an update that began as this file's; *REASON (when REASON is not null) begins with path
/// and line.
PB_EXPORT csUpdate *csFileTryNormalize( csFile *file, csUpdate *update, int64_t storeFlags, pbString **reason );
/// Writes an update in place of what the file holds: at each moment the path leads to the old or to the new content,
/// whole, and what stood there before is kept beside it with ".bak" behind its name. 1 when all of it is on stable
/// storage. 0 with *REASON (when REASON is not null) set to a new string otherwise: the path still leads to the old
/// content, unless the last step, making the new name durable, is what failed. A file that has changed since it was
/// read is left alone. Where the path is a symbolic link, the file that it leads to is written.
PB_EXPORT pbBool csFileTryRewrite( csFile *file, csUpdate *update, pbString **reason );

PB_END_DECLS

#endif
