#include "verify/signature_octets.h"

#include <algorithm>

#include "cmskit/asn_record.h"
#include "verify/algorithm_names.h"
#include "verify/der_cursor.h"

namespace cmskit {

namespace {

constexpr BYTE kIntegerTag = 0x02;
constexpr BYTE kSequenceTag = 0x30;
constexpr BYTE kObjectIdTag = 0x06;
constexpr char kOidMgf1[] = "1.2.840.113549.1.1.8";

// The integer's magnitude without sign octets; false when negative or empty.
bool Magnitude(const DerItem& item, const BYTE*& data, size_t& size) {
  if (item.tag() != kIntegerTag || item.length() == 0 || (item.contents()[0] & 0x80)) return false;
  data = item.contents();
  size = item.length();
  while (size > 1 && data[0] == 0) {
    ++data;
    --size;
  }
  return true;
}

bool PutLittleEndian(const DerItem& item, size_t width, BYTE* out) {
  const BYTE* data = nullptr;
  size_t size = 0;
  if (!Magnitude(item, data, size) || size > width) return false;
  std::reverse_copy(data, data + size, out);
  return true;
}

bool ReadOid(const DerItem& item, std::string& oid) {
  if (item.tag() != kObjectIdTag) return false;
  CASNTBaseRecord record;
  int status = 0;
  record.ReadFromMemory(item.start, static_cast<DWORD>(item.size), &status);
  if (status == 0) oid = OidText(record.GetValue(&status));
  return status == 0 && !oid.empty();
}

// AlgorithmIdentifier: its OID and, when present, its parameters element.
bool ReadAlgorithm(const DerItem& item, std::string& oid, DerItem* parameters) {
  if (item.tag() != kSequenceTag) return false;
  DerCursor fields(item);
  DerItem id;
  if (!fields.Next(id) || !ReadOid(id, oid)) return false;
  if (parameters && !fields.AtEnd() && !fields.Next(*parameters)) return false;
  return true;
}

bool ReadSmallInteger(const DerItem& item, DWORD& value) {
  const BYTE* data = nullptr;
  size_t size = 0;
  if (!Magnitude(item, data, size) || size > 4) return false;
  value = 0;
  for (size_t i = 0; i < size; ++i) value = (value << 8) | data[i];
  return true;
}

}  // namespace

bool DssSignatureToCryptoApi(const BYTE* der, size_t size, size_t width, std::vector<BYTE>& out) {
  DerCursor outer(der, size);
  DerItem sequence, r, s;
  if (width == 0 || !outer.Next(sequence) || !outer.AtEnd() || sequence.tag() != kSequenceTag) return false;
  DerCursor values(sequence);
  if (!values.Next(r) || !values.Next(s) || !values.AtEnd()) return false;
  out.assign(2 * width, 0);
  return PutLittleEndian(r, width, out.data()) && PutLittleEndian(s, width, out.data() + width);
}

size_t DsaOrderWidth(const BYTE* parameters, size_t size) {
  DerCursor outer(parameters, size);
  DerItem sequence, p, q;
  if (!outer.Next(sequence) || sequence.tag() != kSequenceTag) return 0;
  DerCursor values(sequence);
  const BYTE* data = nullptr;
  size_t width = 0;
  if (!values.Next(p) || !values.Next(q) || !Magnitude(q, data, width)) return 0;
  return width;
}

bool ReadPssParameters(const IdentObj& parameters, PssParameters& out) {
  out = PssParameters{};
  if (parameters.IsEmpty()) return true;
  DerCursor outer(parameters.data(), parameters.size());
  DerItem sequence;
  if (!outer.Next(sequence) || sequence.tag() != kSequenceTag) return false;
  DerCursor fields(sequence);
  DerItem field;
  while (!fields.AtEnd()) {
    if (!fields.Next(field)) return false;
    DerCursor explicitValue(field);
    DerItem value;
    if (!explicitValue.Next(value)) return false;
    switch (field.tag()) {
      case 0xA0:
        if (!ReadAlgorithm(value, out.digestOid, nullptr)) return false;
        break;
      case 0xA1: {
        std::string mgf;
        DerItem mgfParameters;
        if (!ReadAlgorithm(value, mgf, &mgfParameters) || mgf != kOidMgf1 ||
            !ReadAlgorithm(mgfParameters, out.maskDigestOid, nullptr))
          return false;
        break;
      }
      case 0xA2:
        if (!ReadSmallInteger(value, out.saltLength)) return false;
        break;
      case 0xA3:
        break;  // trailerField: only its default exists
      default:
        return false;
    }
  }
  return true;
}

}  // namespace cmskit
