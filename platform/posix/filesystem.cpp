// Files, folders and the C runtime's Windows-only names, on POSIX calls.
#include <dirent.h>
#include <fnmatch.h>
#include <stdarg.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "platform/posix/errno_map.h"
#include "platform/win32.h"

#undef fopen

namespace platform_posix {

DWORD Win32FromErrno(int error) {
  switch (error) {
    case 0:
      return ERROR_SUCCESS;
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR:
    case EROFS:
      return ERROR_ACCESS_DENIED;
    case EEXIST:
      return ERROR_FILE_EXISTS;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case ENOSPC:
      return ERROR_DISK_FULL;
    case ENAMETOOLONG:
      return 206;  // ERROR_FILENAME_EXCED_RANGE
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    case EBADF:
      return ERROR_INVALID_HANDLE;
    case EBUSY:
    case ETXTBSY:
      return ERROR_SHARING_VIOLATION;
    default:
      return 31;  // ERROR_GEN_FAILURE
  }
}

void SetLastErrorFromErrno(int error) { SetLastError(Win32FromErrno(error)); }

std::string NativePath(const char* path) {
  std::string native = path ? path : "";
  for (char& c : native) {
    if (c == '\\') c = '/';
  }
  return native;
}

}  // namespace platform_posix

using platform_posix::NativePath;
using platform_posix::SetLastErrorFromErrno;

namespace {

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

unsigned AttribOf(const struct stat& st) {
  unsigned attrib = S_ISDIR(st.st_mode) ? _A_SUBDIR : _A_ARCH;
  if (!(st.st_mode & S_IWUSR)) attrib |= _A_RDONLY;
  return attrib;
}

struct FindState {
  std::string folder;
  std::string pattern;
  DIR* dir = nullptr;
  ~FindState() {
    if (dir) closedir(dir);
  }
};

// Fills `data` with the next entry matching the search; false at the end.
bool NextMatch(FindState& state, _finddata_t* data) {
  while (struct dirent* entry = readdir(state.dir)) {
    if (fnmatch(state.pattern.c_str(), entry->d_name, 0) != 0) continue;
    struct stat st;
    const std::string full = state.folder + entry->d_name;
    if (stat(full.c_str(), &st) != 0 && lstat(full.c_str(), &st) != 0) continue;
    memset(data, 0, sizeof(*data));
    data->attrib = AttribOf(st);
    data->time_create = data->time_write = st.st_mtime;
    data->time_access = st.st_atime;
    data->size = static_cast<uint32_t>(st.st_size);
    strncpy(data->name, entry->d_name, sizeof(data->name) - 1);
    return true;
  }
  errno = ENOENT;
  return false;
}

}  // namespace

extern "C" {

FILE* PlatformFopen(const char* path, const char* mode) {
  FILE* stream = fopen(NativePath(path).c_str(), mode);
  if (!stream) SetLastErrorFromErrno(errno);
  return stream;
}

DWORD GetTempPathA(DWORD bufferLength, LPSTR buffer) {
  const char* env = getenv("TMPDIR");
  std::string path = env && *env ? env : "/tmp";
  if (!IsSeparator(path.back())) path += '/';
  if (path.size() + 1 > bufferLength) return static_cast<DWORD>(path.size() + 1);
  memcpy(buffer, path.c_str(), path.size() + 1);
  return static_cast<DWORD>(path.size());
}

BOOL CopyFileA(LPCSTR existing, LPCSTR target, BOOL failIfExists) {
  const std::string from = NativePath(existing);
  const std::string to = NativePath(target);
  const int in = open(from.c_str(), O_RDONLY);
  if (in < 0) {
    SetLastErrorFromErrno(errno);
    return FALSE;
  }
  struct stat st;
  fstat(in, &st);
  const int flags = O_WRONLY | O_CREAT | O_TRUNC | (failIfExists ? O_EXCL : 0);
  const int out = open(to.c_str(), flags, st.st_mode & 0777);
  if (out < 0) {
    const int error = errno;
    close(in);
    errno = error;
    SetLastErrorFromErrno(error);
    return FALSE;
  }
  std::vector<char> buffer(1 << 16);
  BOOL ok = TRUE;
  for (;;) {
    const ssize_t n = read(in, buffer.data(), buffer.size());
    if (n == 0) break;
    if (n < 0 || write(out, buffer.data(), static_cast<size_t>(n)) != n) {
      ok = FALSE;
      break;
    }
  }
  const int error = errno;
  close(in);
  if (close(out) != 0) ok = FALSE;
  if (!ok) {
    errno = error;
    SetLastErrorFromErrno(error);
  }
  return ok;
}

DWORD GetFileAttributesA(LPCSTR path) {
  struct stat st;
  if (stat(NativePath(path).c_str(), &st) != 0) {
    SetLastErrorFromErrno(errno);
    return INVALID_FILE_ATTRIBUTES;
  }
  DWORD attributes = S_ISDIR(st.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
  if (!(st.st_mode & S_IWUSR)) attributes |= FILE_ATTRIBUTE_READONLY;
  return attributes;
}

BOOL SetFileAttributesA(LPCSTR path, DWORD attributes) {
  const std::string native = NativePath(path);
  struct stat st;
  if (stat(native.c_str(), &st) != 0) {
    SetLastErrorFromErrno(errno);
    return FALSE;
  }
  mode_t mode = st.st_mode & 07777;
  if (attributes & FILE_ATTRIBUTE_READONLY)
    mode &= ~static_cast<mode_t>(S_IWUSR | S_IWGRP | S_IWOTH);
  else
    mode |= S_IWUSR;
  if (chmod(native.c_str(), mode) != 0) {
    SetLastErrorFromErrno(errno);
    return FALSE;
  }
  return TRUE;
}

BOOL GetVolumeInformationA(LPCSTR root, LPSTR volumeName, DWORD volumeNameSize, LPDWORD serial,
                           LPDWORD maxComponentLength, LPDWORD fileSystemFlags, LPSTR fileSystemName,
                           DWORD fileSystemNameSize) {
  std::string native = NativePath(root);
  if (native.empty()) native = "/";
  struct statvfs vfs;
  if (statvfs(native.c_str(), &vfs) != 0) {
    SetLastErrorFromErrno(errno);
    return FALSE;
  }
  if (volumeName && volumeNameSize) volumeName[0] = '\0';
  if (serial) *serial = static_cast<DWORD>(vfs.f_fsid);
  if (maxComponentLength) *maxComponentLength = static_cast<DWORD>(vfs.f_namemax);
  if (fileSystemFlags) *fileSystemFlags = 0;
  if (fileSystemName && fileSystemNameSize) fileSystemName[0] = '\0';
  return TRUE;
}

long _filelength(int fd) {
  struct stat st;
  if (fstat(fd, &st) != 0) return -1L;
  return static_cast<long>(st.st_size);
}

int64_t _filelengthi64(int fd) {
  struct stat st;
  if (fstat(fd, &st) != 0) return -1;
  return static_cast<int64_t>(st.st_size);
}

int _fseeki64(FILE* stream, int64_t offset, int origin) {
  return fseeko(stream, static_cast<off_t>(offset), origin);
}

int64_t _ftelli64(FILE* stream) { return static_cast<int64_t>(ftello(stream)); }

int _access(const char* path, int mode) { return access(NativePath(path).c_str(), mode & 6); }

intptr_t _findfirst(const char* pattern, struct _finddata_t* data) {
  const std::string native = NativePath(pattern);
  auto state = std::make_unique<FindState>();
  const size_t slash = native.find_last_of('/');
  state->folder = slash == std::string::npos ? std::string() : native.substr(0, slash + 1);
  state->pattern = slash == std::string::npos ? native : native.substr(slash + 1);
  state->dir = opendir(state->folder.empty() ? "." : state->folder.c_str());
  if (!state->dir || !NextMatch(*state, data)) {
    errno = ENOENT;
    return -1;
  }
  return reinterpret_cast<intptr_t>(state.release());
}

int _findnext(intptr_t handle, struct _finddata_t* data) {
  if (handle == -1 || handle == 0) return -1;
  return NextMatch(*reinterpret_cast<FindState*>(handle), data) ? 0 : -1;
}

int _findclose(intptr_t handle) {
  if (handle == -1 || handle == 0) return -1;
  delete reinterpret_cast<FindState*>(handle);
  return 0;
}

void _splitpath(const char* path, char* drive, char* dir, char* fname, char* ext) {
  const std::string p = path ? path : "";
  size_t start = 0;
  // A drive letter exists only in Windows paths; keep the split faithful.
  if (p.size() >= 2 && p[1] == ':') start = 2;
  if (drive) {
    memcpy(drive, p.data(), start);
    drive[start] = '\0';
  }
  size_t lastSep = std::string::npos;
  for (size_t i = start; i < p.size(); ++i) {
    if (IsSeparator(p[i])) lastSep = i;
  }
  const size_t nameStart = lastSep == std::string::npos ? start : lastSep + 1;
  if (dir) {
    const std::string d = p.substr(start, nameStart - start).substr(0, _MAX_DIR - 1);
    strcpy(dir, d.c_str());
  }
  const std::string name = p.substr(nameStart).substr(0, _MAX_FNAME - 1);
  const size_t dot = name.find_last_of('.');
  if (fname) strcpy(fname, name.substr(0, dot).c_str());
  if (ext) strcpy(ext, dot == std::string::npos ? "" : name.substr(dot).c_str());
}

int _stricmp(const char* a, const char* b) { return strcasecmp(a, b); }

int _strnicmp(const char* a, const char* b, size_t count) { return strncasecmp(a, b, count); }

int _mkdir(const char* path) { return mkdir(NativePath(path).c_str(), 0777); }

int _rmdir(const char* path) { return rmdir(NativePath(path).c_str()); }

int _unlink(const char* path) { return unlink(NativePath(path).c_str()); }

int _open(const char* path, int flags, ...) {
  int mode = 0;
  if (flags & O_CREAT) {
    va_list args;
    va_start(args, flags);
    mode = va_arg(args, int);
    va_end(args);
  }
  const int fd = open(NativePath(path).c_str(), flags, mode);
  if (fd < 0) SetLastErrorFromErrno(errno);
  return fd;
}

int _close(int fd) { return close(fd); }

int _fileno(FILE* stream) { return fileno(stream); }

int _isatty(int fd) { return isatty(fd); }

}  // extern "C"
