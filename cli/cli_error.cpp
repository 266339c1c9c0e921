#include "cli_error.h"

#include <cmskit/cmskit.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace cmskit_cli {
namespace {

struct CodeText {
  uint32_t code;
  const char* text;
};

constexpr CodeText kCodeTexts[] = {
    {2, "file not found"},
    {3, "path not found"},
    {5, "access denied"},
    {6, "invalid handle"},
    {8, "not enough memory"},
    {13, "the data is invalid"},
    {17, "cannot move the file to a different disk drive"},
    {19, "the media is write protected"},
    {80, "the file exists"},
    {87, "invalid parameter"},
    {109, "the pipe has been ended"},
    {110, "the file could not be opened"},
    {112, "the disk is full"},
    {120, "function not supported"},
    {160, "bad arguments"},
    {266, "the file could not be copied"},
    {1117, "I/O device error"},
    {1627, "function failed"},
    {0x80070005, "access denied"},
    {0x8007000E, "not enough memory"},
    {0x80090003, "bad key"},
    {0x80090005, "bad data (wrong key, or damaged ciphertext)"},
    {0x80090008, "algorithm not supported"},
    {0x8009000D, "key does not exist"},
    {0x8009000E, "not enough memory"},
    {0x80090011, "object not found"},
    {0x80090016, "key set not found"},
    {0x80091002, "unknown cryptographic algorithm"},
    {0x80091008, "data ends before the encoding does"},
    {0x80092003, "file read or write error"},
    {0x80092004, "object or property not found"},
    {0x80093103, "ASN.1 encoding is corrupt"},
    {0x8009310B, "ASN.1 bad tag"},
    {0x80340004, "unsupported version or form"},
};

struct ErrnoCode {
  int error;
  uint32_t code;
};

constexpr ErrnoCode kErrnoCodes[] = {
    {ENOENT, 2}, {ENOTDIR, 3}, {EACCES, 5},  {EPERM, 5},   {EBADF, 6},    {ENOMEM, 8}, {EXDEV, 17},
    {EROFS, 19}, {EEXIST, 80}, {EINVAL, 87}, {EPIPE, 109}, {ENOSPC, 112}, {EIO, 1117},
};

}  // namespace

std::string DescribeCode(uint32_t code) {
  for (const CodeText& entry : kCodeTexts) {
    if (entry.code == code) return entry.text;
  }
  return "unknown error";
}

std::string FormatCode(uint32_t code) {
  char hex[16];
  std::snprintf(hex, sizeof(hex), "0x%08X", static_cast<unsigned>(code));
  return std::string(hex) + " (" + DescribeCode(code) + ")";
}

std::string ErrorLine(const std::string& subcommand, const OperationError& error) {
  std::string line = "cmskit" + (subcommand.empty() ? std::string() : " " + subcommand) + ": " + error.what();
  if (error.code() != 0) line += ": " + FormatCode(error.code());
  return line;
}

void Check(bool ok, int pError, const std::string& what) {
  if (ok && pError == 0) return;
  const uint32_t code = pError != 0 ? static_cast<uint32_t>(pError) : GetLastError();
  throw OperationError(code == 0 ? 1627u : code, what);
}

void ThrowErrno(int error, const std::string& what) {
  for (const ErrnoCode& entry : kErrnoCodes) {
    if (entry.error == error) throw OperationError(entry.code, what);
  }
  throw OperationError(0, what + ": " + (error ? std::strerror(error) : "unknown failure"));
}

}  // namespace cmskit_cli
