// Identifiers the SignedData code recognises.
#ifndef CMSKIT_SIGNED_SIGNED_OIDS_H
#define CMSKIT_SIGNED_SIGNED_OIDS_H

namespace cmskit {

constexpr char kOidData[] = "1.2.840.113549.1.7.1";
constexpr char kOidSignedData[] = "1.2.840.113549.1.7.2";
// Accepted in place of id-signedData by the tree and file readers.
constexpr char kOidSignedAlias[] = "1.2.840.113549.1.7.26";

}  // namespace cmskit

#endif
