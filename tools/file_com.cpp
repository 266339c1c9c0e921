#include <cerrno>
#include <cstring>
#include <string>

#include "cmskit/file.h"
#include "platform/win32.h"

namespace cmskit {

class CTOOFile::CTOOFileImp : public CTOOReference {
 public:
  explicit CTOOFileImp(FILE* stream) : stream(stream) {}
  ~CTOOFileImp() override { fclose(stream); }
  FILE* stream;
};

namespace {

constexpr int kOpenAttempts = 20;
constexpr DWORD kRetryDelayMs = 200;

int AccessModeOf(const char* mode) {
  int access = 0;
  if (!mode) return 6;
  if (strchr(mode, 'r')) access |= 4;
  if (strchr(mode, 'a') || strchr(mode, 'w')) access |= 2;
  if (strchr(mode, '+')) access |= 6;
  return access;
}

FILE* OpenStream(const char* path, const char* mode) {
  if (mode) return fopen(path, mode);
  FILE* stream = fopen(path, "r+b");
  return stream ? stream : fopen(path, "w+b");
}

}  // namespace

bool FileExists(const char* path) {
  if (!path) return false;
  if (_access(path, 0) == 0) return true;
  if (errno == ENOENT) return false;
  if (errno == EACCES) return true;
  CTOOString normal(path);
  normal.Trim(CTOOString::TrimLeadingSpaces | CTOOString::TrimTrailingSpaces);
  normal.Trim(CTOOString::TrimTrailingSlash);
  _finddata_t found;
  const intptr_t handle = _findfirst(normal.c_str(), &found);
  if (handle == -1) return false;
  _findclose(handle);
  return true;
}

bool PathReachable(const char* path) {
  if (_access(path, 0) == 0) return true;
  char drive[_MAX_DRIVE + 1] = {};
  _splitpath(path, drive, nullptr, nullptr, nullptr);
  const std::string root = std::string(drive) + "\\";
  if (_access(root.c_str(), 0) == 0) return true;
  return GetVolumeInformationA(root.c_str(), nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0) != 0;
}

CTOOFile::CTOOFile(const char* path, const char* mode, bool raise) : XTOOFile(raise), fileName_(path) {
  Open(path, mode, raise);
}

CTOOFile::CTOOFile(const CTOOFile& other) : XTOOFile(other), fileName_(other.fileName_), imp_(other.imp_) {
  if (imp_) imp_->AddRef();
}

CTOOFile& CTOOFile::operator=(const CTOOFile& other) {
  if (this == &other) return *this;
  XTOOFile::operator=(other);
  fileName_ = other.fileName_;
  if (other.imp_) other.imp_->AddRef();
  if (imp_) imp_->Release();
  imp_ = other.imp_;
  return *this;
}

CTOOFile::~CTOOFile() {
  if (imp_) imp_->Release();
}

FILE* CTOOFile::Stream() const { return imp_ ? imp_->stream : nullptr; }

void CTOOFile::RecordClosed(int line) {
  SetStatus(kStatusFileClosed);
  if (line == 0) return;
  CTOOString text;
  text.Format("file - %s, line - %d", "..\\..\\source\\file_com", line);
  message = text;
}

void CTOOFile::Open(const char* path, const char* mode, bool raiseFlag) {
  Clear();
  if (!path || !PathReachable(path)) return;
  if (imp_) {
    imp_->Release();
    imp_ = nullptr;
  }
  raise = raiseFlag ? 1 : 0;
  message = CTOOString();
  status = 0;
  errnum = 0;

  const int accessMode = AccessModeOf(mode);
  bool locked = false;
  FILE* stream = nullptr;
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    stream = OpenStream(path, mode);
    if (stream) break;
    if (!FileExists(path)) {
      stream = OpenStream(path, mode);
      break;
    }
    if (_access(path, accessMode) != 0) {
      locked = true;
      Sleep(kRetryDelayMs);
    }
  }
  if (!stream) {
    const uint32_t savedErrno = static_cast<uint32_t>(errno);
    message = path;
    uint32_t code;
    if (locked)
      code = kStatusAccessDenied;
    else if (FileExists(path))
      code = kStatusOpenFailed;
    else
      code = static_cast<uint32_t>(Win32ToStatus(GetLastError()));
    SetFileError(code, savedErrno);
    return;
  }
  imp_ = new CTOOFileImp(stream);
  fileName_ = path;
}

uint32_t CTOOFile::Read(void* buffer, uint32_t size) {
  Clear();
  if (!imp_) {
    RecordClosed(439);
    return 0;
  }
  const size_t count = fread(buffer, 1, size, Stream());
  if (count < size && ferror(Stream())) {
    message = fileName_;
    SetFileError(kStatusReadError, static_cast<uint32_t>(errno));
  }
  return static_cast<uint32_t>(count);
}

uint32_t CTOOFile::Write(const void* buffer, uint32_t size) {
  Clear();
  if (!imp_) {
    RecordClosed(533);
    return 0;
  }
  if (size == 0) return 0;
  const size_t count = fwrite(buffer, 1, size, Stream());
  if (count < size) {
    message = fileName_;
    SetStatus(kStatusWriteError);
  }
  return static_cast<uint32_t>(count);
}

void CTOOFile::Close() {
  Clear();
  if (!imp_) {
    RecordClosed(551);
    return;
  }
  imp_->Release();
  imp_ = nullptr;
}

uint32_t CTOOFile::GetLength() {
  Clear();
  if (!imp_) {
    RecordClosed(0);
    return 0xFFFFFFFF;
  }
  // A seek to the current position pushes pending writes out so the length
  // counts them; unlike fflush it leaves a read stream's position intact on
  // every runtime.
  fseek(Stream(), 0, SEEK_CUR);
  const long length = _filelength(_fileno(Stream()));
  if (static_cast<uint32_t>(length) == 0xFFFFFFFF) {
    message = fileName_;
    SetFileError(kStatusLength, static_cast<uint32_t>(errno));
  }
  return static_cast<uint32_t>(length);
}

int CTOOFile::Seek(long offset, int origin) {
  Clear();
  if (!imp_) {
    RecordClosed(632);
    return -1;
  }
  return fseek(Stream(), offset, origin);
}

int32_t CTOOFile::Tell() {
  Clear();
  if (!imp_) {
    RecordClosed(662);
    return -1;
  }
  const long position = ftell(Stream());
  if (position == -1) {
    message = fileName_;
    SetFileError(kStatusTell, static_cast<uint32_t>(errno));
  }
  return static_cast<int32_t>(position);
}

uint64_t CTOOFile::GetLength64() {
  Clear();
  if (!imp_) {
    RecordClosed(0);
    return UINT64_MAX;
  }
  _fseeki64(Stream(), 0, SEEK_CUR);
  const int64_t length = _filelengthi64(_fileno(Stream()));
  if (length < 0) {
    message = fileName_;
    SetFileError(kStatusLength, static_cast<uint32_t>(errno));
    return UINT64_MAX;
  }
  return static_cast<uint64_t>(length);
}

int CTOOFile::Seek64(int64_t offset, int origin) {
  Clear();
  if (!imp_) {
    RecordClosed(632);
    return -1;
  }
  return _fseeki64(Stream(), offset, origin);
}

int64_t CTOOFile::Tell64() {
  Clear();
  if (!imp_) {
    RecordClosed(662);
    return -1;
  }
  const int64_t position = _ftelli64(Stream());
  if (position < 0) {
    message = fileName_;
    SetFileError(kStatusTell, static_cast<uint32_t>(errno));
    return -1;
  }
  return position;
}

bool CTOOFile::Flush() {
  Clear();
  if (!imp_) {
    RecordClosed(0);
    return false;
  }
  if (fflush(Stream()) == 0) return true;
  message = fileName_;
  SetFileError(kStatusWriteError, static_cast<uint32_t>(errno));
  return false;
}

}  // namespace cmskit
