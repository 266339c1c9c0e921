#include "files/base64_chars.h"

#include <cstring>

#include "files/base64.h"

namespace cmskit {

namespace {

constexpr size_t kMarkerRest = 4;  // the dashes that follow the first of a marker

enum class DashResult { kToggle, kInsideLabel, kForbidden };

// The byte after a "-" and the three behind it decide: "----" completes a
// marker; anything else is part of a label inside armour, or forbidden.
DashResult ReadDash(FileByteSource& source, bool insideArmour) {
  BYTE rest[kMarkerRest];
  if (source.Take(rest, kMarkerRest) < kMarkerRest) return DashResult::kForbidden;
  if (memcmp(rest, "----", kMarkerRest) == 0) return DashResult::kToggle;
  return insideArmour ? DashResult::kInsideLabel : DashResult::kForbidden;
}

}  // namespace

size_t ScanBase64Chars(FileByteSource& source, std::vector<char>& chars, size_t limit) {
  bool insideArmour = false;
  BYTE c = 0;
  while (chars.size() < limit && source.Next(c)) {
    if (c == '-') {
      const DashResult dash = ReadDash(source, insideArmour);
      if (dash == DashResult::kForbidden) return 0;
      if (dash == DashResult::kToggle) insideArmour = !insideArmour;
      continue;
    }
    if (insideArmour || IsBase64WhiteSpace(c)) continue;
    if (kBase64Values[c] == kBase64NotAlphabet && c != kBase64Pad) return 0;
    chars.push_back(static_cast<char>(c));
  }
  return chars.size();
}

size_t ReadBase64Chars(CTOOFile& file, std::vector<char>& chars, size_t limit) {
  FileByteSource source(file, 1);
  return ScanBase64Chars(source, chars, limit);
}

}  // namespace cmskit
