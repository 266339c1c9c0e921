// The table of content-encryption algorithms.
#include "platform/posix/crypt_algorithms.h"

#include <cstring>

namespace cmskit {
namespace posix {

namespace {

const CipherAlgorithm kAlgorithms[] = {
    {CALG_AES_128, "2.16.840.1.101.3.4.1.2", "AES-128-CBC", 16, 16, 16, 16, CRYPT_MODE_CBC,
     CipherSource::kDefault},
    {CALG_AES_192, "2.16.840.1.101.3.4.1.22", "AES-192-CBC", 24, 24, 16, 16, CRYPT_MODE_CBC,
     CipherSource::kDefault},
    {CALG_AES_256, "2.16.840.1.101.3.4.1.42", "AES-256-CBC", 32, 32, 16, 16, CRYPT_MODE_CBC,
     CipherSource::kDefault},
    {CALG_3DES, "1.2.840.113549.3.7", "DES-EDE3-CBC", 24, 24, 8, 8, CRYPT_MODE_CBC, CipherSource::kDefault},
    {CALG_RC2, "1.2.840.113549.3.2", "RC2-CBC", 1, 128, 8, 8, CRYPT_MODE_CBC, CipherSource::kLegacy},
    {CALG_G28147, kGost28147Oid, nullptr, 32, 32, 0, 8, CRYPT_MODE_CFB, CipherSource::kGost},
};

const char* const kGostParamSets[] = {
    "1.2.643.2.2.31.0",     // test set
    "1.2.643.2.2.31.1",     // CryptoPro A
    "1.2.643.2.2.31.2",     // CryptoPro B
    "1.2.643.2.2.31.3",     // CryptoPro C
    "1.2.643.2.2.31.4",     // CryptoPro D
    "1.2.643.7.1.2.5.1.1",  // TC26 Z
};

}  // namespace

const CipherAlgorithm* AlgorithmById(ALG_ID algId) {
  for (const auto& algorithm : kAlgorithms) {
    if (algorithm.algId == algId) return &algorithm;
  }
  return nullptr;
}

const CipherAlgorithm* AlgorithmByOid(const char* oid) {
  if (!oid) return nullptr;
  for (const auto& algorithm : kAlgorithms) {
    if (std::strcmp(algorithm.oid, oid) == 0) return &algorithm;
  }
  return nullptr;
}

const CipherAlgorithm* AllAlgorithms(size_t* count) {
  *count = sizeof(kAlgorithms) / sizeof(kAlgorithms[0]);
  return kAlgorithms;
}

bool IsKnownGostParamSet(const char* oid) {
  if (!oid) return false;
  for (const char* known : kGostParamSets) {
    if (std::strcmp(known, oid) == 0) return true;
  }
  return false;
}

}  // namespace posix
}  // namespace cmskit
