// Byte builders, files and a window on SignData's private helpers, shared by
// the SignData suites (unit and interop).
#ifndef CMSKIT_TESTS_SIGNED_SIGN_DATA_FIXTURES_H
#define CMSKIT_TESTS_SIGNED_SIGN_DATA_FIXTURES_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <random>
#include <string>
#include <system_error>
#include <vector>

#include "cmskit/cmskit.h"
#include "common/der.h"

namespace cmskit {

// Reaches the private members the unit tests drive directly.
class SignDataTestPeer {
 public:
  static void FillEntry(SignData& message, const CASNTUnit& root) { message.FillEntry(root); }
  static int AlgList(SignData& message, const IdentObj& element) {
    return message.ReadObject_AlgList(element);
  }
  static int Encaps(SignData& message, const IdentObj& element) {
    return message.ReadObject_EncapsContentInfo(element);
  }
  static int Certificates(SignData& message, const IdentObj& element) {
    return message.ReadObject_CertificateSet(element);
  }
  static int Crls(SignData& message, const IdentObj& element) { return message.ReadObject_CRLList(element); }
};

namespace signtest {

using Bytes = std::vector<BYTE>;

inline Bytes Hex(const std::string& text) {
  Bytes out;
  std::string digits;
  for (char c : text)
    if (c != ' ') digits += c;
  for (size_t i = 0; i + 1 < digits.size(); i += 2)
    out.push_back(static_cast<BYTE>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  return out;
}

inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

inline Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }

inline Bytes Of(const IdentObj& object) { return Bytes(object.data(), object.data() + object.size()); }

inline IdentObj Obj(const Bytes& bytes) {
  return IdentObj(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

inline IdentObj Dotted(const char* text) {
  IdentObj object;
  object = text;
  return object;
}

using cmskit_testing::Tlv;

// The children of a definite-length DER element, each whole. Test-side and
// deliberately independent of the library's codec.
inline std::vector<Bytes> Children(const Bytes& element) {
  std::vector<Bytes> out;
  auto header = [&](size_t at, size_t& length) {
    size_t position = at + 1;
    const BYTE first = element.at(position++);
    length = first;
    if (first & 0x80) {
      length = 0;
      for (BYTE i = 0; i < (first & 0x7F); ++i) length = (length << 8) | element.at(position++);
    }
    return position - at;
  };
  size_t length = 0;
  size_t at = header(0, length);
  while (at < element.size()) {
    size_t childLength = 0;
    const size_t childHeader = header(at, childLength);
    out.emplace_back(element.begin() + static_cast<std::ptrdiff_t>(at),
                     element.begin() + static_cast<std::ptrdiff_t>(at + childHeader + childLength));
    at += childHeader + childLength;
  }
  return out;
}

// What the writers make of a DER message whose digest algorithms came
// without parameters: the same, with NULL parameters.
inline Bytes WithNullDigestParameters(const Bytes& message) {
  const std::vector<Bytes> outer = Children(message);
  const std::vector<Bytes> fields = Children(Children(outer.at(1)).at(0));
  Bytes algorithms;
  for (const Bytes& algorithm : Children(fields.at(1))) {
    const std::vector<Bytes> parts = Children(algorithm);
    algorithms = Cat({algorithms, parts.size() == 1 ? Tlv(0x30, Cat({parts[0], {0x05, 0x00}})) : algorithm});
  }
  Bytes body = Cat({fields.at(0), Tlv(0x31, algorithms)});
  for (size_t i = 2; i < fields.size(); ++i) body = Cat({body, fields[i]});
  return Tlv(0x30, Cat({outer.at(0), Tlv(0xA0, Tlv(0x30, body))}));
}

// The same element with an indefinite length and its end-of-contents.
inline Bytes Indef(BYTE tag, const Bytes& contents) { return Cat({{tag, 0x80}, contents, {0x00, 0x00}}); }

inline Bytes OidSignedData() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 02"); }
inline Bytes OidData() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 01"); }
inline Bytes OidSignedAlias() { return Hex("06 09 2A 86 48 86 F7 0D 01 07 1A"); }
inline Bytes Sha256() { return Hex("30 0D 06 09 60 86 48 01 65 03 04 02 01 05 00"); }
inline Bytes Sha1NoParams() { return Hex("30 07 06 05 2B 0E 03 02 1A"); }
inline Bytes Version(int v) { return Bytes{0x02, 0x01, static_cast<BYTE>(v)}; }
// Opaque stand-ins: the message classes keep them whole and never look inside.
inline Bytes FakeCertificate(BYTE tag) {
  return Tlv(0x30, Cat({Tlv(0x02, {tag}), Tlv(0x04, Bytes(40, tag))}));
}
inline Bytes FakeSigner(BYTE tag) { return Tlv(0x30, Cat({Version(1), Tlv(0x04, Bytes(20, tag))})); }

// A ContentInfo/SignedData built field by field, each field replaceable by
// the test that wants it broken.
struct MessageParts {
  Bytes contentType = OidSignedData();
  Bytes version = Version(1);
  Bytes algorithms = Tlv(0x31, Sha256());
  Bytes encap = Tlv(0x30, Cat({OidData(), Tlv(0xA0, Tlv(0x04, Text("hello, signed world")))}));
  Bytes certificates = Tlv(0xA0, Cat({FakeCertificate(1), FakeCertificate(2)}));
  Bytes crls;
  Bytes signers = Tlv(0x31, Cat({FakeSigner(7), FakeSigner(8)}));
  BYTE wrapperTag = 0xA0;
  Bytes trailer;  // further elements after the signerInfos

  Bytes SignedData() const {
    return Tlv(0x30, Cat({version, algorithms, encap, certificates, crls, signers, trailer}));
  }
  Bytes Build() const { return Tlv(0x30, Cat({contentType, Tlv(wrapperTag, SignedData())})); }
};

// The same shape as `openssl cms -sign -stream` writes it: indefinite outer
// lengths and the content as a constructed OCTET STRING of segments.
inline Bytes StreamedMessage(const std::vector<Bytes>& segments, const Bytes& signers) {
  Bytes octets;
  for (const Bytes& segment : segments) octets = Cat({octets, Tlv(0x04, segment)});
  const Bytes encap = Indef(0x30, Cat({OidData(), Indef(0xA0, Indef(0x24, octets))}));
  const Bytes body =
      Indef(0x30, Cat({Version(1), Tlv(0x31, Sha256()), encap, Tlv(0xA0, FakeCertificate(3)), signers}));
  return Indef(0x30, Cat({OidSignedData(), Indef(0xA0, body)}));
}

// Offset of `needle` inside `haystack`, to locate content independently.
inline size_t Find(const Bytes& haystack, const Bytes& needle) {
  return static_cast<size_t>(std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end()) -
                             haystack.begin());
}

inline Bytes Pattern(size_t size, unsigned seed = 1) {
  Bytes out(size);
  std::mt19937 generator(seed);
  for (BYTE& b : out) b = static_cast<BYTE>(generator());
  return out;
}

// A private folder removed with everything in it.
class TempDir {
 public:
  TempDir() {
    std::random_device device;
    path_ = std::filesystem::temp_directory_path() / ("cmskit-signdata-" + std::to_string(device()));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::string Path(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

inline void WriteBytes(const std::string& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline Bytes ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The descriptors point at the caller's string, which must outlive them.
inline ToSignStruct FileContent(const std::string& name, DWORD begin, DWORD end) {
  ToSignStruct content;
  content.flags = ToSignStruct::kInFile;
  content.data = const_cast<char*>(name.c_str());
  content.begin = begin;
  content.end = end;
  return content;
}

inline ToSignStruct MemoryContent(const Bytes& bytes) {
  ToSignStruct content;
  content.data = const_cast<BYTE*>(bytes.data());
  content.end = static_cast<DWORD>(bytes.size());
  return content;
}

inline ToSignStruct FileTarget(const std::string& name) {
  ToSignStruct out;
  out.flags = ToSignStruct::kInFile;
  out.data = name.empty() ? nullptr : const_cast<char*>(name.c_str());
  return out;
}

// Reads a whole message from a file through the file reader.
inline DWORD ReadFromFile(SignData& message, const std::string& path, DWORD offset, int* pError) {
  CTOOFile file(path.c_str(), "rb");
  return message.ReadObject(file, offset, pError);
}

// Writes the message through the file writer into a new file.
inline DWORD WriteToFile(SignData& message, const std::string& path) {
  CTOOFile file(path.c_str(), "wb");
  return message.WriteObject(file, 0);
}

}  // namespace signtest
}  // namespace cmskit

#endif
