// What a file argument names, judged before anything is opened: standard
// input or output ("-"), nothing yet, a regular file, a directory, or
// something else (a pipe, a device, a socket) that can be read or written
// only as a stream.
#ifndef CMSKIT_CLI_PATH_KIND_H
#define CMSKIT_CLI_PATH_KIND_H

#include <string>
#include <system_error>

namespace cmskit_cli {

enum class PathKind { kStandard, kMissing, kRegular, kDirectory, kStream };

// Follows symbolic links. `error` is set only when the path could not be
// examined for another reason than its absence (the kind is then kMissing).
PathKind ClassifyPath(const std::string& path, std::error_code& error);

// The argument as messages name it: "-" is standard input or output.
std::string DisplayName(const std::string& path, bool output);

// Whether two arguments name the same file (through links or another
// spelling), whether or not it exists yet.
bool SamePath(const std::string& a, const std::string& b);

}  // namespace cmskit_cli

#endif
