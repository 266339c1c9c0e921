// Status codes, the XTOO exception family and their mapping to Win32 codes.
#ifndef CMSKIT_STATUS_H
#define CMSKIT_STATUS_H

#include <cstdint>

#include "export.h"
#include "tstring.h"

namespace cmskit {

// Status codes the library raises itself; the rest of the vocabulary is
// shared with the tools library and only travels through the tables.
enum : int {
  kStatusOk = 0,
  kStatusReadError = 5,
  kStatusWriteError = 6,
  kStatusNoMemory = 16,
  kStatusOpenFailed = 17,
  kStatusBadArgument = 28,
  kStatusTruncated = 37,
  kStatusAttributes = 41,
  kStatusLength = 45,
  kStatusCopyFailed = 64,
  kStatusUnsupported = 115,
  kStatusFileClosed = 117,
  kStatusTell = 118,
  kStatusSameFile = 156,
  kStatusBadTag = 205,
  kStatusCorrupt = 206,
  kStatusAccessDenied = 501,
  // A message, offset or size of 4 GiB or more met by a 32-bit member. The
  // exported members report it as kErrorFileTooLarge; StatusToWin32 keeps
  // its table and gives 1627 for it.
  kStatusTooLarge = 1100,
};

// ERROR_FILE_TOO_LARGE: what the 32-bit members report for a message, offset
// or size that only their 64-bit companions can handle.
constexpr uint32_t kErrorFileTooLarge = 223;

class CMSKIT_API XTOOBaseMsg {
 public:
  virtual ~XTOOBaseMsg();
  virtual bool IsError() const = 0;
  virtual CTOOString GetText() const = 0;
  virtual void Clear() = 0;
  virtual void Raise() const = 0;
};

class CMSKIT_API XTOOMsg : public XTOOBaseMsg {
 public:
  explicit XTOOMsg(bool raise = false, const char* message = nullptr)
      : raise(raise ? 1 : 0), message(message) {}
  XTOOMsg(const XTOOMsg&) = default;
  XTOOMsg& operator=(const XTOOMsg&) = default;
  ~XTOOMsg() override;

  const CTOOString& GetMessage() const { return message; }
  void SetMessage(const CTOOString& text) { message = text; }

  uint8_t raise;
  CTOOString message;
};

class CMSKIT_API XTOOStatus : public XTOOMsg {
 public:
  explicit XTOOStatus(uint32_t status = 0, bool raise = false) : XTOOMsg(raise), status(status) {}
  XTOOStatus(uint32_t status, const char* messageText, bool raise)
      : XTOOMsg(raise, messageText), status(status) {}
  XTOOStatus(const XTOOStatus&) = default;
  XTOOStatus& operator=(const XTOOStatus&) = default;
  ~XTOOStatus() override;

  bool IsError() const override;
  CTOOString GetText() const override;
  void Clear() override;
  [[noreturn]] void Raise() const override;

  void SetStatus(uint32_t code);
  int GetStatus() const { return static_cast<int>(status); }

  uint32_t status;
};

class CMSKIT_API XTOOErrno : public XTOOStatus {
 public:
  explicit XTOOErrno(uint32_t errnum = 0, bool raise = false) : XTOOStatus(0, raise), errnum(errnum) {}
  XTOOErrno(const XTOOErrno&) = default;
  XTOOErrno& operator=(const XTOOErrno&) = default;
  ~XTOOErrno() override;

  bool IsError() const override;
  CTOOString GetText() const override;
  void Clear() override;
  [[noreturn]] void Raise() const override;

  void SetErrno(uint32_t value);
  uint32_t GetErrno() const { return errnum; }

  uint32_t errnum;
};

class CMSKIT_API XTOOFile : public XTOOErrno {
 public:
  explicit XTOOFile(bool raise = false) : XTOOErrno(0, raise) {}
  XTOOFile(const XTOOFile&) = default;
  XTOOFile& operator=(const XTOOFile&) = default;
  ~XTOOFile() override;

  bool IsError() const override;
  CTOOString GetText() const override;
  void Clear() override;
  [[noreturn]] void Raise() const override;

  // Clear(), then SetStatus, then SetErrno: throws once when `raise` is set.
  void SetFileError(uint32_t status, uint32_t errnoValue);
};

CMSKIT_API uint32_t StatusToWin32(int status);
CMSKIT_API int Win32ToStatus(uint32_t code);

}  // namespace cmskit

#endif
