// Where a result of the tool goes, replaced whole or not at all.
//
// A regular file (or one that does not exist yet) is written as a temporary
// file in the same folder and renamed over the target by Commit(), once
// every write, the flush and the close succeeded; an OutputFile destroyed
// without Commit() removes its temporary file and leaves the target as it
// was. A symbolic link is followed: the file it names is replaced.
//
// "-" (standard output) and targets that cannot be renamed over (a device
// such as /dev/null or /dev/full, a named pipe) are written directly, as a
// stream; there every write and the final flush and close are checked, but
// what was written before a failure has gone out.
#ifndef CMSKIT_CLI_OUTPUT_FILE_H
#define CMSKIT_CLI_OUTPUT_FILE_H

#include <cstdio>
#include <string>

#include "byte_sink.h"

namespace cmskit_cli {

class OutputFile : public ByteSink {
 public:
  // Opens the temporary file or the stream at once, so that a missing or
  // read-only folder is reported before any work is done.
  explicit OutputFile(const std::string& target);
  ~OutputFile() override;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  void Write(const uint8_t* data, size_t size) override;
  // The temporary file of a regular target, closed empty, for the library to
  // write (the library's writers flush and report a full disk); Commit then
  // renames it as it would its own. Null for a stream.
  const char* HandOverFile() override;
  // Flushes and closes, each checked; the target is not replaced yet. For a
  // command with several outputs: close all, then commit all.
  void Close();
  // Close(), then the temporary file replaces the target.
  void Commit();

  // The target as messages name it.
  const std::string& name() const { return name_; }

 private:
  void OpenTemporary();

  std::string name_;
  std::string target_;  // the file that is replaced; empty for a stream
  std::string temp_;
  FILE* file_ = nullptr;
  bool standard_ = false;
  bool handedOver_ = false;
  bool committed_ = false;
};

// Everything `text` holds to standard output, checked.
void PrintToStandardOutput(const std::string& text);

}  // namespace cmskit_cli

#endif
