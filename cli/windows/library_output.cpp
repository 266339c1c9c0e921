// Windows: a spool file, copied into the sink once the library has closed
// it. A named pipe would have to survive the library's existence probes and
// open retries on its path; a spool file asks nothing of them.
#include "../library_output.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "../cli_error.h"

namespace cmskit_cli {

namespace {

constexpr size_t kBlock = 1 << 16;

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};

}  // namespace

LibraryOutput::LibraryOutput(ByteSink& sink) : sink_(sink), path_(folder_.File("output")) {}

LibraryOutput::~LibraryOutput() { Stop(); }

uint64_t LibraryOutput::produced() const {
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(path_, error);
  return error ? 0 : size;
}

void LibraryOutput::Drain() {
  errno = 0;
  std::unique_ptr<FILE, FileCloser> spool(std::fopen(path_.c_str(), "rb"));
  // The library wrote nothing, not even an empty file.
  if (!spool && errno == ENOENT) return;
  if (!spool) ThrowErrno(errno, "cannot read the spool file " + path_);
  std::vector<uint8_t> block(kBlock);
  for (;;) {
    const size_t got = std::fread(block.data(), 1, block.size(), spool.get());
    if (got == 0) break;
    sink_.Write(block.data(), got);
  }
  if (std::ferror(spool.get())) ThrowErrno(errno, "cannot read the spool file " + path_);
}

void LibraryOutput::Stop() {}

void LibraryOutput::Finish() { Drain(); }

}  // namespace cmskit_cli
