#include "progress.h"

#include <cmskit/cmskit.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <thread>

namespace cmskit_cli {

namespace {

constexpr uint64_t kProgressThreshold = 64ull << 20;

void Draw(uint64_t done, uint64_t total) {
  const int width = 40;
  const int filled = total ? static_cast<int>(std::min<uint64_t>(done, total) * width / total) : width;
  std::fprintf(stderr, "\r[%.*s%*s] %3d%%", filled, "########################################",
               width - filled, "",
               total ? static_cast<int>(std::min<uint64_t>(done, total) * 100 / total) : 100);
  std::fflush(stderr);
}

}  // namespace

void RunWithProgress(const std::function<void()>& operation, const std::string& outputPath,
                     uint64_t expectedBytes) {
  if (expectedBytes <= kProgressThreshold || !_isatty(_fileno(stderr))) {
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
    std::error_code error;
    const uint64_t size = std::filesystem::file_size(outputPath, error);
    Draw(error ? 0 : size, expectedBytes);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  worker.join();
  Draw(expectedBytes, expectedBytes);
  std::fputc('\n', stderr);
  if (failure) std::rethrow_exception(failure);
}

}  // namespace cmskit_cli
