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
