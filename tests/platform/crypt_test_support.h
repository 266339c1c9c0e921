// Shared pieces of the crypto provider tests: scratch folders, the openssl
// command line, handles that release themselves and a small reader of
// EnvelopedData for the messages OpenSSL writes.
#ifndef CMSKIT_TESTS_PLATFORM_CRYPT_TEST_SUPPORT_H
#define CMSKIT_TESTS_PLATFORM_CRYPT_TEST_SUPPORT_H

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <list>
#include <random>
#include <string>
#include <vector>

#include "cmskit/asn_codec.h"
#include "enveloped/enveloped_test_util.h"
#include "platform/posix/crypt_der.h"
#include "platform/win32.h"

namespace cmskit {
namespace crypt_test {

// Handles, files and key parameters as the enveloped tests have them.
using test::Bytes;
using test::KeyHandle;
using test::KeyParam;
using ProvHandle = test::ProviderHandle;
inline Bytes ReadBytes(const std::string& path) { return test::ReadFileBytes(path); }
inline void WriteBytes(const std::string& path, const Bytes& bytes) { test::WriteFileBytes(path, bytes); }

inline std::string DataFile(const std::string& name) {
  return std::string(CMSKIT_TEST_DATA) + "/crypt/" + name;
}

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
    HCRYPTPROV prov = 0;
    if (!CryptAcquireContextA(&prov, nullptr, nullptr, PROV_GOST_2012_256, CRYPT_VERIFYCONTEXT)) return false;
    CryptReleaseContext(prov, 0);
    return HaveOpenSsl() && Shell("openssl engine -t gost");
  }();
  return have;
}

inline Bytes PatternBytes(size_t size, unsigned seed) {
  std::mt19937 generator(seed);
  Bytes bytes(size);
  for (BYTE& b : bytes) b = static_cast<BYTE>(generator());
  return bytes;
}

inline std::string Hex(const Bytes& bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (BYTE b : bytes) {
    text += kDigits[b >> 4];
    text += kDigits[b & 15];
  }
  return text;
}

// A folder under the system's temporary folder, removed with its contents.
class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "cmskit-crypt-XXXXXX").string();
    path_ = mkdtemp(&pattern[0]) ? pattern : std::string();
  }
  ~ScratchDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// The parts of a single-recipient EnvelopedData that key import and content
// decryption need.
struct Envelope {
  std::string contentOid;
  Bytes contentParams;  // the whole parameters element
  Bytes iv;
  Bytes encryptedKey;  // content of the KeyTransRecipientInfo's encryptedKey
  Bytes encryptedContent;
};

// The elements inside a constructed element, empty when it is broken.
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
inline bool ParseEnvelope(const Bytes& der, Envelope* envelope) {
  const std::vector<IdentObj> contentInfo = Children(IdentObj(der.data(), static_cast<DWORD>(der.size())));
  const std::vector<IdentObj> wrapper = contentInfo.size() == 2 ? Children(contentInfo[1]) : contentInfo;
  if (wrapper.size() != 1) return false;
  const std::vector<IdentObj> fields = Children(wrapper[0]);
  const size_t at = fields.size() > 1 && fields[1].data()[0] == 0xA0 ? 2 : 1;  // after originatorInfo
  if (fields.size() < at + 2) return false;
  const std::vector<IdentObj> recipients = Children(fields[at]), eci = Children(fields[at + 1]);
  const std::vector<IdentObj> ktri = recipients.empty() ? recipients : Children(recipients[0]);
  const std::vector<IdentObj> alg = eci.size() == 3 ? Children(eci[1]) : eci;
  if (ktri.size() != 4 || alg.empty()) return false;
  envelope->encryptedKey = ValueOf(ktri[3]);
  const Bytes oid = ValueOf(alg[0]);
  envelope->contentOid = posix::OidText(oid.data(), oid.size());
  if (alg.size() > 1) envelope->contentParams.assign(alg[1].data(), alg[1].data() + alg[1].size());
  for (const IdentObj& field : alg.size() > 1 && alg[1].data()[0] == 0x30 ? Children(alg[1]) : alg) {
    if (field.data()[0] == posix::kDerOctetString) envelope->iv = ValueOf(field);
  }
  envelope->encryptedContent = ValueOf(eci[2]);
  return true;
}

// Imports the envelope's key the way the library does: through the function
// installed for the content algorithm. Returns the last error, 0 on success.
inline DWORD ImportEnvelopeKey(HCRYPTPROV prov, const Envelope& envelope, HCRYPTKEY* key) {
  HCRYPTOIDFUNCSET set = CryptInitOIDFunctionSet(CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC, 0);
  void* function = nullptr;
  HCRYPTOIDFUNCADDR handle = nullptr;
  if (!set || !CryptGetOIDFunctionAddress(set, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                          envelope.contentOid.c_str(), 0, &function, &handle))
    return GetLastError();
  CRYPT_ALGORITHM_IDENTIFIER content = {};
  content.pszObjId = const_cast<LPSTR>(envelope.contentOid.c_str());
  content.Parameters.cbData = static_cast<DWORD>(envelope.contentParams.size());
  content.Parameters.pbData = const_cast<BYTE*>(envelope.contentParams.data());
  CRYPT_ALGORITHM_IDENTIFIER publicKey = {};
  Bytes encryptedKey = envelope.encryptedKey;
  const BOOL ok = reinterpret_cast<PFN_CMSG_IMPORT_ENCRYPT_KEY>(function)(
      prov, AT_KEYEXCHANGE, &content, &publicKey, encryptedKey.data(),
      static_cast<DWORD>(encryptedKey.size()), key);
  const DWORD error = ok ? 0 : GetLastError();
  CryptFreeOIDFunctionAddress(handle, 0);
  return error;
}

// Applies the IV (and, for GOST, the CryptoPro key meshing) as the library does.
inline bool ApplyContentParams(HCRYPTKEY key, const Envelope& envelope) {
  if (!CryptSetKeyParam(key, KP_IV, envelope.iv.data(), 0)) return false;
  if (envelope.contentOid != "1.2.643.2.2.21") return true;
  const DWORD promix = CRYPT_PROMIX_MODE;
  return CryptSetKeyParam(key, KP_MIXMODE, reinterpret_cast<const BYTE*>(&promix), 0) != FALSE;
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

}  // namespace crypt_test
}  // namespace cmskit

#endif
