#include <cerrno>
#include <cstdlib>
#include <string>

#include "cmskit/file.h"
#include "cmskit/paths.h"
#include "platform/win32.h"

namespace cmskit {

namespace {

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

constexpr int kCopyAttempts = 20;
constexpr DWORD kRetryDelayMs = 200;
constexpr uint32_t kEntryMask = 0x37;  // read-only, hidden, system, directory, archive

std::string UniqueName() {
  static const char kAlphabet[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  std::string name(12, '.');
  for (int i = 0; i < 12; ++i) {
    if (i != 8) name[i] = kAlphabet[rand() % 36];
  }
  return name;
}

bool RemoveTree(const std::string& folder) {
  std::string base = folder;
  if (!base.empty() && !IsSeparator(base.back())) base += PLATFORM_PATH_SEPARATOR;
  _finddata_t entry;
  const intptr_t handle = _findfirst((base + "*").c_str(), &entry);
  if (handle != -1) {
    do {
      const std::string name = entry.name;
      if (name == "." || name == ".." || (entry.attrib & kEntryMask) == 0) continue;
      const std::string child = base + name;
      XTOOFile ignored;
      // Only the directory bit is taken off: a read-only file stays read-only
      // and may then refuse to go, which keeps its folder too.
      SetAttributes(child.c_str(), GetAttributes(child.c_str(), ignored) & ~0x10u, ignored);
      if (entry.attrib & _A_SUBDIR)
        RemoveTree(child);
      else
        _unlink(child.c_str());  // the runtime's remove, on either separator
    } while (_findnext(handle, &entry) == 0);
    _findclose(handle);
  }
  return _rmdir(folder.c_str()) == 0;
}

}  // namespace

namespace TOO {

FILENAME::FILENAME(const char* folder, const char* name) : path(folder ? folder : "") {
  if (!path.empty() && !IsSeparator(path.back())) path += PLATFORM_PATH_SEPARATOR;
  if (name) path += name;
}

FILENAME::~FILENAME() = default;
FOLDER::~FOLDER() = default;

bool FOLDER::Create() {
  if (path.empty()) return false;
  for (size_t i = 1; i <= path.size(); ++i) {
    if (i < path.size() && !IsSeparator(path[i])) continue;
    const std::string prefix = path.substr(0, i);
    if (FileExists(prefix.c_str())) continue;
    if (_mkdir(prefix.c_str()) != 0) return false;
  }
  return true;
}

bool FOLDER::Remove(bool recursive) {
  if (recursive) return RemoveTree(path);
  return _rmdir(path.c_str()) == 0;
}

TEMPFOLDER::TEMPFOLDER(bool removeOnDestroy) : removeOnDestroy(removeOnDestroy ? 1 : 0) {
  char temp[MAX_PATH] = {};
  const DWORD n = GetTempPathA(MAX_PATH, temp);
  const std::string root = (n == 0 || n > MAX_PATH) ? std::string(".") : std::string(temp, n);
  do {
    path = FILENAME(root.c_str(), UniqueName().c_str()).path;
  } while (FileExists(path.c_str()));
  Create();
}

TEMPFOLDER::~TEMPFOLDER() {
  if (removeOnDestroy && !path.empty()) Remove(true);
}

}  // namespace TOO

bool CopyWithRetry(const char* source, const char* target, bool failIfExists, XTOOFile& error) {
  error.Clear();
  int rememberedErrno = 0;
  for (int attempt = 0; attempt < kCopyAttempts; ++attempt) {
    if (CopyFileA(source, target, failIfExists ? TRUE : FALSE)) return true;
    if (!FileExists(target)) {
      rememberedErrno = errno;
      if (rememberedErrno != EACCES) {
        if (CopyFileA(source, target, failIfExists ? TRUE : FALSE)) return true;
        break;
      }
    }
    Sleep(kRetryDelayMs);
  }
  error.message = source;
  if (rememberedErrno == EACCES)
    error.SetFileError(kStatusAccessDenied, EACCES);
  else
    error.SetFileError(kStatusCopyFailed, static_cast<uint32_t>(rememberedErrno));
  return false;
}

uint32_t GetAttributes(const char* path, XTOOFile& error) {
  const DWORD attributes = GetFileAttributesA(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    error.message = path;
    error.SetStatus(kStatusAttributes);
  }
  return attributes;
}

bool SetAttributes(const char* path, uint32_t attributes, XTOOFile& error) {
  if (SetFileAttributesA(path, attributes)) return true;
  error.message = path;
  error.SetStatus(kStatusAttributes);
  return false;
}

uint32_t GetFileLengthByName(const char* path, XTOOFile& error) {
  const int fd = _open(path, _O_RDONLY | _O_BINARY);
  if (fd == -1) {
    error.message = path;
    error.SetFileError(kStatusOpenFailed, static_cast<uint32_t>(errno));
    return 0xFFFFFFFF;
  }
  const long length = _filelength(fd);
  const int savedErrno = errno;
  _close(fd);
  if (static_cast<uint32_t>(length) == 0xFFFFFFFF) {
    error.message = path;
    error.SetFileError(kStatusLength, static_cast<uint32_t>(savedErrno));
    return 0xFFFFFFFF;
  }
  return static_cast<uint32_t>(length);
}

uint64_t GetFileLengthByName64(const char* path, XTOOFile& error) {
  const int fd = _open(path, _O_RDONLY | _O_BINARY);
  if (fd == -1) {
    error.message = path;
    error.SetFileError(kStatusOpenFailed, static_cast<uint32_t>(errno));
    return UINT64_MAX;
  }
  const int64_t length = _filelengthi64(fd);
  const int savedErrno = errno;
  _close(fd);
  if (length < 0) {
    error.message = path;
    error.SetFileError(kStatusLength, static_cast<uint32_t>(savedErrno));
    return UINT64_MAX;
  }
  return static_cast<uint64_t>(length);
}

}  // namespace cmskit
