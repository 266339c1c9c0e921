// Certificates and key files: small enough to read whole.
#ifndef CMSKIT_CLI_SMALL_FILE_H
#define CMSKIT_CLI_SMALL_FILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace cmskit_cli {

// The file's bytes; OperationError naming `name` when it cannot be opened.
std::vector<uint8_t> ReadSmallFile(const std::string& path, const std::string& name);

}  // namespace cmskit_cli

#endif
