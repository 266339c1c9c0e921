// Path objects, temporary folders and file copies of the tools library.
#ifndef CMSKIT_PATHS_H
#define CMSKIT_PATHS_H

#include <cstdint>
#include <string>

#include "export.h"
#include "status.h"

namespace cmskit {
namespace TOO {

class CMSKIT_API FILENAME {
 public:
  FILENAME() = default;
  explicit FILENAME(const char* fullPath) : path(fullPath ? fullPath : "") {}
  FILENAME(const char* folder, const char* name);
  virtual ~FILENAME();

  const char* c_str() const { return path.c_str(); }

  std::string path;
};

class CMSKIT_API FOLDER : public FILENAME {
 public:
  using FILENAME::FILENAME;
  ~FOLDER() override;

  // Creates the folder and every missing folder above it.
  bool Create();
  // Removes the folder; with `recursive`, everything in it first.
  bool Remove(bool recursive);
};

// A new, empty, uniquely named folder inside the system's temporary folder.
class CMSKIT_API TEMPFOLDER : public FOLDER {
 public:
  explicit TEMPFOLDER(bool removeOnDestroy);
  TEMPFOLDER(const TEMPFOLDER&) = delete;
  TEMPFOLDER& operator=(const TEMPFOLDER&) = delete;
  ~TEMPFOLDER() override;

  uint8_t removeOnDestroy;
};

}  // namespace TOO

// CopyFileA with up to 20 attempts, 200 ms apart while the target is locked.
CMSKIT_API bool CopyWithRetry(const char* source, const char* target, bool failIfExists, XTOOFile& error);
CMSKIT_API uint32_t GetAttributes(const char* path, XTOOFile& error);
CMSKIT_API bool SetAttributes(const char* path, uint32_t attributes, XTOOFile& error);
CMSKIT_API uint32_t GetFileLengthByName(const char* path, XTOOFile& error);
// The 64-bit companion, for files of 4 GiB and more: the same failures, with
// all ones (64-bit) as the failure value.
CMSKIT_API uint64_t GetFileLengthByName64(const char* path, XTOOFile& error);

}  // namespace cmskit

#endif
