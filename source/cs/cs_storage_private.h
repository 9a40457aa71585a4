// Files as a whole: reading one, and putting other content in its place so that no crash leaves half of it.
#ifndef CS_CS_STORAGE_PRIVATE_H
#define CS_CS_STORAGE_PRIVATE_H

#include <pb/pb_buffer.h>
#include <pb/pb_ref.hh>
#include <sys/stat.h>

#include <string>

namespace cs
{

/// The content of a file and what the system says about it. Null with ERROR set to what failed.
pb::Ref<pbBuffer> readFile( const std::string &path, struct stat &status, std::string &error );

/// Puts BYTES under PATH, with mode and owner as in STATUS: they are written to a new file in the same folder, which
/// takes the name once it is on stable storage. False with ERROR set to what failed; then what stood under the name is
/// untouched, unless it was the folder that could not be made stable.
bool replaceFile( const std::string &path, pbBuffer *bytes, const struct stat &status, std::string &error );

} // namespace cs

#endif
