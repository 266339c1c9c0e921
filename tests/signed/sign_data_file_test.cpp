// SignData::ReadObject(file) and WriteObject(file): content located instead
// of read, offsets, the streamed layout, block copies and failures.
#include <gtest/gtest.h>

#include "signed/sign_data_fixtures.h"

namespace cmskit::signtest {
namespace {

DWORD ReadAt(SignData& message, const std::string& path, DWORD offset, DWORD expectedError = 0) {
  int error = -1;
  const DWORD consumed = ReadFromFile(message, path, offset, &error);
  EXPECT_EQ(static_cast<DWORD>(error), expectedError);
  return consumed;
}

TEST(SignDataFile, RecordsWhereTheContentLies) {
  TempDir dir;
  const std::string path = dir.Path("m.der");
  const Bytes bytes = MessageParts().Build();
  WriteBytes(path, bytes);
  SignData message;
  EXPECT_EQ(ReadAt(message, path, 0), bytes.size());
  const ToSignStruct& content = message.GetDataInfo();
  EXPECT_EQ(content.flags, ToSignStruct::kInFile);
  EXPECT_EQ(content.fileMark, 0x20000u);
  EXPECT_STREQ(static_cast<const char*>(content.data), path.c_str());
  EXPECT_EQ(content.begin, Find(bytes, Text("hello")));
  EXPECT_EQ(content.end - content.begin, 19u);
  EXPECT_TRUE(message.encapContentInfo.data.IsEmpty());  // never loaded
  EXPECT_EQ(message.certificates.size(), 2u);
  EXPECT_EQ(message.signerInfos.size(), 2u);
  EXPECT_TRUE(message.encapContentInfo.id == Dotted("1.2.840.113549.1.7.1"));
}

TEST(SignDataFile, DetachedMessage) {
  TempDir dir;
  const std::string path = dir.Path("m.der");
  MessageParts parts;
  parts.encap = Tlv(0x30, OidData());
  parts.crls = Tlv(0xA1, FakeCertificate(4));
  WriteBytes(path, parts.Build());
  SignData message;
  EXPECT_EQ(ReadAt(message, path, 0), parts.Build().size());
  EXPECT_EQ(message.GetDataInfo().flags, 0u);
  EXPECT_EQ(message.crls.size(), 1u);
}

TEST(SignDataFile, ConstructedContentIsRecordedWithItsSegments) {
  TempDir dir;
  const std::string path = dir.Path("m.der");
  const Bytes segments = Cat({Tlv(0x04, Text("abc")), Tlv(0x04, Text("defg"))});
  const Bytes bytes = StreamedMessage({Text("abc"), Text("defg")}, Tlv(0x31, FakeSigner(1)));
  WriteBytes(path, bytes);
  SignData message;
  EXPECT_EQ(ReadAt(message, path, 0), bytes.size());
  EXPECT_EQ(message.GetDataInfo().flags, 3u);
  EXPECT_EQ(message.GetDataInfo().begin, Find(bytes, segments));
  EXPECT_EQ(message.GetDataInfo().end - message.GetDataInfo().begin, segments.size() + 2);  // and its 00 00
  EXPECT_EQ(message.certificates.size(), 1u);
  EXPECT_EQ(message.signerInfos.size(), 1u);
}

TEST(SignDataFile, AliasTypeAndCurrentPosition) {
  TempDir dir;
  const std::string path = dir.Path("m.der");
  MessageParts parts;
  parts.contentType = OidSignedAlias();
  const Bytes bytes = parts.Build();
  WriteBytes(path, bytes);
  SignData message;
  CTOOFile file(path.c_str(), "rb");
  EXPECT_EQ(message.ReadObject(file, 0xFFFFFFFF, nullptr), bytes.size());
  EXPECT_EQ(message.signerInfos.size(), 2u);
}

// The content range counts the message's offset; the step past the content
// does not, so what follows is read from the start of the file.
TEST(SignDataFile, NonZeroOffset) {
  TempDir dir;
  const Bytes bytes = MessageParts().Build();
  const std::string twice = dir.Path("twice.der");
  WriteBytes(twice, Cat({bytes, bytes}));
  SignData message;
  EXPECT_EQ(ReadAt(message, twice, static_cast<DWORD>(bytes.size())), bytes.size());
  EXPECT_EQ(message.GetDataInfo().begin, bytes.size() + Find(bytes, Text("hello")));
  EXPECT_EQ(message.signerInfos.size(), 2u);  // found in the first copy, at the same place

  const std::string padded = dir.Path("padded.der");
  WriteBytes(padded, Cat({Bytes(100, 0), bytes}));
  SignData shifted;
  const DWORD consumed = ReadAt(shifted, padded, 100);
  EXPECT_EQ(shifted.GetDataInfo().begin, 100 + Find(bytes, Text("hello")));
  EXPECT_TRUE(shifted.signerInfos.empty());  // the zeros there end the walk
  EXPECT_LT(consumed, bytes.size());

  ToSignStruct out;
  ASSERT_TRUE(shifted.DetachData(out, nullptr));
  EXPECT_EQ(Bytes(static_cast<BYTE*>(out.data), static_cast<BYTE*>(out.data) + out.end),
            Text("hello, signed world"));
  delete[] static_cast<BYTE*>(out.data);
}

TEST(SignDataFile, ReadFailures) {
  TempDir dir;
  struct Case {
    const char* name;
    Bytes bytes;
    DWORD offset;
    int status;
  };
  auto with = [](auto change) {
    MessageParts parts;
    change(parts);
    return parts.Build();
  };
  const Case cases[] = {
      {"offset past the end", MessageParts().Build(), 10000, kStatusTruncated},
      {"not a SEQUENCE", Tlv(0x31, OidSignedData()), 0, kStatusBadTag},
      {"wrong content type", with([](MessageParts& p) { p.contentType = OidData(); }), 0, kStatusBadTag},
      {"ends after content type", Hex("30 80 06 09 2A 86 48 86 F7 0D 01 07 02"), 0, 194},
      {"universal wrapper", with([](MessageParts& p) { p.wrapperTag = 0x30; }), 0, kStatusBadTag},
      {"SignedData a SET", Tlv(0x30, Cat({OidSignedData(), Tlv(0xA0, Tlv(0x31, Version(1)))})), 0,
       kStatusBadTag},
      {"version not an INTEGER", with([](MessageParts& p) { p.version = Hex("04 01 01"); }), 0,
       kStatusBadTag},
      {"version of 5 octets", with([](MessageParts& p) { p.version = Hex("02 05 01 00 00 00 00"); }), 0,
       kStatusCorrupt},
      {"digestAlgorithms a SEQUENCE", with([](MessageParts& p) { p.algorithms = Tlv(0x30, Sha256()); }), 0,
       kStatusCorrupt},
      {"encapContentInfo a SET", with([](MessageParts& p) { p.encap = Tlv(0x31, OidData()); }), 0,
       kStatusBadTag},
      {"content wrapper universal", with([](MessageParts& p) {
         p.encap = Tlv(0x30, Cat({OidData(), Tlv(0x30, Tlv(0x04, Text("x")))}));
       }),
       0, kStatusBadTag},
      {"certificates past the end", with([](MessageParts& p) { p.certificates = Hex("A0 84 00 00 10 00"); }),
       0, kStatusCorrupt},
  };
  const std::string path = dir.Path("m.der");
  for (const Case& c : cases) {
    WriteBytes(path, c.bytes);
    SignData message;
    int error = -1;
    EXPECT_EQ(ReadFromFile(message, path, c.offset, &error), 0u) << c.name;
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(c.status)) << c.name << " " << std::hex << error;
    SetLastError(0);
    EXPECT_EQ(ReadFromFile(message, path, c.offset, nullptr), 0u) << c.name;
    EXPECT_EQ(GetLastError(), StatusToWin32(c.status)) << c.name;
  }
}

TEST(SignDataFile, HostilePrefixesAndCorruptions) {
  TempDir dir;
  const std::string path = dir.Path("m.der");
  const Bytes good = StreamedMessage({Text("abc"), Text("def")}, Tlv(0x31, FakeSigner(1)));
  for (size_t cut = 0; cut < good.size(); ++cut) {
    WriteBytes(path, Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut)));
    SignData message;
    ReadFromFile(message, path, 0, nullptr);
  }
  for (size_t at = 0; at < good.size(); ++at) {
    Bytes bad = good;
    bad[at] ^= 0x80;
    WriteBytes(path, bad);
    SignData message;
    ReadFromFile(message, path, 0, nullptr);
  }
}

// Write then read back through both readers: the content comes out whole,
// including the sizes around the 4096-octet copy block.
TEST(SignDataFile, WriteStreamsFileContent) {
  TempDir dir;
  const std::string content = dir.Path("content.bin");
  const std::string out = dir.Path("out.der");
  for (size_t size : {size_t{1}, size_t{4095}, size_t{4096}, size_t{4097}, size_t{8192}, size_t{12289}}) {
    const Bytes octets = Pattern(size, static_cast<unsigned>(size));
    WriteBytes(content, octets);
    SignData message;
    message.signerInfos.push_back(Obj(FakeSigner(1)));
    message.certificates.push_back(Obj(FakeCertificate(1)));
    ASSERT_TRUE(message.AttachData(FileContent(content, 0, ToSignStruct::kToEndOfFile), nullptr));
    const IdentObj inMemory = message.WriteObject(nullptr);
    const DWORD written = WriteToFile(message, out);
    EXPECT_EQ(written, inMemory.size()) << size;
    EXPECT_EQ(ReadBytes(out), Of(inMemory)) << size;
    SignData back;
    ASSERT_NE(ReadAt(back, out, 0), 0u) << size;
    EXPECT_EQ(back.GetDataInfo().end - back.GetDataInfo().begin, size);
  }
}

// Content read in segments is written as one primitive OCTET STRING of its
// octets, by both writers.
TEST(SignDataFile, SegmentedContentIsWrittenAsItsOctets) {
  TempDir dir;
  const std::string path = dir.Path("m.der");
  const std::vector<Bytes> segments = {Pattern(4096, 1), Pattern(4096, 2), Pattern(7, 3)};
  const Bytes streamed = StreamedMessage(segments, Tlv(0x31, FakeSigner(1)));
  WriteBytes(path, streamed);
  SignData memory;
  ASSERT_TRUE(memory.ReadObject(streamed.data(), static_cast<DWORD>(streamed.size()), nullptr));
  const Bytes expected = Of(memory.WriteObject(nullptr));

  SignData file;
  ASSERT_EQ(ReadAt(file, path, 0), streamed.size());
  EXPECT_EQ(Of(file.WriteObject(nullptr)), expected);
  const std::string out = dir.Path("out.der");
  EXPECT_EQ(WriteToFile(file, out), expected.size());
  EXPECT_EQ(ReadBytes(out), expected);
}

TEST(SignDataFile, WriteRangesAndEmptyContent) {
  TempDir dir;
  const std::string content = dir.Path("content.bin");
  WriteBytes(content, Text("0123456789"));
  const std::string out = dir.Path("out.der");

  SignData ranged;
  ASSERT_TRUE(ranged.AttachData(FileContent(content, 3, 7), nullptr));
  ASSERT_NE(WriteToFile(ranged, out), 0u);
  SignData back;
  ASSERT_TRUE(back.ReadObject(ReadBytes(out).data(), static_cast<DWORD>(ReadBytes(out).size()), nullptr));
  EXPECT_EQ(Of(back.encapContentInfo.data), Text("3456"));

  SignData whole;
  ASSERT_TRUE(whole.AttachData(FileContent(content, 0, ToSignStruct::kToEndOfFile), nullptr));
  ASSERT_NE(WriteToFile(whole, out), 0u);
  EXPECT_EQ(whole.GetDataInfo().end, 10u);

  // Size 0 leaves the whole [0] eContent out, here unlike the memory writer.
  SignData empty;
  ASSERT_TRUE(empty.AttachData(FileContent(content, 5, 5), nullptr));
  const DWORD written = WriteToFile(empty, out);
  SignData fresh;
  EXPECT_EQ(Of(fresh.WriteObject(nullptr)), ReadBytes(out));
  EXPECT_EQ(written, ReadBytes(out).size());
}

TEST(SignDataFile, WriteAtOffsetAndFromMemory) {
  TempDir dir;
  const std::string out = dir.Path("out.der");
  WriteBytes(out, Bytes(50, 0xEE));
  SignData message;
  const Bytes input = MessageParts().Build();
  ASSERT_TRUE(message.ReadObject(input.data(), static_cast<DWORD>(input.size()), nullptr));
  {
    CTOOFile file(out.c_str(), "r+b");
    EXPECT_EQ(message.WriteObject(file, 20), input.size());
  }
  const Bytes written = ReadBytes(out);
  EXPECT_EQ(Bytes(written.begin(), written.begin() + 20), Bytes(20, 0xEE));
  EXPECT_EQ(Bytes(written.begin() + 20, written.end()), input);
}

TEST(SignDataFile, WriteFailures) {
  TempDir dir;
  const std::string content = dir.Path("content.bin");
  WriteBytes(content, Text("0123456789"));
  const std::string out = dir.Path("out.der");
  const std::string gone = dir.Path("gone.bin");
  struct Case {
    const char* name;
    ToSignStruct data;
    DWORD offset;
    DWORD code;
  };
  const Case cases[] = {
      {"missing content file", FileContent(gone, 0, 4), 0, ERROR_FILE_NOT_FOUND},
      {"range past the content file", FileContent(content, 5, 11), 0, 0x8007000E},
      {"offset past the target", ToSignStruct(), 5, 0x8007000E},
  };
  for (const Case& c : cases) {
    SignData message;
    message.dataInfo = c.data;
    CTOOFile file(out.c_str(), "wb");
    SetLastError(0);
    EXPECT_EQ(message.WriteObject(file, c.offset), 0u) << c.name;
    EXPECT_EQ(GetLastError(), c.code) << c.name << " " << std::hex << GetLastError();
  }
  // A target that cannot be written reports the file's own status.
  WriteBytes(out, {});
  SignData message;
  CTOOFile readOnly(out.c_str(), "rb");
  SetLastError(0);
  EXPECT_EQ(message.WriteObject(readOnly, 0), 0u);
  EXPECT_EQ(GetLastError(), StatusToWin32(kStatusWriteError));
  EXPECT_EQ(ReadBytes(content), Text("0123456789"));

  CTOOFile broken(dir.Path("no/such/folder.der").c_str(), "wb");
  ASSERT_TRUE(broken.IsError());
  SetLastError(0);
  EXPECT_EQ(message.WriteObject(broken, 0xFFFFFFFF), 0u);
  EXPECT_EQ(GetLastError(), StatusToWin32(broken.GetStatus()));
}

}  // namespace
}  // namespace cmskit::signtest
