#include "asn_view.h"

#include <cstdio>

#include "oid_names.h"

namespace cmskit_cli {

using cmskit::IdentObj;

std::list<IdentObj> Children(const IdentObj& element) {
  std::list<IdentObj> children;
  int status = 0;
  cmskit::ASNTGetSequence(children, element.data(), element.size(), &status);
  if (status != 0) children.clear();
  return children;
}

bool Header(const IdentObj& element, cmskit::ASNTElementInfo& info) {
  info = cmskit::ASNTElementInfo{};
  return element.size() > 0 && cmskit::ASNTReadHeader(info, element.data(), element.size()) == 0;
}

IdentObj Value(const IdentObj& element) {
  cmskit::ASNTElementInfo info;
  if (!Header(element, info)) return IdentObj();
  const uint64_t headerLength = static_cast<uint64_t>(info.contents - element.data());
  if (info.length == cmskit::kASNTIndefinite || headerLength + info.length > element.size())
    return IdentObj();
  int status = 0;
  IdentObj value = cmskit::ASNTDecodeElement(info, &status);
  return status == 0 ? value : IdentObj();
}

std::string Text(const IdentObj& bytes) {
  return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

std::string Hex(const IdentObj& bytes) {
  std::string out;
  char pair[3];
  for (uint32_t i = 0; i < bytes.size(); ++i) {
    std::snprintf(pair, sizeof(pair), "%02X", bytes.data()[i]);
    out += pair;
  }
  return out;
}

std::string HexReversed(const IdentObj& bytes) {
  IdentObj reversed(nullptr, bytes.size());
  for (uint32_t i = 0; i < bytes.size(); ++i) reversed.data()[i] = bytes.data()[bytes.size() - 1 - i];
  return Hex(reversed);
}

std::string NameText(const IdentObj& name) {
  std::string out;
  for (const IdentObj& rdn : Children(name)) {
    for (const IdentObj& pair : Children(rdn)) {
      const std::list<IdentObj> parts = Children(pair);
      if (parts.size() != 2) continue;
      if (!out.empty()) out += ", ";
      out += OidName(Text(Value(parts.front()))) + "=" + Text(Value(parts.back()));
    }
  }
  return out;
}

std::string AlgorithmName(const cmskit::ASNAlgorithmIdentifier& algorithm) {
  return OidName(Text(algorithm.id));
}

std::string TimeText(const FILETIME& time) {
  SYSTEMTIME st;
  if (!FileTimeToSystemTime(&time, &st)) return std::string();
  char text[64];
  std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02uZ", st.wYear, st.wMonth, st.wDay, st.wHour,
                st.wMinute, st.wSecond);
  return text;
}

CertificateSummary SummariseCertificate(const IdentObj& certificate) {
  CertificateSummary summary;
  const std::list<IdentObj> outer = Children(certificate);
  if (outer.empty()) return summary;
  std::list<IdentObj> tbs = Children(outer.front());
  cmskit::ASNTElementInfo info;
  // An explicit [0] version comes first in every version but 1.
  if (!tbs.empty() && Header(tbs.front(), info) && info.tagClass == cmskit::kASNTContext) tbs.pop_front();
  if (tbs.size() < 5) return summary;
  auto field = tbs.begin();
  summary.serial = HexReversed(Value(*field));
  std::advance(field, 2);
  summary.issuer = NameText(*field);
  std::advance(field, 2);
  summary.subject = NameText(*field);
  return summary;
}

}  // namespace cmskit_cli
