// An input argument as the library's file readers want it: a regular file
// they can open, seek and read again. Standard input ("-") and anything else
// that is not a regular file (a pipe such as /dev/stdin, a device) is copied
// into a private temporary file first, which goes away with this object.
// A missing file, a directory and an unreadable file are named as such.
#ifndef CMSKIT_CLI_INPUT_FILE_H
#define CMSKIT_CLI_INPUT_FILE_H

#include <cstdint>
#include <memory>
#include <string>

#include "temp_folder.h"

namespace cmskit_cli {

class InputFile {
 public:
  explicit InputFile(const std::string& argument);

  // The regular file to read.
  const std::string& path() const { return path_; }
  // The argument as messages name it.
  const std::string& name() const { return name_; }
  uint64_t size() const;

 private:
  void Spool(const std::string& argument);

  std::string name_;
  std::string path_;
  std::unique_ptr<TempFolder> spool_;
};

}  // namespace cmskit_cli

#endif
