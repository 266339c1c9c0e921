#include "cli_error.h"

#include <cmskit/cmskit.h>

#include <cstdio>

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
    {8, "not enough memory"},
    {13, "the data is invalid"},
    {80, "the file exists"},
    {87, "invalid parameter"},
    {110, "the file could not be opened"},
    {112, "the disk is full"},
    {120, "function not supported"},
    {160, "bad arguments"},
    {266, "the file could not be copied"},
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

void Check(bool ok, int pError, const std::string& what) {
  if (ok && pError == 0) return;
  const uint32_t code = pError != 0 ? static_cast<uint32_t>(pError) : GetLastError();
  throw OperationError(code == 0 ? 1627u : code, what);
}

}  // namespace cmskit_cli
