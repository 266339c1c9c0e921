// Shared by the enveloped-message fuzz targets: invariants that hold for any
// input.
#ifndef CMSKIT_FUZZ_ENVELOPED_FUZZ_UTIL_H
#define CMSKIT_FUZZ_ENVELOPED_FUZZ_UTIL_H

#include "cmskit/cmskit.h"
#include "fuzz_util.h"

namespace cmskit::fuzz {

// Runs `call`; a status thrown without pError is a normal outcome, anything
// else escapes and crashes the target.
template <class Call>
void AllowStatus(Call&& call) {
  try {
    call();
  } catch (const XTOOStatus&) {
  }
}

// What an EnvelopedData writes must read back and write again unchanged.
inline void RequireStableWrite(EnvelopedData& data) {
  int error = 0;
  const IdentObj first = data.WriteObject(&error);
  if (error != 0) return;
  EnvelopedData again;
  Require(again.ReadObject(first.data(), first.size(), &error) == first.size());
  Require(error == 0);
  const IdentObj second = again.WriteObject(&error);
  Require(error == 0 && Same(first, second));
}

}  // namespace cmskit::fuzz

#endif
