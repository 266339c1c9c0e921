#include "temp_folder.h"

#include <filesystem>
#include <random>

#include "cli_error.h"

namespace cmskit_cli {

namespace fs = std::filesystem;

namespace {

constexpr int kAttempts = 100;

std::string RandomLetters() {
  static constexpr char kAlphabet[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  std::random_device device;
  std::mt19937 generator(device());
  std::uniform_int_distribution<int> pick(0, sizeof(kAlphabet) - 2);
  std::string letters(10, '0');
  for (char& c : letters) c = kAlphabet[pick(generator)];
  return letters;
}

}  // namespace

TempFolder::TempFolder() {
  std::error_code error;
  const fs::path root = fs::temp_directory_path(error);
  if (error) ThrowErrno(error.default_error_condition().value(), "cannot find the temporary folder");
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const fs::path candidate = root / ("cmskit-" + RandomLetters());
    if (fs::create_directory(candidate, error)) {
      fs::permissions(candidate, fs::perms::owner_all, error);
      path_ = candidate.string();
      return;
    }
    if (error)
      ThrowErrno(error.default_error_condition().value(), "cannot create a folder in " + root.string());
  }
  throw OperationError(80, "cannot create a folder in " + root.string());
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string TempFolder::File(const std::string& name) const { return (fs::path(path_) / name).string(); }

std::string UnusedName(const std::string& folder, const std::string& stem) {
  std::error_code error;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const fs::path candidate = fs::path(folder) / (stem + RandomLetters());
    if (!fs::exists(fs::symlink_status(candidate, error))) return candidate.string();
  }
  throw OperationError(80, "cannot find a free temporary name in " + folder);
}

}  // namespace cmskit_cli
