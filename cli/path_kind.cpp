#include "path_kind.h"

#include <filesystem>

namespace cmskit_cli {

namespace fs = std::filesystem;

PathKind ClassifyPath(const std::string& path, std::error_code& error) {
  error.clear();
  if (path == "-") return PathKind::kStandard;
  const fs::file_status status = fs::status(path, error);
  if (error == std::errc::no_such_file_or_directory || status.type() == fs::file_type::not_found) {
    error.clear();
    return PathKind::kMissing;
  }
  if (error) return PathKind::kMissing;
  if (status.type() == fs::file_type::regular) return PathKind::kRegular;
  if (status.type() == fs::file_type::directory) return PathKind::kDirectory;
  return PathKind::kStream;
}

std::string DisplayName(const std::string& path, bool output) {
  if (path != "-") return path;
  return output ? "standard output" : "standard input";
}

bool SamePath(const std::string& a, const std::string& b) {
  if (a == b) return true;
  if (a == "-" || b == "-") return false;
  std::error_code error;
  if (fs::equivalent(a, b, error)) return true;
  const fs::path left = fs::weakly_canonical(a, error);
  if (error) return false;
  const fs::path right = fs::weakly_canonical(b, error);
  return !error && left == right;
}

}  // namespace cmskit_cli
