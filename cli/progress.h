// The progress bar: on a terminal, long operations show on standard error
// how far their output has come. --quiet turns it off.
#ifndef CMSKIT_CLI_PROGRESS_H
#define CMSKIT_CLI_PROGRESS_H

#include <cstdint>
#include <functional>

namespace cmskit_cli {

// Outputs expected to be larger than this show the bar.
constexpr uint64_t kProgressThreshold = 64ull << 20;

// Runs `operation`; when `enabled`, `expected` exceeds the threshold and
// standard error is a terminal, draws `done()` against `expected` meanwhile.
// The bar ends with a line break on success and is wiped on failure, so an
// error message stands on a line of its own.
void RunWithProgress(const std::function<void()>& operation, const std::function<uint64_t()>& done,
                     uint64_t expected, bool enabled);

}  // namespace cmskit_cli

#endif
