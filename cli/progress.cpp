#include "progress.h"

#include <cmskit/cmskit.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <thread>

namespace cmskit_cli {

namespace {

constexpr int kWidth = 40;

void Draw(uint64_t done, uint64_t total) {
  const uint64_t shown = std::min(done, total);
  const int filled = static_cast<int>(shown * kWidth / total);
  std::fprintf(stderr, "\r[%.*s%*s] %3d%%", filled, "########################################",
               kWidth - filled, "", static_cast<int>(shown * 100 / total));
  std::fflush(stderr);
}

void Wipe() {
  std::fprintf(stderr, "\r%*s\r", kWidth + 7, "");
  std::fflush(stderr);
}

}  // namespace

void RunWithProgress(const std::function<void()>& operation, const std::function<uint64_t()>& done,
                     uint64_t expected, bool enabled) {
  if (!enabled || expected <= kProgressThreshold || !_isatty(_fileno(stderr))) {
    operation();
    return;
  }
  std::atomic<bool> finished{false};
  std::exception_ptr failure;
  std::thread worker([&] {
    try {
      operation();
    } catch (...) {
      failure = std::current_exception();
    }
    finished = true;
  });
  while (!finished) {
    Draw(done(), expected);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  worker.join();
  if (failure) {
    Wipe();
    std::rethrow_exception(failure);
  }
  Draw(expected, expected);
  std::fputc('\n', stderr);
}

}  // namespace cmskit_cli
