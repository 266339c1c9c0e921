// SignData helpers shared by the signed and interop suites: the elements of
// a DER message taken apart independently of the library's codec, and the
// content descriptors and file round trips of SignData.
#ifndef CMSKIT_TESTS_COMMON_SIGN_DATA_UTIL_H
#define CMSKIT_TESTS_COMMON_SIGN_DATA_UTIL_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/test_util.h"

namespace cmskit_testing {

using cmskit::CTOOFile;
using cmskit::IdentObj;
using cmskit::MessageSignerInfo;
using cmskit::SignData;
using cmskit::ToSignStruct;

// The children of a definite-length DER element, each whole.
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
  for (size_t at = header(0, length); at < element.size();) {
    const size_t childHeader = header(at, length);
    out.emplace_back(element.begin() + static_cast<std::ptrdiff_t>(at),
                     element.begin() + static_cast<std::ptrdiff_t>(at + childHeader + length));
    at += childHeader + length;
  }
  return out;
}

// The element with NULL parameters added to every AlgorithmIdentifier child
// that holds only its OID: what the writers make of such input.
inline Bytes WithNullParameters(const Bytes& element, BYTE tag = 0x30) {
  Bytes contents;
  for (const Bytes& child : Children(element)) {
    const std::vector<Bytes> parts =
        child[0] == 0x30 && child[1] < 0x80 ? Children(child) : std::vector<Bytes>();
    const bool onlyOid = parts.size() == 1 && parts[0][0] == 0x06;
    contents = Cat({contents, onlyOid ? El(0x30, parts[0], Hex("05 00")) : child});
  }
  return Tlv(tag, contents);
}

// The same for the digestAlgorithms of a whole DER ContentInfo.
inline Bytes WithNullDigestParameters(const Bytes& message) {
  const std::vector<Bytes> outer = Children(message);
  std::vector<Bytes> fields = Children(Children(outer.at(1)).at(0));
  fields.at(1) = WithNullParameters(fields[1], 0x31);
  Bytes body;
  for (const Bytes& field : fields) body = Cat({body, field});
  return El(0x30, outer.at(0), El(0xA0, Tlv(0x30, body)));
}

// Content descriptors; they point at the caller's string.
inline ToSignStruct FileContent(const std::string& name, DWORD begin, DWORD end) {
  ToSignStruct content;
  content.flags = ToSignStruct::kInFile;
  content.data = name.empty() ? nullptr : const_cast<char*>(name.c_str());
  content.begin = begin;
  content.end = end;
  return content;
}
inline ToSignStruct FileTarget(const std::string& name) { return FileContent(name, 0, 0); }
inline ToSignStruct MemoryContent(const Bytes& bytes) {
  ToSignStruct content;
  content.data = const_cast<BYTE*>(bytes.data());
  content.end = static_cast<DWORD>(bytes.size());
  return content;
}

// Detaches into memory (allocated or `buffer`) and gives the content.
inline Bytes DetachToMemory(SignData& message, BYTE* buffer = nullptr, int* error = nullptr) {
  ToSignStruct out;
  out.data = buffer;
  if (!message.DetachData(out, error)) return Text("failed");
  std::unique_ptr<BYTE[]> owned(buffer ? nullptr : static_cast<BYTE*>(out.data));
  const BYTE* data = static_cast<BYTE*>(out.data);
  return data ? Bytes(data + out.begin, data + out.end) : Bytes();
}

inline bool ReadMemory(SignData& message, const Bytes& bytes, int* pError = nullptr) {
  return message.ReadObject(bytes.data(), static_cast<DWORD>(bytes.size()), pError);
}
inline DWORD ReadFromFile(SignData& message, const std::string& path, DWORD offset = 0,
                          int* pError = nullptr) {
  CTOOFile file(path.c_str(), "rb");
  return message.ReadObject(file, offset, pError);
}
inline DWORD WriteToFile(SignData& message, const std::string& path) {
  CTOOFile file(path.c_str(), "wb");
  return message.WriteObject(file, 0);
}

// What every complete message must survive: read from memory and from the
// file at `path` alike, written back both ways as `expected` (streamed BER
// when empty: then only the two writers are compared), and its content
// detached into `out` + ".content". Gives the memory-read message and the
// file-read one, now detached.
inline std::pair<SignData, SignData> ExpectRoundTrip(const std::string& path, const Bytes& content,
                                                     const Bytes& expected, const std::string& out) {
  const Bytes input = ReadBytes(path);
  std::pair<SignData, SignData> read;
  SignData &memory = read.first, &file = read.second;
  int error = -1;
  EXPECT_TRUE(ReadMemory(memory, input, &error)) << std::hex << error;
  EXPECT_EQ(Of(memory.encapContentInfo.data), content);
  const Bytes written = Of(memory.WriteObject(&error));
  EXPECT_EQ(error, 0);
  EXPECT_TRUE(expected.empty() || written == expected);
  EXPECT_EQ(ReadFromFile(file, path, 0, &error), input.size());
  EXPECT_EQ(error, 0);
  EXPECT_EQ(file.signerInfos, memory.signerInfos);
  EXPECT_EQ(file.certificates, memory.certificates);
  EXPECT_EQ(file.crls, memory.crls);
  EXPECT_EQ(file.GetDataInfo().flags, content.empty() ? 0u : expected.empty() ? 3u : 1u);
  EXPECT_EQ(WriteToFile(file, out), written.size());
  EXPECT_EQ(ReadBytes(out), written);
  const std::string detached = out + ".content";
  ToSignStruct target = FileTarget(detached);
  EXPECT_TRUE(file.DetachData(target, nullptr));
  EXPECT_EQ(ReadBytes(detached), content);
  return read;
}

// The signer infos of a message, each read whole and written back with
// absent algorithm parameters as NULL.
inline std::vector<MessageSignerInfo> ExpectSignerInfos(const SignData& message) {
  std::vector<MessageSignerInfo> out;
  for (const IdentObj& signer : message.signerInfos) {
    const Bytes input = Of(signer);
    out.emplace_back();
    int error = -1;
    EXPECT_EQ(out.back().ReadData(input.data(), static_cast<DWORD>(input.size()), &error), input.size());
    EXPECT_EQ(Of(out.back().WriteData(&error)), WithNullParameters(input));
    EXPECT_EQ(error, 0);
  }
  return out;
}

}  // namespace cmskit_testing

#endif
