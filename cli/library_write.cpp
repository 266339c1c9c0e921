#include "library_write.h"

#include <filesystem>
#include <string>

#include "library_output.h"
#include "progress.h"

namespace cmskit_cli {

void WriteThroughLibrary(ByteSink& sink, const Feedback& feedback, uint64_t expected,
                         const std::function<void(const char* path)>& operation) {
  if (const char* file = sink.HandOverFile()) {
    const std::string path = file;
    const auto written = [&path] {
      std::error_code error;
      const uint64_t size = std::filesystem::file_size(path, error);
      return error ? uint64_t{0} : size;
    };
    RunWithProgress([&] { operation(path.c_str()); }, written, expected, feedback.progress);
    return;
  }
  LibraryOutput output(sink);
  RunWithProgress([&] { operation(output.path()); }, [&] { return output.produced(); }, expected,
                  feedback.progress);
  output.Finish();
}

}  // namespace cmskit_cli
