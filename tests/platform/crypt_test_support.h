// Shared pieces of the crypto provider tests.
#ifndef CMSKIT_TESTS_PLATFORM_CRYPT_TEST_SUPPORT_H
#define CMSKIT_TESTS_PLATFORM_CRYPT_TEST_SUPPORT_H

#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "enveloped/enveloped_test_util.h"
#include "platform/posix/crypt_der.h"

namespace cmskit::test {

inline std::string DataFile(const std::string& name) { return TestData("crypt/" + name); }
inline Bytes ReadData(const std::string& name) { return ReadFileBytes(DataFile(name)); }
inline bool Shell(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}
inline bool HaveOpenSsl() {
  static const bool have = Shell("openssl version");
  return have;
}
// Both the openssl command and this process must reach the gost engine.
inline bool HaveGost() {
  static const bool have = [] {
    ProviderHandle prov;
    return AcquireVerifyContext(PROV_GOST_2012_256, prov) && HaveOpenSsl() && Shell("openssl engine -t gost");
  }();
  return have;
}
// Bytes as the openssl command line takes keys and IVs.
inline std::string HexArg(const Bytes& bytes) {
  std::string text = ToHex(bytes);
  text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
  return text;
}

// The parts of a single-recipient EnvelopedData that key import and content decryption need.
struct Envelope {
  std::string contentOid;
  Bytes contentParams;  // the whole parameters element
  Bytes iv, encryptedKey, encryptedContent;
};

inline std::vector<IdentObj> Children(const IdentObj& element) {
  std::list<IdentObj> out;
  int status = 0;
  ASNTGetSequence(out, element.data(), element.size(), &status);
  return std::vector<IdentObj>(out.begin(), out.end());
}
inline Bytes ValueOf(const IdentObj& element) {
  ASNTElementInfo info;
  if (element.IsEmpty() || ASNTReadHeader(info, element.data(), element.size())) return Bytes();
  return Bytes(info.contents, info.contents + info.length);
}

// Walks ContentInfo, EnvelopedData, the first recipient and the
// EncryptedContentInfo; the IV sits in CBC (OCTET STRING), RC2 (SEQUENCE
// {INTEGER, OCTET STRING}) and GOST (SEQUENCE {OCTET STRING, OID}) parameters.
inline Envelope ParseEnvelope(const Bytes& der) {
  Envelope envelope;
  const std::vector<IdentObj> contentInfo = Children(Obj(der));
  const std::vector<IdentObj> wrapper = contentInfo.size() == 2 ? Children(contentInfo[1]) : contentInfo;
  const std::vector<IdentObj> fields = wrapper.size() == 1 ? Children(wrapper[0]) : wrapper;
  const size_t at = fields.size() > 1 && fields[1].data()[0] == 0xA0 ? 2 : 1;  // after originatorInfo
  EXPECT_GE(fields.size(), at + 2);
  if (fields.size() < at + 2) return envelope;
  const std::vector<IdentObj> recipients = Children(fields[at]), eci = Children(fields[at + 1]);
  const std::vector<IdentObj> ktri = recipients.empty() ? recipients : Children(recipients[0]);
  const std::vector<IdentObj> alg = eci.size() == 3 ? Children(eci[1]) : eci;
  EXPECT_TRUE(ktri.size() == 4 && !alg.empty());
  if (ktri.size() != 4 || alg.empty()) return envelope;
  envelope.encryptedKey = ValueOf(ktri[3]);
  const Bytes oid = ValueOf(alg[0]);
  envelope.contentOid = posix::OidText(oid.data(), oid.size());
  if (alg.size() > 1) envelope.contentParams = ToBytes(alg[1]);
  for (const IdentObj& field : alg.size() > 1 && alg[1].data()[0] == 0x30 ? Children(alg[1]) : alg)
    if (field.data()[0] == posix::kDerOctetString) envelope.iv = ValueOf(field);
  envelope.encryptedContent = ValueOf(eci[2]);
  return envelope;
}

// Imports the envelope's key the way the library does: through the function
// installed for the content algorithm. Returns the last error, 0 on success.
inline DWORD ImportEnvelopeKey(HCRYPTPROV prov, const Envelope& envelope, HCRYPTKEY* key,
                               DWORD keySpec = AT_KEYEXCHANGE, const char* oid = nullptr) {
  HCRYPTOIDFUNCSET set = CryptInitOIDFunctionSet(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 0);
  void* function = nullptr;
  HCRYPTOIDFUNCADDR handle = nullptr;
  if (!CryptGetOIDFunctionAddress(set, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, envelope.contentOid.c_str(),
                                  0, &function, &handle))
    return GetLastError();
  CRYPT_ALGORITHM_IDENTIFIER content = {}, publicKey = {};
  content.pszObjId = const_cast<LPSTR>(oid ? oid : envelope.contentOid.c_str());
  content.Parameters = {Size(envelope.contentParams), const_cast<BYTE*>(envelope.contentParams.data())};
  Bytes encryptedKey = envelope.encryptedKey;
  const BOOL ok = reinterpret_cast<PFN_CMSG_IMPORT_ENCRYPT_KEY>(function)(
      prov, keySpec, &content, &publicKey, encryptedKey.data(), Size(encryptedKey), key);
  const DWORD error = ok ? 0 : GetLastError();
  CryptFreeOIDFunctionAddress(handle, 0);
  return error;
}

// Decrypts in pieces of `piece` bytes, all but the last with Final false.
inline bool DecryptPieces(HCRYPTKEY key, const Bytes& cipherText, size_t piece, Bytes* plainText) {
  plainText->clear();
  for (size_t at = 0; at < cipherText.size() || at == 0; at += piece) {
    const size_t size = std::min(piece, cipherText.size() - at);
    const bool final = at + size >= cipherText.size();
    Bytes buffer(cipherText.begin() + static_cast<long>(at),
                 cipherText.begin() + static_cast<long>(at + size));
    DWORD length = static_cast<DWORD>(size);
    if (!CryptDecrypt(key, 0, final, 0, buffer.data(), &length)) return false;
    plainText->insert(plainText->end(), buffer.begin(), buffer.begin() + length);
    if (final) break;
  }
  return true;
}

}  // namespace cmskit::test

#endif
