// Algorithm parameters between a message's AlgorithmIdentifier and the
// platform's key object: the initialisation vector, and for GOST 28147-89 the
// key meshing switch and the parameter set (RFC 4357 form).
#include <cstring>
#include <list>
#include <string>
#include <vector>

#include "cmskit/asn_codec.h"
#include "cmskit/key_transport.h"
#include "cmskit/status.h"
#include "enveloped/enveloped_support.h"
#include "enveloped/key_params.h"
#include "platform/win32.h"
#include "tools/boundary.h"

namespace cmskit {

namespace {

constexpr char kOrigin[] = "DecryptKeyParam";
constexpr char kGostPrefix[] = "1.2.643.2.2";
constexpr DWORD kMixModeOn = 1;
// The provider reads as many IV octets as its cipher uses, whatever the
// message held: a short IV is handed over zero-filled to this size.
constexpr uint32_t kIvRoom = 64;
// A platform failure that left no code behind.
constexpr DWORD kFunctionFailed = 1627;

DWORD LastErrorOr(DWORD fallback) {
  const DWORD code = GetLastError();
  return code != 0 ? code : fallback;
}

DWORD SetIv(HCRYPTKEY key, const IdentObj& iv) {
  std::vector<BYTE> buffer(iv.size() > kIvRoom ? iv.size() : kIvRoom, 0);
  if (!iv.IsEmpty()) memcpy(buffer.data(), iv.data(), iv.size());
  return CryptSetKeyParam(key, KP_IV, buffer.data(), 0) ? 0 : LastErrorOr(kFunctionFailed);
}

DWORD SetMeshing(HCRYPTKEY key) {
  const DWORD mode = kMixModeOn;
  return CryptSetKeyParam(key, kKeyParamMixMode, reinterpret_cast<const BYTE*>(&mode), 0)
             ? 0
             : LastErrorOr(kFunctionFailed);
}

// The value of a whole element in the codec's value form.
IdentObj ValueOf(const IdentObj& element) {
  uint32_t headerLength = 0;
  ASNTElementInfo info = ASNTWholeHeader(element, headerLength, kOrigin);
  info.length = ASNTWholeContentsLength(element, info, headerLength);
  int status = 0;
  IdentObj value = ASNTDecodeElement(info, &status);
  if (status != 0) ASNTRaise(status, kOrigin);
  return value;
}

bool IsElement(const IdentObj& element, uint32_t tagNumber) {
  ASNTElementInfo info{};
  if (element.IsEmpty() || ASNTReadHeader(info, element.data(), element.size()) != 0) return false;
  return ASNTIsUniversal(info, tagNumber) && !info.constructed;
}

// The children of a SEQUENCE of at least two elements; any other shape is
// status 28 (code 160), a parser failure its own status.
std::list<IdentObj> PairFields(const IdentObj& params) {
  uint32_t headerLength = 0;
  const ASNTElementInfo info = ASNTWholeHeader(params, headerLength, kOrigin);
  if (!ASNTIsUniversal(info, kASNTSequence) || !info.constructed) ASNTRaise(kStatusBadArgument, kOrigin);
  std::list<IdentObj> fields;
  int status = 0;
  ASNTGetSequence(fields, params.data(), params.size(), &status);
  if (status != 0) ASNTRaise(status, kOrigin);
  if (fields.size() < 2) ASNTRaise(kStatusBadArgument, kOrigin);
  return fields;
}

// Gost28147-89-Parameters ::= SEQUENCE { iv OCTET STRING, encryptionParamSet OID }.
// The parameter set is left to the key: the provider chose it on import.
DWORD ApplyGost(HCRYPTKEY key, const IdentObj& params) {
  const std::list<IdentObj> fields = PairFields(params);
  const IdentObj iv = ASNTDecodePrimitive(fields.front(), kASNTOctetString, kStatusBadTag, kOrigin);
  if (const DWORD code = SetIv(key, iv)) return code;
  return SetMeshing(key);
}

// CBC parameters: a bare OCTET STRING IV, or RC2's SEQUENCE { version, iv }.
DWORD ApplyOther(HCRYPTKEY key, const IdentObj& params) {
  if (params.IsEmpty()) return 0;
  if (IsElement(params, kASNTOctetString)) return SetIv(key, ValueOf(params));
  const std::list<IdentObj> fields = PairFields(params);
  if (!IsElement(fields.front(), kASNTInteger)) ASNTRaise(kStatusBadTag, kOrigin);
  return SetIv(key, ValueOf(*std::next(fields.begin())));
}

bool IsExactly(const IdentObj& oid, const char* text) {
  const size_t length = strlen(text);
  return oid.size() == length && memcmp(oid.data(), text, length) == 0;
}

// 0 or the failure's code: a raised status mapped, else the platform's.
template <class Body>
DWORD RunForCode(Body&& body) {
  DWORD code = 0;
  const int status = CatchStatus([&] { code = body(); });
  return status != 0 ? StatusToWin32(status) : code;
}

IdentObj OctetString(const IdentObj& value) {
  const ASNTElementInfo info{kASNTUniversal, kASNTPrimitive, kASNTOctetString, 0, nullptr};
  return ASNTEncodeElement(info, value.data(), value.size());
}

IdentObj GostParameters(HCRYPTKEY key, const IdentObj& iv) {
  IdentObj paramSet;
  if (const DWORD code = ReadKeyParam(key, kKeyParamCipherOid, paramSet))
    ASNTRaise(Win32ToStatus(code), "CryptGetKeyParam");
  return EncodeGostParameters(iv, paramSet);
}

bool BadArguments() {
  SetLastError(ERROR_BAD_ARGUMENTS);
  return false;
}

}  // namespace

DWORD ReadKeyParam(HCRYPTKEY key, DWORD param, IdentObj& value) {
  DWORD size = 0;
  if (!CryptGetKeyParam(key, param, nullptr, &size, 0)) return LastErrorOr(kFunctionFailed);
  IdentObj buffer;
  buffer.Allocate(size);
  if (size != 0 && !CryptGetKeyParam(key, param, buffer.data(), &size, 0))
    return LastErrorOr(kFunctionFailed);
  if (size < buffer.size()) buffer.Resize(size);
  value = buffer;
  return 0;
}

IdentObj EncodeGostParameters(const IdentObj& iv, const IdentObj& paramSet) {
  constexpr char kEncodeOrigin[] = "EncodeGostParameters";
  // The provider hands the text over with its terminator.
  const char* chars = reinterpret_cast<const char*>(paramSet.data());
  const std::string text(chars, paramSet.IsEmpty() ? 0 : strnlen(chars, paramSet.size()));
  const std::list<IdentObj> fields{OctetString(iv), ASNTBuildOid(text.data(), text.size(), kEncodeOrigin)};
  return ASNTBuildSequence(fields, kASNTSequence, kEncodeOrigin);
}

bool IsGostAlg(const char* algOid) {
  return algOid && strncmp(algOid, kGostPrefix, sizeof kGostPrefix - 1) == 0;
}

bool DecryptKeyParam(HCRYPTKEY& key, ASNAlgorithmIdentifier& contentAlg) {
  if (key == 0 || contentAlg.id.IsEmpty()) return BadArguments();
  const bool gost = IsExactly(contentAlg.id, kGost28147Oid);
  // The code is not published: the platform's last error stays as it was.
  const DWORD code =
      RunForCode([&] { return gost ? ApplyGost(key, contentAlg.data) : ApplyOther(key, contentAlg.data); });
  return code == 0;
}

bool EncryptKeySetParam(const HCRYPTKEY& key, HCRYPTPROV& prov, char* const algOid, const IdentObj& iv) {
  if (key == 0 || prov == 0 || !algOid) return BadArguments();
  const DWORD code = RunForCode([&] {
    const DWORD ivCode = SetIv(key, iv);
    return ivCode != 0 || !IsGostAlg(algOid) ? ivCode : SetMeshing(key);
  });
  return code == 0;
}

bool EncryptKeyGetParam(const HCRYPTKEY& key, char* const algOid, const IdentObj& iv, IdentObj& params) {
  if (key == 0 || !algOid) return BadArguments();
  IdentObj built;
  const int status =
      CatchStatus([&] { built = IsGostAlg(algOid) ? GostParameters(key, iv) : OctetString(iv); });
  if (status != 0 || built.IsEmpty()) return false;
  params = built;
  return true;
}

bool GenerateNewInitVector(const HCRYPTKEY& key, const HCRYPTPROV& prov, IdentObj& iv) {
  DWORD length = 0;
  if (!CryptGetKeyParam(key, KP_IV, nullptr, &length, 0) || length == 0) return false;
  IdentObj random;
  const int status = CatchStatus([&] { random.Allocate(length); });
  if (status != 0) {
    SetLastError(StatusToWin32(status));
    return false;
  }
  if (!CryptGenRandom(prov, length, random.data())) return false;
  iv = random;
  return true;
}

}  // namespace cmskit
