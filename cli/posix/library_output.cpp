// POSIX: a named pipe. The tool holds both ends open from the start, so
// neither the library's open nor the drain's read can wait for the other,
// and the drain sees the end of the data only once the library has closed
// its end and the tool has closed its own.
#include "../library_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "../cli_error.h"

namespace cmskit_cli {

namespace {

// The library writes a group of blocks at a time; a pipe and drain reads as
// large spare the two threads from taking turns every 64 KiB.
constexpr size_t kBlock = 1 << 20;

void CloseEnd(int& end) {
  if (end >= 0) close(end);
  end = -1;
}

}  // namespace

LibraryOutput::LibraryOutput(ByteSink& sink) : sink_(sink), path_(folder_.File("output")) {
  if (mkfifo(path_.c_str(), 0600) != 0) ThrowErrno(errno, "cannot make the pipe " + path_);
  readEnd_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (readEnd_ >= 0) writeEnd_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
  if (readEnd_ < 0 || writeEnd_ < 0 || fcntl(readEnd_, F_SETFL, 0) != 0) {
    const int error = errno;
    CloseEnd(writeEnd_);
    CloseEnd(readEnd_);
    ThrowErrno(error, "cannot open the pipe " + path_);
  }
#ifdef F_SETPIPE_SZ
  fcntl(writeEnd_, F_SETPIPE_SZ, static_cast<int>(kBlock));  // a larger pipe where the system allows one
#endif
  drain_ = std::thread([this] { Drain(); });
}

LibraryOutput::~LibraryOutput() { Stop(); }

uint64_t LibraryOutput::produced() const { return produced_; }

// After a failure of the sink the pipe is still emptied, so that the
// library is never left waiting on a full pipe.
void LibraryOutput::Drain() {
  std::vector<uint8_t> block(kBlock);
  for (;;) {
    const ssize_t got = read(readEnd_, block.data(), block.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && !failure_) {
      try {
        ThrowErrno(errno, "cannot read the pipe " + path_);
      } catch (...) {
        failure_ = std::current_exception();
      }
    }
    if (got <= 0) return;
    produced_ += static_cast<uint64_t>(got);
    if (failure_) continue;
    try {
      sink_.Write(block.data(), static_cast<size_t>(got));
    } catch (...) {
      failure_ = std::current_exception();
    }
  }
}

void LibraryOutput::Stop() {
  CloseEnd(writeEnd_);
  if (drain_.joinable()) drain_.join();
  CloseEnd(readEnd_);
}

void LibraryOutput::Finish() {
  Stop();
  if (failure_) std::rethrow_exception(failure_);
}

}  // namespace cmskit_cli
