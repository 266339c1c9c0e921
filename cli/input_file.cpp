#include "input_file.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "cli_error.h"
#include "output_file.h"
#include "path_kind.h"
#include "standard_streams.h"

namespace cmskit_cli {

namespace {

constexpr size_t kBlock = 1 << 16;
constexpr uint32_t kFileNotFound = 2;

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};
using FilePointer = std::unique_ptr<FILE, FileCloser>;

FilePointer OpenForReading(const std::string& path, const std::string& name) {
  errno = 0;
  FilePointer file(std::fopen(path.c_str(), "rb"));
  if (!file) ThrowErrno(errno, "cannot read " + name);
  return file;
}

}  // namespace

InputFile::InputFile(const std::string& argument) : name_(DisplayName(argument, false)), path_(argument) {
  std::error_code error;
  switch (ClassifyPath(argument, error)) {
    case PathKind::kRegular:
      OpenForReading(path_, name_);
      return;
    case PathKind::kDirectory:
      throw OperationError(0, "cannot read " + name_ + ": it is a directory");
    case PathKind::kStandard:
    case PathKind::kStream:
      Spool(argument);
      return;
    default:
      if (error) ThrowErrno(error.default_error_condition().value(), "cannot read " + name_);
      throw OperationError(kFileNotFound, "cannot read " + name_);
  }
}

void InputFile::Spool(const std::string& argument) {
  FilePointer opened;
  FILE* source = stdin;
  if (argument == "-") {
    UseBinaryMode(stdin);
  } else {
    opened = OpenForReading(argument, name_);
    source = opened.get();
  }
  spool_ = std::make_unique<TempFolder>();
  path_ = spool_->File("input");
  OutputFile copy(path_);
  std::vector<uint8_t> block(kBlock);
  for (;;) {
    const size_t got = std::fread(block.data(), 1, block.size(), source);
    if (got == 0) break;
    copy.Write(block.data(), got);
  }
  if (std::ferror(source)) ThrowErrno(errno, "cannot read " + name_);
  copy.Commit();
}

uint64_t InputFile::size() const {
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(path_, error);
  return error ? 0 : size;
}

}  // namespace cmskit_cli
