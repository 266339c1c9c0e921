#include "small_file.h"

#include <fstream>
#include <iterator>

#include "cli_error.h"

namespace cmskit_cli {

std::vector<uint8_t> ReadSmallFile(const std::string& path, const std::string& name) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw OperationError(2, "cannot read " + name);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace cmskit_cli
