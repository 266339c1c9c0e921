// Runs a fuzz target's entry point over files and folders of inputs without
// libFuzzer, so the seed corpus and the regression inputs run under ctest.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

int ReplayFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    fprintf(stderr, "cannot read %s\n", path.string().c_str());
    return 1;
  }
  const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  int failures = 0;
  size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path root(argv[i]);
    if (!std::filesystem::is_directory(root)) {
      failures += ReplayFile(root);
      ++count;
      continue;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      if (!entry.is_regular_file()) continue;
      failures += ReplayFile(entry.path());
      ++count;
    }
  }
  printf("replayed %zu inputs\n", count);
  return failures == 0 && count > 0 ? 0 : 1;
}
