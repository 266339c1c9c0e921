#include "recipient_kinds.h"

#include <cmskit/cmskit.h>

#include <fstream>
#include <vector>

#include "asn_view.h"

namespace cmskit_cli {

namespace {

constexpr size_t kLookahead = 1 << 20;

// Headers read one after the other through a prefix of the message; every
// step checks that it stays inside the bytes read.
class HeaderWalk {
 public:
  explicit HeaderWalk(const std::vector<BYTE>& bytes) : bytes_(bytes) {}

  // The header at the position; false past the end or when unreadable.
  bool Peek(cmskit::ASNTElementInfo& info) const {
    if (at_ >= bytes_.size()) return false;
    const DWORD left = static_cast<DWORD>(bytes_.size() - at_);
    return cmskit::ASNTReadHeader(info, bytes_.data() + at_, left) == 0;
  }
  // Steps into the element at the position.
  bool Enter() {
    cmskit::ASNTElementInfo info;
    if (!Peek(info) || !info.constructed) return false;
    at_ = static_cast<size_t>(info.contents - bytes_.data());
    return true;
  }
  // The whole element at the position, stepping past it.
  bool Take(cmskit::IdentObj& element) {
    cmskit::ASNTElementInfo info;
    if (!Peek(info)) return false;
    const uint64_t header = static_cast<uint64_t>(info.contents - (bytes_.data() + at_));
    uint64_t length = info.length;
    if (length == cmskit::kASNTIndefinite) {
      int status = 0;
      const uint64_t room = bytes_.size() - at_ - header;
      length = cmskit::ASNTGetIndefiniteLength(info.contents, static_cast<DWORD>(room), true, &status);
      if (status != 0) return false;
    }
    if (header + length > bytes_.size() - at_) return false;
    element = cmskit::IdentObj(bytes_.data() + at_, static_cast<uint32_t>(header + length));
    at_ += static_cast<size_t>(header + length);
    return true;
  }
  bool Skip() {
    cmskit::IdentObj ignored;
    return Take(ignored);
  }

 private:
  const std::vector<BYTE>& bytes_;
  size_t at_ = 0;
};

const char* KindName(const cmskit::ASNTElementInfo& info) {
  if (info.tagClass != cmskit::kASNTContext) return nullptr;
  switch (info.tagNumber) {
    case 1:
      return "key agreement recipient (kari)";
    case 2:
      return "key encryption key recipient (kekri)";
    case 3:
      return "password recipient (pwri)";
    case 4:
      return "other recipient (ori)";
    default:
      return "recipient of an unknown kind";
  }
}

// ContentInfo, its [0], EnvelopedData, past the version and any [0]
// originatorInfo: the recipientInfos SET.
bool FindRecipients(HeaderWalk& walk, cmskit::IdentObj& recipients) {
  if (!walk.Enter() || !walk.Skip() || !walk.Enter() || !walk.Enter() || !walk.Skip()) return false;
  cmskit::ASNTElementInfo info;
  if (!walk.Peek(info)) return false;
  if (info.tagClass == cmskit::kASNTContext && info.tagNumber == 0 && !walk.Skip()) return false;
  return walk.Take(recipients);
}

}  // namespace

std::string UnsupportedRecipient(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<BYTE> bytes(kLookahead);
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<size_t>(in.gcount()));
  HeaderWalk walk(bytes);
  cmskit::IdentObj recipients;
  if (!FindRecipients(walk, recipients)) return std::string();
  for (const cmskit::IdentObj& recipient : Children(recipients)) {
    cmskit::ASNTElementInfo info;
    if (!Header(recipient, info)) return std::string();
    if (const char* name = KindName(info)) return name;
  }
  return std::string();
}

}  // namespace cmskit_cli
