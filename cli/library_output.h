// A file name the library can write a result to, whose bytes reach a
// ByteSink of the tool that cannot take a whole file (standard output, a
// device, a filter that must see the bytes).
//
// POSIX: the name is a named pipe in a private folder, drained by a thread
// into the sink while the library writes (constant memory, and the sink sees
// every byte as it is produced). Windows: the name is a spool file in a
// private folder, copied into the sink by Finish().
#ifndef CMSKIT_CLI_LIBRARY_OUTPUT_H
#define CMSKIT_CLI_LIBRARY_OUTPUT_H

#include <atomic>
#include <cstdint>
#include <exception>
#include <string>
#include <thread>

#include "byte_sink.h"
#include "temp_folder.h"

namespace cmskit_cli {

class LibraryOutput {
 public:
  explicit LibraryOutput(ByteSink& sink);
  // Waits for the drain when Finish() was not reached (a failed operation).
  ~LibraryOutput();
  LibraryOutput(const LibraryOutput&) = delete;
  LibraryOutput& operator=(const LibraryOutput&) = delete;

  // Opened by the library with fopen("wb"), written and closed, at most once.
  const char* path() const { return path_.c_str(); }
  // Bytes produced so far, for a progress bar; safe from another thread.
  uint64_t produced() const;
  // Once the library has closed the file: everything it wrote has reached
  // the sink. Rethrows the sink's failure.
  void Finish();

 private:
  void Drain();
  void Stop();

  ByteSink& sink_;
  TempFolder folder_;
  std::string path_;
  std::atomic<uint64_t> produced_{0};
  std::exception_ptr failure_;
  std::thread drain_;
  int readEnd_ = -1;
  int writeEnd_ = -1;
};

}  // namespace cmskit_cli

#endif
