// Signature keys of every kind the provider handles, made with the openssl
// command once per test program: NAME.key (PEM), NAME.cer (a self-signed DER
// certificate) and NAME.pub (PEM public key), and the same for NAME-other, a
// second key of the kind.
#ifndef CMSKIT_TESTS_PLATFORM_CRYPT_KEY_RING_H
#define CMSKIT_TESTS_PLATFORM_CRYPT_KEY_RING_H

#include <memory>
#include <set>
#include <string>

#include "crypt_test_support.h"

namespace cmskit::test {

struct KeyKind {
  std::string name, genpkey;  // genpkey: openssl genpkey options, run in the ring's folder
  DWORD provType;
  ALG_ID hashAlg;
  std::string digest, sigopts;  // hashAlg as openssl dgst and req name it; dgst options for the padding
  DWORD pssSaltLength;          // switched on through the key parameter; 0: the key's own padding
  bool gost, dss;               // dss: signatures are r and s
  DWORD signatureSize;
};

// The kinds of crypt/key_kinds.txt.
inline const std::vector<KeyKind>& KeyKinds() {
  static const std::vector<KeyKind> kinds = [] {
    std::vector<KeyKind> out;
    const cmskit_testing::Table table("crypt/key_kinds.txt");
    for (const cmskit_testing::Row& r : table.Rows())
      out.push_back({r[0], r[1], static_cast<DWORD>(std::stoul(r[2])),
                     static_cast<ALG_ID>(std::stoul(r[3], nullptr, 16)), r[4], r[5],
                     static_cast<DWORD>(std::stoul(r[6])), r[7] == "gost", r[7] == "dss",
                     static_cast<DWORD>(std::stoul(r[8]))});
    return out;
  }();
  return kinds;
}

class KeyRing {
 public:
  static KeyRing& Get() {
    static KeyRing ring;
    return ring;
  }
  // Whether the kind's keys are there (made now if need be); false without
  // the openssl command, or the engine for GOST kinds.
  bool Have(const KeyKind& kind) {
    if (kind.gost ? !HaveGost() : !HaveOpenSsl()) return false;
    if (made_.count(kind.name)) return true;
    if (!Make(kind, kind.name) || !Make(kind, kind.name + "-other")) {
      ADD_FAILURE() << "openssl could not make the " << kind.name << " keys";
      return false;
    }
    made_.insert(kind.name);
    return true;
  }
  std::string Path(const std::string& name) const { return dir_.Path(name); }
  // An openssl command, with the engine for GOST kinds, run in the ring's folder.
  bool Openssl(const KeyKind& kind, const std::string& verb, const std::string& options) const {
    return Shell("cd " + Path("") + " && openssl " + verb + (kind.gost ? " -engine gost " : " ") + options);
  }

 private:
  KeyRing() = default;
  bool Make(const KeyKind& kind, const std::string& name) {
    if (kind.name == "dsa" &&
        !Openssl(kind, "genpkey",
                 "-genparam -algorithm DSA -pkeyopt dsa_paramgen_bits:2048 -pkeyopt dsa_paramgen_q_bits:256 "
                 "-out dsa.params"))
      return false;
    return Openssl(kind, "genpkey", kind.genpkey + " -out " + name + ".key") &&
           Openssl(kind, "req",
                   "-x509 -new -key " + name + ".key -subj /CN=" + name + " -days 1 " + kind.digest +
                       " -outform DER -out " + name + ".cer") &&
           Openssl(kind, "pkey", "-in " + name + ".key -pubout -out " + name + ".pub");
  }
  TempDir dir_;
  std::set<std::string> made_;
};

// A certificate context released when it goes.
struct CertDeleter {
  void operator()(const CERT_CONTEXT* cert) const { CertFreeCertificateContext(cert); }
};
using CertPtr = std::unique_ptr<const CERT_CONTEXT, CertDeleter>;
inline CertPtr LoadCert(const std::string& path) {
  const Bytes der = ReadBytes(path);
  return CertPtr(CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), Size(der)));
}

// A certificate's public key imported on `prov`; 0 on failure.
inline HCRYPTKEY ImportCertKey(HCRYPTPROV prov, const std::string& path) {
  const CertPtr cert = LoadCert(path);
  HCRYPTKEY key = 0;
  return cert && CryptImportPublicKeyInfo(prov, X509_ASN_ENCODING, &cert->pCertInfo->SubjectPublicKeyInfo,
                                          &key)
             ? key
             : 0;
}

// Signatures between CryptoAPI's order and the wire form: RSA and GOST
// reversed, DSA and ECDSA from r and s (little-endian halves) to the DER
// Dss-Sig-Value and back. Written apart from the provider's conversion.
inline Bytes Reversed(Bytes bytes) {
  std::reverse(bytes.begin(), bytes.end());
  return bytes;
}
inline Bytes DerInteger(Bytes bigEndian) {
  while (bigEndian.size() > 1 && bigEndian[0] == 0 && !(bigEndian[1] & 0x80))
    bigEndian.erase(bigEndian.begin());
  if (bigEndian[0] & 0x80) bigEndian.insert(bigEndian.begin(), 0);
  return Tlv(0x02, bigEndian);
}
inline Bytes WireSignature(const KeyKind& kind, const Bytes& signature) {
  if (!kind.dss) return Reversed(signature);
  const size_t half = signature.size() / 2;
  return Tlv(0x30, Cat({DerInteger(Reversed(Bytes(signature.begin(), signature.begin() + half))),
                        DerInteger(Reversed(Bytes(signature.begin() + half, signature.end())))}));
}
inline Bytes ApiSignature(const KeyKind& kind, const Bytes& wire, size_t size) {
  if (!kind.dss) return Reversed(wire);
  Bytes out;
  for (size_t at = 2; at + 2 <= wire.size() && wire[1] < 0x80;) {  // short lengths: groups up to 512 bits
    const size_t length = wire[at + 1];
    Bytes value(wire.begin() + static_cast<long>(at + 2), wire.begin() + static_cast<long>(at + 2 + length));
    while (value.size() > size / 2 && value[0] == 0) value.erase(value.begin());
    value.insert(value.begin(), size / 2 - value.size(), 0);
    out = Cat({out, Reversed(value)});
    at += 2 + length;
  }
  return out;
}

}  // namespace cmskit::test

#endif
