#include "output_file.h"

#include <cerrno>
#include <filesystem>

#include "cli_error.h"
#include "path_kind.h"
#include "standard_streams.h"
#include "temp_folder.h"

namespace cmskit_cli {

namespace fs = std::filesystem;

namespace {

constexpr size_t kBuffer = 1 << 16;
constexpr uint32_t kPathNotFound = 3;

// The file a symbolic link names, so that the link stays and its file is
// replaced; anything else as given.
fs::path ResolvedTarget(const std::string& target) {
  std::error_code error;
  if (!fs::is_symlink(fs::symlink_status(target, error))) return target;
  const fs::path resolved = fs::weakly_canonical(target, error);
  return error ? fs::path(target) : resolved;
}

}  // namespace

OutputFile::OutputFile(const std::string& target) : name_(DisplayName(target, true)) {
  std::error_code error;
  switch (ClassifyPath(target, error)) {
    case PathKind::kStandard:
      standard_ = true;
      file_ = stdout;
      UseBinaryMode(stdout);
      return;
    case PathKind::kDirectory:
      throw OperationError(0, "cannot write " + name_ + ": it is a directory");
    case PathKind::kStream:
      file_ = std::fopen(target.c_str(), "wb");
      if (!file_) ThrowErrno(errno, "cannot write " + name_);
      return;
    default:
      if (error) ThrowErrno(error.default_error_condition().value(), "cannot write " + name_);
      target_ = ResolvedTarget(target).string();
      OpenTemporary();
  }
}

void OutputFile::OpenTemporary() {
  const fs::path target(target_);
  const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
  std::error_code error;
  if (!fs::is_directory(folder, error)) throw OperationError(kPathNotFound, "cannot create " + name_);
  temp_ = UnusedName(folder.string(), "." + target.filename().string() + ".cmskit-");
  file_ = std::fopen(temp_.c_str(), "wb");
  if (!file_) {
    temp_.clear();
    ThrowErrno(errno, "cannot create " + name_);
  }
  std::setvbuf(file_, nullptr, _IOFBF, kBuffer);
}

OutputFile::~OutputFile() {
  if (file_ && !standard_) std::fclose(file_);
  if (committed_ || temp_.empty()) return;
  std::error_code ignored;
  fs::remove(temp_, ignored);
}

void OutputFile::Write(const uint8_t* data, size_t size) {
  if (size == 0) return;
  if (!file_ || handedOver_) throw OperationError(6, "cannot write " + name_);
  errno = 0;
  if (std::fwrite(data, 1, size, file_) != size) ThrowErrno(errno, "cannot write " + name_);
}

const char* OutputFile::HandOverFile() {
  if (temp_.empty() || committed_) return nullptr;
  if (!handedOver_) {
    Close();
    // The name stays reserved by its random part; the file itself goes, so
    // the library creates it instead of truncating it: ext4 flushes a file
    // that was truncated to nothing when it is closed, which cost a
    // 1 GiB detach a quarter of a second of waiting for the disk.
    std::error_code ignored;
    fs::remove(temp_, ignored);
    handedOver_ = true;
  }
  return temp_.c_str();
}

void OutputFile::Close() {
  if (!file_) return;
  errno = 0;
  if (std::fflush(file_) != 0 || std::ferror(file_)) ThrowErrno(errno, "cannot write " + name_);
  if (standard_) return;
  FILE* file = file_;
  file_ = nullptr;
  errno = 0;
  if (std::fclose(file) != 0) ThrowErrno(errno, "cannot write " + name_);
}

void OutputFile::Commit() {
  Close();
  if (committed_ || temp_.empty()) return;
  std::error_code error;
  // A replaced file keeps who may read it.
  const fs::file_status previous = fs::status(target_, error);
  if (!error && fs::is_regular_file(previous)) fs::permissions(temp_, previous.permissions(), error);
  fs::rename(temp_, target_, error);
  if (error) ThrowErrno(error.default_error_condition().value(), "cannot replace " + name_);
  committed_ = true;
}

void PrintToStandardOutput(const std::string& text) {
  OutputFile out("-");
  out.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size());
  out.Commit();
}

}  // namespace cmskit_cli
