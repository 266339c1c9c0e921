#include "oid_names.h"

namespace cmskit_cli {
namespace {

struct OidEntry {
  const char* oid;
  const char* name;
};

constexpr OidEntry kNames[] = {
    {"1.2.840.113549.1.7.1", "data"},
    {"1.2.840.113549.1.7.2", "signedData"},
    {"1.2.840.113549.1.7.3", "envelopedData"},
    {"1.2.840.113549.1.7.26", "signedData (alias)"},
    {"1.2.840.113549.1.9.3", "contentType"},
    {"1.2.840.113549.1.9.4", "messageDigest"},
    {"1.2.840.113549.1.9.5", "signingTime"},
    {"1.2.840.113549.1.9.15", "smimeCapabilities"},
    {"1.2.840.113549.1.9.16.2.12", "signingCertificate"},
    {"1.2.840.113549.1.9.16.2.47", "signingCertificateV2"},
    {"1.2.840.113549.1.1.1", "rsaEncryption"},
    {"1.2.840.113549.1.1.5", "sha1WithRSAEncryption"},
    {"1.2.840.113549.1.1.7", "rsaOAEP"},
    {"1.2.840.113549.1.1.10", "rsassaPss"},
    {"1.2.840.113549.1.1.11", "sha256WithRSAEncryption"},
    {"1.2.840.113549.1.1.12", "sha384WithRSAEncryption"},
    {"1.2.840.113549.1.1.13", "sha512WithRSAEncryption"},
    {"1.2.840.10040.4.1", "dsa"},
    {"1.2.840.10040.4.3", "dsaWithSha1"},
    {"1.2.840.10045.2.1", "ecPublicKey"},
    {"1.2.840.10045.4.3.2", "ecdsaWithSHA256"},
    {"1.3.14.3.2.26", "sha1"},
    {"2.16.840.1.101.3.4.2.1", "sha256"},
    {"2.16.840.1.101.3.4.2.2", "sha384"},
    {"2.16.840.1.101.3.4.2.3", "sha512"},
    {"1.2.840.113549.2.5", "md5"},
    {"1.2.840.113549.3.2", "rc2-cbc"},
    {"1.2.840.113549.3.7", "des-ede3-cbc"},
    {"2.16.840.1.101.3.4.1.2", "aes128-cbc"},
    {"2.16.840.1.101.3.4.1.22", "aes192-cbc"},
    {"2.16.840.1.101.3.4.1.42", "aes256-cbc"},
    {"1.2.643.2.2.3", "gostR3411-94-with-gostR3410-2001"},
    {"1.2.643.2.2.9", "gostR3411-94"},
    {"1.2.643.2.2.19", "gostR3410-2001"},
    {"1.2.643.2.2.21", "gost28147-89"},
    {"1.2.643.7.1.1.1.1", "gostR3410-2012-256"},
    {"1.2.643.7.1.1.1.2", "gostR3410-2012-512"},
    {"1.2.643.7.1.1.2.2", "gostR3411-2012-256"},
    {"1.2.643.7.1.1.2.3", "gostR3411-2012-512"},
    {"1.2.643.7.1.1.3.2", "gostR3411-2012-256-with-gostR3410-2012-256"},
    {"1.2.643.7.1.1.3.3", "gostR3411-2012-512-with-gostR3410-2012-512"},
    {"2.5.4.3", "CN"},
    {"2.5.4.5", "serialNumber"},
    {"2.5.4.6", "C"},
    {"2.5.4.7", "L"},
    {"2.5.4.8", "ST"},
    {"2.5.4.9", "street"},
    {"2.5.4.10", "O"},
    {"2.5.4.11", "OU"},
    {"2.5.4.12", "title"},
    {"2.5.4.42", "GN"},
    {"2.5.4.4", "SN"},
    {"1.2.840.113549.1.9.1", "emailAddress"},
};

}  // namespace

std::string OidName(const std::string& dotted) {
  for (const OidEntry& entry : kNames) {
    if (dotted == entry.oid) return entry.name;
  }
  return dotted;
}

}  // namespace cmskit_cli
