// A progress bar on standard error for long file operations, driven by the
// growth of the output file while the library streams into it.
#ifndef CMSKIT_CLI_PROGRESS_H
#define CMSKIT_CLI_PROGRESS_H

#include <cstdint>
#include <functional>
#include <string>

namespace cmskit_cli {

// Runs `operation`; when `expectedBytes` exceeds 64 MiB and standard error is
// a terminal, shows how far `outputPath` has grown meanwhile.
void RunWithProgress(const std::function<void()>& operation, const std::string& outputPath,
                     uint64_t expectedBytes);

}  // namespace cmskit_cli

#endif
