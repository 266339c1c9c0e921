#include "enveloped/enveloped_support.h"

#include "cmskit/status.h"
#include "platform/win32.h"

namespace cmskit {

void RaiseLastError(const char* origin) {
  const DWORD code = GetLastError();
  const int status = code == kErrorFileTooLarge ? kStatusTooLarge : Win32ToStatus(code);
  ASNTRaise(status != 0 ? status : kStatusCorrupt, origin);
}

void WriteBytes(CTOOFile& file, const IdentObj& bytes, const char* origin) {
  if (bytes.IsEmpty()) return;
  if (file.Write(bytes.data(), bytes.size()) == bytes.size()) return;
  ASNTRaise(file.GetStatus() != 0 ? file.GetStatus() : kStatusWriteError, origin);
}

}  // namespace cmskit
