#include "library_write.h"

#include "library_output.h"
#include "progress.h"

namespace cmskit_cli {

void WriteThroughLibrary(ByteSink& sink, const Feedback& feedback, uint64_t expected,
                         const std::function<void(const char* path)>& operation) {
  LibraryOutput output(sink);
  RunWithProgress([&] { operation(output.path()); }, [&] { return output.produced(); }, expected,
                  feedback.progress);
  output.Finish();
}

}  // namespace cmskit_cli
