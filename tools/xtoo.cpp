// The XTOO exception family: passive error records that throw themselves when
// asked to.
#include <cstring>

#include "cmskit/status.h"

namespace cmskit {

XTOOBaseMsg::~XTOOBaseMsg() = default;
XTOOMsg::~XTOOMsg() = default;
XTOOStatus::~XTOOStatus() = default;
XTOOErrno::~XTOOErrno() = default;
XTOOFile::~XTOOFile() = default;

bool XTOOStatus::IsError() const { return status != 0; }

CTOOString XTOOStatus::GetText() const {
  CTOOString text;
  text.Format("Status = %d", static_cast<int>(status));
  return text;
}

void XTOOStatus::Clear() { status = 0; }

void XTOOStatus::Raise() const { throw XTOOStatus(*this); }

void XTOOStatus::SetStatus(uint32_t code) {
  status = code;
  if (IsError() && raise) Raise();
}

bool XTOOErrno::IsError() const { return errnum != 0; }

CTOOString XTOOErrno::GetText() const { return CTOOString(strerror(static_cast<int>(errnum))); }

void XTOOErrno::Clear() { errnum = 0; }

void XTOOErrno::Raise() const { throw XTOOErrno(*this); }

void XTOOErrno::SetErrno(uint32_t value) {
  errnum = value;
  if (IsError() && raise) Raise();
}

bool XTOOFile::IsError() const { return status != 0 || errnum != 0; }

CTOOString XTOOFile::GetText() const { return XTOOStatus::GetText(); }

void XTOOFile::Clear() {
  status = 0;
  errnum = 0;
}

void XTOOFile::Raise() const { throw XTOOFile(*this); }

void XTOOFile::SetFileError(uint32_t statusCode, uint32_t errnoValue) {
  Clear();
  // Both codes are stored before the record may throw, so the thrown copy
  // carries the status and the errno together.
  status = statusCode;
  errnum = errnoValue;
  if (IsError() && raise) Raise();
}

}  // namespace cmskit
