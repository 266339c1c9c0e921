// Read-only helpers over whole DER elements for display: children, values,
// names and certificate fields. Nothing here throws on malformed input; a
// part that cannot be read shows as empty.
#ifndef CMSKIT_CLI_ASN_VIEW_H
#define CMSKIT_CLI_ASN_VIEW_H

#include <cmskit/cmskit.h>

#include <list>
#include <string>

namespace cmskit_cli {

// The children of a constructed element (empty when it is not one).
std::list<cmskit::IdentObj> Children(const cmskit::IdentObj& element);
// Class, constructed bit and tag of an element; false when unreadable.
bool Header(const cmskit::IdentObj& element, cmskit::ASNTElementInfo& info);
// The decoded value of a universal element, as the codec gives it.
cmskit::IdentObj Value(const cmskit::IdentObj& element);
std::string Text(const cmskit::IdentObj& bytes);
// Bytes given least significant first, shown most significant first.
std::string HexReversed(const cmskit::IdentObj& bytes);
std::string Hex(const cmskit::IdentObj& bytes);
// An X.500 Name as "CN=..., O=...".
std::string NameText(const cmskit::IdentObj& name);
// The OID of an AlgorithmIdentifier element, by name when well known.
std::string AlgorithmName(const cmskit::ASNAlgorithmIdentifier& algorithm);
// "2026-11-22T07:00:00Z"
std::string TimeText(const FILETIME& time);

struct CertificateSummary {
  std::string subject;
  std::string issuer;
  std::string serial;
};
CertificateSummary SummariseCertificate(const cmskit::IdentObj& certificate);

}  // namespace cmskit_cli

#endif
