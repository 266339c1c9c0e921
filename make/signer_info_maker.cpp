// One SignerInfo: the signed attributes, the signature over them (or over the
// content digest alone) from the signer's provider, in the form a SignerInfo
// holds.
#include <algorithm>
#include <list>
#include <string>

#include "asn/asn_build.h"
#include "cmskit/asn_codec.h"
#include "cmskit/make_signed.h"
#include "cmskit/message_signer_info.h"
#include "cmskit/status.h"
#include "make/make_failure.h"
#include "make/signer_profile.h"
#include "platform/win32.h"
#include "verify/algorithm_names.h"
#include "verify/crypt_handles.h"

namespace cmskit {

namespace {

constexpr char kOidContentType[] = "1.2.840.113549.1.9.3";
constexpr char kOidMessageDigest[] = "1.2.840.113549.1.9.4";
constexpr char kOidSigningTime[] = "1.2.840.113549.1.9.5";
constexpr DWORD kBadAlgorithm = NTE_BAD_ALGID;
constexpr DWORD kBadArguments = ERROR_INVALID_PARAMETER;

[[noreturn]] void Fail(DWORD code) { FailWith(code); }

IdentObj Element(uint32_t tagNumber, const void* value, DWORD length) {
  const ASNTElementInfo info{kASNTUniversal, kASNTPrimitive, tagNumber, 0, nullptr};
  IdentObj element = ASNTEncodeElement(info, value, length);
  if (element.IsEmpty()) Fail(kBadArguments);
  return element;
}

OneAttributesSet OneValue(const char* oid, const IdentObj& value) {
  OneAttributesSet set;
  set.setAttrOID(oid);
  set.pushBackEntry(value);
  return set;
}

// UTCTime through 2049, GeneralizedTime after, as CMS asks of signingTime.
IdentObj SigningTime(const SignOptions& options) {
  FILETIME now{};
  if (!options.signingTime) GetSystemTimeAsFileTime(&now);
  const FILETIME& time = options.signingTime ? *options.signingTime : now;
  SYSTEMTIME calendar{};
  if (!FileTimeToSystemTime(&time, &calendar)) Fail(kBadArguments);
  const bool utc = calendar.wYear >= 1950 && calendar.wYear < 2050;
  return Element(utc ? kASNTUtcTime : kASNTGeneralizedTime, &time, sizeof time);
}

// contentType, messageDigest, signingTime: the order the signature covers.
AttributesList SignedAttributes(const char* contentTypeOid, const IdentObj& digest,
                                const SignOptions& options) {
  AttributesList list;
  list.push_back(
      OneValue(kOidContentType, Element(kASNTObjectId, contentTypeOid,
                                        static_cast<DWORD>(std::char_traits<char>::length(contentTypeOid)))));
  list.push_back(OneValue(kOidMessageDigest, Element(kASNTOctetString, digest.data(), digest.size())));
  list.push_back(OneValue(kOidSigningTime, SigningTime(options)));
  return list;
}

// The attributes as the signature covers them: under the SET tag.
IdentObj SetOfAttributes(AttributesList list) {
  list.tag = kASNTSet;
  list.universalClass = true;
  int code = 0;
  IdentObj encoded = list.WriteData(&code);
  if (code != 0) Fail(static_cast<DWORD>(code));
  return encoded;
}

IdentObj ProviderSignature(HashHandle& hash, DWORD keySpec) {
  DWORD length = 0;
  if (!CryptSignHashA(hash.get(), keySpec, nullptr, 0, nullptr, &length)) Fail(GetLastError());
  IdentObj signature(nullptr, length);
  if (!CryptSignHashA(hash.get(), keySpec, nullptr, 0, signature.data(), &length)) Fail(GetLastError());
  signature.Resize(length);
  return signature;
}

// A non-negative INTEGER from `size` little-endian octets.
IdentObj UnsignedInteger(const BYTE* littleEndian, uint32_t size) {
  IdentObj widened(nullptr, size + 1);
  std::copy(littleEndian, littleEndian + size, widened.data());
  widened.data()[size] = 0;
  return Element(kASNTInteger, widened.data(), widened.size());
}

// r|s halves into Dss-Sig-Value, held least significant octet first.
IdentObj DssSignature(const IdentObj& halves) {
  const uint32_t half = halves.size() / 2;
  if (half == 0 || halves.size() % 2 != 0) Fail(static_cast<DWORD>(NTE_BAD_SIGNATURE));
  const std::list<IdentObj> parts{UnsignedInteger(halves.data(), half),
                                  UnsignedInteger(halves.data() + half, half)};
  int status = 0;
  IdentObj der = ASNTPutSequence(parts, kASNTSequence, &status);
  if (status != 0) Fail(StatusToWin32(status));
  std::reverse(der.data(), der.data() + der.size());
  return der;
}

IdentObj Sign(const SignerCredential& signer, const SignerProfile& profile, const IdentObj& toHash,
              const IdentObj& digest) {
  const DigestAlgorithm* algorithm = FindDigestByOid(profile.digestOid);
  if (!algorithm) Fail(kBadAlgorithm);
  HashHandle hash;
  if (!CryptCreateHash(signer.provider, algorithm->algId, 0, 0, hash.Receive())) Fail(GetLastError());
  const bool hashed = toHash.IsEmpty() ? CryptSetHashParam(hash.get(), HP_HASHVAL, digest.data(), 0)
                                       : CryptHashData(hash.get(), toHash.data(), toHash.size(), 0);
  if (!hashed) Fail(GetLastError());
  const IdentObj signature = ProviderSignature(hash, signer.keySpec);
  return profile.form == SignatureForm::Halves ? DssSignature(signature) : signature;
}

IdentObj BuildSignerInfo(const SignerCredential& signer, const char* contentTypeOid, const IdentObj& digest,
                         const SignOptions& options) {
  if (!signer.certificate || !signer.provider || !contentTypeOid) Fail(kBadArguments);
  const CERT_INFO& certificate = *signer.certificate->pCertInfo;
  const char* keyOid = certificate.SubjectPublicKeyInfo.Algorithm.pszObjId;
  SignerProfile profile;
  if (!keyOid || !FindSignerProfile(keyOid, signer.digestOid ? signer.digestOid : "", profile))
    Fail(kBadAlgorithm);
  MessageSignerInfo info;
  info.issuer.SetData(certificate.Issuer.pbData, certificate.Issuer.cbData);
  info.serialNumber.SetData(certificate.SerialNumber.pbData, certificate.SerialNumber.cbData);
  info.digestAlgorithm = ASNAlgorithmIdentifier(profile.digestOid.c_str(), IdentObj());
  info.signatureAlgorithm = ASNAlgorithmIdentifier(profile.signatureOid.c_str(), IdentObj());
  IdentObj toHash;
  if (options.signedAttributes) {
    info.signedAttrs = SignedAttributes(contentTypeOid, digest, options);
    toHash = SetOfAttributes(info.signedAttrs);
  }
  info.signature = Sign(signer, profile, toHash, digest);
  int code = 0;
  IdentObj encoded = info.WriteData(&code);
  if (code != 0) Fail(static_cast<DWORD>(code));
  return encoded;
}

}  // namespace

IdentObj MakeSignerInfo(const SignerCredential& signer, const char* contentTypeOid, const IdentObj& digest,
                        const SignOptions& options, int* pError) {
  IdentObj encoded;
  RunMaking(pError, [&] { encoded = BuildSignerInfo(signer, contentTypeOid, digest, options); });
  return encoded;
}

}  // namespace cmskit
