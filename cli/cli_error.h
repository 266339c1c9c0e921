// Failures of the command-line tool: an operation that failed (exit status
// 1), with the Win32 error or HRESULT that says why where there is one, or a
// usage mistake (exit status 2).
#ifndef CMSKIT_CLI_CLI_ERROR_H
#define CMSKIT_CLI_CLI_ERROR_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace cmskit_cli {

class OperationError : public std::runtime_error {
 public:
  // `code` 0: there is no code, `what` says everything.
  OperationError(uint32_t code, const std::string& what) : std::runtime_error(what), code_(code) {}
  uint32_t code() const { return code_; }

 private:
  uint32_t code_;
};

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A short English meaning of a Win32 error or HRESULT the library reports.
std::string DescribeCode(uint32_t code);

// "0x80093103 (ASN.1 encoding is corrupt)" for one-line error messages.
std::string FormatCode(uint32_t code);

// "cmskit SUBCOMMAND: what: 0x... (meaning)", the one line a failure prints.
std::string ErrorLine(const std::string& subcommand, const OperationError& error);

// Throws OperationError when `ok` is false, taking the code from `pError`
// when it was set and the thread's last error otherwise.
void Check(bool ok, int pError, const std::string& what);

// Throws OperationError for a C library or filesystem failure (`error` an
// errno value): the matching Win32 code where there is one, else the C
// library's own words.
[[noreturn]] void ThrowErrno(int error, const std::string& what);

}  // namespace cmskit_cli

#endif
