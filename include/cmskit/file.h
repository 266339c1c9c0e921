// Binary files of the tools library: each file object is its own error record.
#ifndef CMSKIT_FILE_H
#define CMSKIT_FILE_H

#include <cstdint>
#include <cstdio>

#include "export.h"
#include "status.h"
#include "tstring.h"

namespace cmskit {

class CMSKIT_API CTOOFile : public XTOOFile {
 public:
  class CTOOFileImp;

  CTOOFile() = default;
  CTOOFile(const char* path, const char* mode, bool raise = false);
  CTOOFile(const CTOOFile& other);
  CTOOFile& operator=(const CTOOFile& other);
  ~CTOOFile() override;

  // Opens with up to 20 attempts, waiting out a locked file; a path whose
  // drive or root is unreachable leaves the file as it was, without error.
  void Open(const char* path, const char* mode, bool raise = false);
  bool IsOpen() const { return imp_ != nullptr; }
  const char* GetFileName() const { return fileName_.c_str(); }

  uint32_t Read(void* buffer, uint32_t size);
  uint32_t Write(const void* buffer, uint32_t size);
  void Close();
  uint32_t GetLength();
  int Seek(long offset, int origin);
  int32_t Tell();

  // 64-bit companions of GetLength, Seek and Tell, for files of 4 GiB and
  // more (where `long` is 32-bit, as on Windows, Seek and Tell cannot reach
  // past 2 GiB). Failures are recorded as by their 32-bit siblings: status
  // 45 and all ones from GetLength64, 118 and -1 from Tell64; on a closed
  // file status 117.
  uint64_t GetLength64();
  int Seek64(int64_t offset, int origin);
  int64_t Tell64();

  // Pushes buffered writes out to the system, so that a full disk shows
  // before the file is closed (closing cannot report it). A failure records
  // status 6 with the file's name, as a short Write does; false then.
  bool Flush();

 private:
  FILE* Stream() const;
  void RecordClosed(int line);

  CTOOString fileName_;
  CTOOFileImp* imp_ = nullptr;
};

// `_access(path, 0)` with the fallbacks the file opener relies on.
CMSKIT_API bool FileExists(const char* path);
CMSKIT_API bool PathReachable(const char* path);

}  // namespace cmskit

#endif
