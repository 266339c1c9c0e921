// Runs a library call that writes a file, with the name of a LibraryOutput
// whose bytes reach `sink`; `expected` bytes size the progress bar. Returns
// once every byte the library wrote has reached the sink; throws the
// library's failure (from `operation`) first, then the sink's.
#ifndef CMSKIT_CLI_LIBRARY_WRITE_H
#define CMSKIT_CLI_LIBRARY_WRITE_H

#include <cstdint>
#include <functional>

#include "byte_sink.h"

namespace cmskit_cli {

struct Feedback {
  bool progress = true;
};

void WriteThroughLibrary(ByteSink& sink, const Feedback& feedback, uint64_t expected,
                         const std::function<void(const char* path)>& operation);

}  // namespace cmskit_cli

#endif
