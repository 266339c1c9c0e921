#include "make/signer_profile.h"

namespace cmskit {

namespace {

constexpr char kSha1[] = "1.3.14.3.2.26";
constexpr char kSha256[] = "2.16.840.1.101.3.4.2.1";
constexpr char kSha384[] = "2.16.840.1.101.3.4.2.2";
constexpr char kSha512[] = "2.16.840.1.101.3.4.2.3";

// Keys whose signatureAlgorithm names the key alone, whatever the digest.
struct KeyRow {
  const char* keyOid;
  const char* defaultDigest;
  const char* signatureOid;
  // Null: every classic digest; else the only digest the key signs with.
  const char* onlyDigest;
};

const KeyRow kKeys[] = {
    {"1.2.840.113549.1.1.1", kSha256, "1.2.840.113549.1.1.1", nullptr},
    {"1.2.643.2.2.19", "1.2.643.2.2.9", "1.2.643.2.2.19", "1.2.643.2.2.9"},
    {"1.2.643.7.1.1.1.1", "1.2.643.7.1.1.2.2", "1.2.643.7.1.1.1.1", "1.2.643.7.1.1.2.2"},
    {"1.2.643.7.1.1.1.2", "1.2.643.7.1.1.2.3", "1.2.643.7.1.1.1.2", "1.2.643.7.1.1.2.3"},
};

// ECDSA and DSA name the digest in the signatureAlgorithm.
struct PairRow {
  const char* keyOid;
  const char* digestOid;
  const char* signatureOid;
};

const PairRow kPairs[] = {
    {"1.2.840.10045.2.1", kSha1, "1.2.840.10045.4.1"},
    {"1.2.840.10045.2.1", kSha256, "1.2.840.10045.4.3.2"},
    {"1.2.840.10045.2.1", kSha384, "1.2.840.10045.4.3.3"},
    {"1.2.840.10045.2.1", kSha512, "1.2.840.10045.4.3.4"},
    {"1.2.840.10040.4.1", kSha1, "1.2.840.10040.4.3"},
    {"1.2.840.10040.4.1", kSha256, "2.16.840.1.101.3.4.3.2"},
};

bool IsClassicDigest(const std::string& oid) {
  return oid == kSha1 || oid == kSha256 || oid == kSha384 || oid == kSha512;
}

}  // namespace

bool FindSignerProfile(const std::string& keyOid, const std::string& digestOid, SignerProfile& out) {
  for (const KeyRow& row : kKeys) {
    if (keyOid != row.keyOid) continue;
    const std::string digest = digestOid.empty() ? row.defaultDigest : digestOid;
    if (row.onlyDigest ? digest != row.onlyDigest : !IsClassicDigest(digest)) return false;
    out = {digest, row.signatureOid, SignatureForm::Reversed};
    return true;
  }
  const std::string digest = digestOid.empty() ? kSha256 : digestOid;
  for (const PairRow& row : kPairs) {
    if (keyOid != row.keyOid || digest != row.digestOid) continue;
    out = {digest, row.signatureOid, SignatureForm::Halves};
    return true;
  }
  return false;
}

}  // namespace cmskit
