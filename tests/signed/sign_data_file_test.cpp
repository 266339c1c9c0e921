// SignData through files: content located instead of read, offsets, block
// copies, failures, and DetachData on every path, never losing the source.
#include <gtest/gtest.h>

#include <cstring>
#include <list>
#include <memory>

#include "signed/signed_fixtures.h"

namespace cmskit::signtest {
namespace {

// A message read from a file, so its content is a range of that file.
struct FileMessage {
  TempDir dir;
  std::string path = dir.Path("message.der");
  Bytes bytes;
  SignData message;
  explicit FileMessage(const Bytes& encoded) : bytes(encoded) {
    WriteBytes(path, bytes);
    EXPECT_EQ(ReadFromFile(message, path), bytes.size());
  }
};

Bytes PlainMessage(const Bytes& content) {
  return With([&](MessageParts& p) { p.encap = El(0x30, OidData(), El(0xA0, Tlv(0x04, content))); });
}

// Detaches into memory (allocated or `buffer`) and gives the content.
Bytes DetachToMemory(SignData& message, BYTE* buffer = nullptr, int* error = nullptr) {
  ToSignStruct out;
  out.data = buffer;
  if (!message.DetachData(out, error)) return Text("failed");
  std::unique_ptr<BYTE[]> owned(buffer ? nullptr : static_cast<BYTE*>(out.data));
  const BYTE* data = static_cast<BYTE*>(out.data);
  return data ? Bytes(data + out.begin, data + out.end) : Bytes();
}

bool IsZero(const ToSignStruct& info) {
  const ToSignStruct zero;
  return std::memcmp(&info, &zero, sizeof zero) == 0;
}

TEST(SignDataFile, RecordsWhereTheContentLies) {
  const Bytes segments = Cat({Tlv(0x04, Text("abc")), Tlv(0x04, Text("defg"))});
  struct Case {
    const char* name;
    Bytes message;
    DWORD flags;
    size_t begin, length, signers;
  };
  const Bytes plain = MessageParts().Build(), streamed = StreamedMessage({Text("abc"), Text("defg")});
  const Bytes alias = With(&MessageParts::contentType, OidSignedAlias());
  const Case cases[] = {
      {"DER", plain, ToSignStruct::kInFile, Find(plain, Text("hello")), 19, 2},
      {"alias type", alias, ToSignStruct::kInFile, Find(alias, Text("hello")), 19, 2},
      {"segments and their 00 00", streamed, 3, Find(streamed, segments), segments.size() + 2, 1},
      {"detached", With(&MessageParts::encap, Tlv(0x30, OidData())), 0, 0, 0, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FileMessage file(c.message);
    const ToSignStruct& content = file.message.GetDataInfo();
    EXPECT_EQ(content.flags, c.flags);
    EXPECT_TRUE(file.message.encapContentInfo.data.IsEmpty());  // never loaded
    EXPECT_EQ(file.message.signerInfos.size(), c.signers);
    if (!c.flags) continue;
    EXPECT_EQ(content.fileMark, 0x20000u);
    EXPECT_STREQ(static_cast<const char*>(content.data), file.path.c_str());
    EXPECT_EQ(content.begin, c.begin);
    EXPECT_EQ(content.end - content.begin, c.length);
  }
  // The current position.
  FileMessage file(plain);
  CTOOFile handle(file.path.c_str(), "rb");
  EXPECT_EQ(file.message.ReadObject(handle, 0xFFFFFFFF, nullptr), plain.size());
}

// The content range counts the message's offset; the step past the content
// does not, so what follows is read from the start of the file.
TEST(SignDataFile, NonZeroOffset) {
  TempDir dir;
  const Bytes bytes = MessageParts().Build();
  const std::string twice = dir.Path("twice.der"), padded = dir.Path("padded.der");
  WriteBytes(twice, Cat({bytes, bytes}));
  SignData message;
  EXPECT_EQ(ReadFromFile(message, twice, static_cast<DWORD>(bytes.size())), bytes.size());
  EXPECT_EQ(message.GetDataInfo().begin, bytes.size() + Find(bytes, Text("hello")));
  EXPECT_EQ(message.signerInfos.size(), 2u);

  WriteBytes(padded, Cat({Bytes(100, 0), bytes}));
  SignData shifted;
  EXPECT_LT(ReadFromFile(shifted, padded, 100), bytes.size());
  EXPECT_TRUE(shifted.signerInfos.empty());  // the zeros there end the walk
  EXPECT_EQ(DetachToMemory(shifted), Text("hello, signed world"));
}

TEST(SignDataFile, ReadFailures) {
  TempDir dir;
  const std::string path = dir.Path("m.der");
  struct Case {
    const char* name;
    Bytes bytes;
    DWORD offset;
    int status;
  };
  const Case cases[] = {
      {"offset past the end", MessageParts().Build(), 10000, kStatusTruncated},
      {"not a SEQUENCE", Tlv(0x31, OidSignedData()), 0, kStatusBadTag},
      {"wrong content type", With(&MessageParts::contentType, OidData()), 0, kStatusBadTag},
      {"ends after content type", Hex("30 80 06 09 2A 86 48 86 F7 0D 01 07 02"), 0, 194},
      {"universal wrapper", WithWrapper(0x30), 0, kStatusBadTag},
      {"SignedData a SET", El(0x30, OidSignedData(), El(0xA0, Tlv(0x31, Version(1)))), 0, kStatusBadTag},
      {"version not an INTEGER", With(&MessageParts::version, Hex("04 01 01")), 0, kStatusBadTag},
      {"version of 5 octets", With(&MessageParts::version, Hex("02 05 01 00 00 00 00")), 0, kStatusCorrupt},
      {"digestAlgorithms a SEQUENCE", With(&MessageParts::algorithms, Tlv(0x30, Sha256())), 0,
       kStatusCorrupt},
      {"encapContentInfo a SET", With(&MessageParts::encap, Tlv(0x31, OidData())), 0, kStatusBadTag},
      {"content wrapper universal",
       With(&MessageParts::encap, El(0x30, OidData(), El(0x30, Tlv(0x04, Text("x"))))), 0, kStatusBadTag},
      {"certificates past the end", With(&MessageParts::certificates, Hex("A0 84 00 00 10 00")), 0,
       kStatusCorrupt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    WriteBytes(path, c.bytes);
    SignData message;
    int error = -1;
    EXPECT_EQ(ReadFromFile(message, path, c.offset, &error), 0u);
    EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(c.status));
    SetLastError(0);
    EXPECT_EQ(ReadFromFile(message, path, c.offset), 0u);
    EXPECT_EQ(GetLastError(), StatusToWin32(c.status));
  }
  // Hostile input stays inside the file (checked by the sanitizer build).
  const Bytes streamed = StreamedMessage({Text("abc"), Text("def")});
  for (size_t at = 0; at < streamed.size(); ++at) {
    WriteBytes(path, Bytes(streamed.begin(), streamed.begin() + static_cast<std::ptrdiff_t>(at)));
    SignData prefix, flipped;
    ReadFromFile(prefix, path);
    Bytes bad = streamed;
    bad[at] ^= 0x80;
    WriteBytes(path, bad);
    ReadFromFile(flipped, path);
  }
}

// File content is streamed in 4096-octet blocks; segmented content is
// written as one primitive OCTET STRING; both writers agree.
TEST(SignDataFile, WritesFileContent) {
  TempDir dir;
  const std::string content = dir.Path("content.bin"), out = dir.Path("out.der");
  for (size_t size : {1, 4095, 4096, 4097, 12289}) {
    SCOPED_TRACE(size);
    WriteBytes(content, Pattern(size, static_cast<unsigned>(size)));
    SignData message;
    message.signerInfos.push_back(Obj(FakeSigner(1)));
    ASSERT_TRUE(message.AttachData(FileContent(content, 0, ToSignStruct::kToEndOfFile), nullptr));
    const Bytes inMemory = Of(message.WriteObject(nullptr));
    EXPECT_EQ(WriteToFile(message, out), inMemory.size());
    EXPECT_EQ(ReadBytes(out), inMemory);
    SignData back;
    ASSERT_NE(ReadFromFile(back, out), 0u);
    EXPECT_EQ(back.GetDataInfo().end - back.GetDataInfo().begin, size);
  }
  FileMessage segmented(StreamedMessage({Pattern(4096, 1), Pattern(4096, 2), Pattern(7, 3)}));
  SignData memory;
  ASSERT_TRUE(ReadMemory(memory, segmented.bytes));
  const Bytes expected = Of(memory.WriteObject(nullptr));
  EXPECT_EQ(Of(segmented.message.WriteObject(nullptr)), expected);
  EXPECT_EQ(WriteToFile(segmented.message, out), expected.size());
  EXPECT_EQ(ReadBytes(out), expected);

  WriteBytes(content, Text("0123456789"));
  SignData ranged;
  ASSERT_TRUE(ranged.AttachData(FileContent(content, 3, 7), nullptr));
  ASSERT_NE(WriteToFile(ranged, out), 0u);
  SignData back;
  ASSERT_TRUE(ReadMemory(back, ReadBytes(out)));
  EXPECT_EQ(Of(back.encapContentInfo.data), Text("3456"));
  // Size 0 leaves the whole [0] eContent out, unlike the memory writer.
  SignData empty;
  ASSERT_TRUE(empty.AttachData(FileContent(content, 5, 5), nullptr));
  const DWORD written = WriteToFile(empty, out);
  EXPECT_EQ(written, ReadBytes(out).size());
  EXPECT_EQ(Of(SignData().WriteObject(nullptr)), ReadBytes(out));

  // At an offset into an existing file.
  WriteBytes(out, Bytes(50, 0xEE));
  SignData message;
  const Bytes input = MessageParts().Build();
  ASSERT_TRUE(ReadMemory(message, input));
  {
    CTOOFile file(out.c_str(), "r+b");
    EXPECT_EQ(message.WriteObject(file, 20), input.size());
  }
  EXPECT_EQ(ReadBytes(out), Cat({Bytes(20, 0xEE), input}));
}

TEST(SignDataFile, WriteFailures) {
  TempDir dir;
  const std::string content = dir.Path("content.bin"), out = dir.Path("out.der"), gone = dir.Path("gone.bin");
  WriteBytes(content, Text("0123456789"));
  struct Case {
    ToSignStruct data;
    DWORD offset;
    DWORD code;
  };
  const Case cases[] = {
      {FileContent(gone, 0, 4), 0, ERROR_FILE_NOT_FOUND},
      {FileContent(content, 5, 11), 0, 0x8007000E},
      {ToSignStruct(), 5, 0x8007000E},
  };
  for (const Case& c : cases) {
    SignData message;
    message.dataInfo = c.data;
    CTOOFile file(out.c_str(), "wb");
    SetLastError(0);
    EXPECT_EQ(message.WriteObject(file, c.offset), 0u);
    EXPECT_EQ(GetLastError(), c.code);
  }
  SignData message;
  CTOOFile readOnly(content.c_str(), "rb");
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

TEST(SignDataDetach, MemoryContent) {
  const Bytes content = Pattern(5000);
  SignData message;
  ASSERT_TRUE(message.AttachData(MemoryContent(content), nullptr));
  SetLastError(5);
  int error = -1;
  EXPECT_EQ(DetachToMemory(message, nullptr, &error), content);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(GetLastError(), 0u);  // success clears it explicitly
  // What is left is a detached signature, and nothing more to detach.
  EXPECT_EQ(Of(message.WriteObject(nullptr)), Of(SignData().WriteObject(nullptr)));
  EXPECT_EQ(DetachToMemory(message), Bytes());

  BYTE buffer[8] = {};
  ASSERT_TRUE(message.AttachData(MemoryContent(Text("abc")), nullptr));
  EXPECT_EQ(DetachToMemory(message, buffer), Text("abc"));

  TempDir dir;
  const std::string target = dir.Path("content.out");
  ASSERT_TRUE(message.AttachData(MemoryContent(content), nullptr));
  ToSignStruct out = FileTarget(target);
  ASSERT_TRUE(message.DetachData(out, nullptr));
  EXPECT_EQ(ReadBytes(target), content);
  EXPECT_EQ(out.end, content.size());
  ToSignStruct again = FileTarget(target);  // nothing left: an empty file
  ASSERT_TRUE(message.DetachData(again, nullptr));
  EXPECT_TRUE(ReadBytes(target).empty());
}

TEST(SignDataDetach, FileContentOnEveryPath) {
  const std::vector<Bytes> segments = {Pattern(4096, 1), Pattern(1, 2), Pattern(3000, 3), {}, Pattern(10, 4)};
  Bytes joined;
  for (const Bytes& s : segments) joined = Cat({joined, s});
  const Bytes plain = Pattern(9000);
  for (const Bytes& content : {plain, joined}) {
    const Bytes encoded = content == plain ? PlainMessage(content) : StreamedMessage(segments);
    for (int target = 0; target < 3; ++target) {
      SCOPED_TRACE(std::to_string(content.size()) + " to " + std::to_string(target));
      FileMessage file(encoded);
      std::vector<BYTE> buffer(content.size(), 0xFF);
      if (target < 2) {
        EXPECT_EQ(DetachToMemory(file.message, target ? buffer.data() : nullptr), content);
      } else {
        const std::string target = file.dir.Path("content.out");
        ToSignStruct out = FileTarget(target);
        ASSERT_TRUE(file.message.DetachData(out, nullptr));
        EXPECT_EQ(ReadBytes(target), content);
        EXPECT_EQ(out.end, content.size());
      }
      EXPECT_TRUE(IsZero(file.message.GetDataInfo()));
      EXPECT_EQ(ReadBytes(file.path), file.bytes);  // the source stays as it was
      EXPECT_LT(file.message.WriteObject(nullptr).size(), file.bytes.size() - content.size() + 1);
    }
  }
}

TEST(SignDataDetach, SegmentRangesByHand) {
  TempDir dir;
  const std::string path = dir.Path("segments.bin"), overrun = dir.Path("overrun.bin");
  WriteBytes(path, Cat({Hex("00 00"), Tlv(0x04, Text("abc")), Tlv(0x04, Text("de")), Hex("00 00")}));
  WriteBytes(overrun, Cat({Tlv(0x04, Text("0123456789")), Hex("00 00")}));
  const struct {
    const std::string& file;
    DWORD begin, end;
    Bytes content;
    DWORD code;
  } cases[] = {
      {path, 0, 2, {}, 0},
      {path, 2, 13, Text("abcde"), 0},
      {path, 2, 6, Text("failed"), kCorrupt},  // a segment running past the range
      {overrun, 0, 6, Text("failed"), kCorrupt},
  };
  for (const auto& c : cases) {
    SignData message;
    message.dataInfo = FileContent(c.file, c.begin, c.end);
    message.dataInfo.flags |= ToSignStruct::kChunkedFile;
    BYTE buffer[16] = {};
    int error = -1;
    EXPECT_EQ(DetachToMemory(message, buffer, &error), c.content) << c.begin << "-" << c.end;
    EXPECT_EQ(static_cast<DWORD>(error), c.code) << c.begin << "-" << c.end;
  }
}

// Into the source file itself, named by null, in another case, through a
// hard link or a longer path: staged through the temporary folder.
TEST(SignDataDetach, IntoTheSourceFile) {
  const Bytes content = Pattern(9000);
  for (const char* name : {"", "MESSAGE.DER", "link.der", "sub/../link.der"}) {
    SCOPED_TRACE(name);
    FileMessage file(PlainMessage(content));
    std::error_code error;
    std::filesystem::create_hard_link(file.path, file.dir.Path("link.der"), error);
    if (error) GTEST_SKIP() << "no hard links here: " << error.message();
    std::filesystem::create_directories(file.dir.Path("sub"));
    const std::string target = *name ? file.dir.Path(name) : "";
    ToSignStruct out = FileTarget(target);
    ASSERT_TRUE(file.message.DetachData(out, nullptr));
    EXPECT_EQ(ReadBytes(*name ? target : file.path), content);
    EXPECT_TRUE(IsZero(file.message.GetDataInfo()));
  }
  // Memory content into the file the message was read from.
  FileMessage file(PlainMessage(Text("abc")));
  ASSERT_TRUE(ReadMemory(file.message, file.bytes));
  file.message.dataInfo = ToSignStruct();
  ToSignStruct out = FileTarget("");
  ASSERT_TRUE(file.message.DetachData(out, nullptr));
  EXPECT_EQ(ReadBytes(file.path), Text("abc"));
}

// Sets the temporary folder's root for one scope.
class TempRoot {
 public:
  explicit TempRoot(const std::string& root) {
    const std::string usual = std::filesystem::temp_directory_path().string();
    for (const char* name : {"TMPDIR", "TMP", "TEMP"}) {
      const char* old = std::getenv(name);
      saved_.push_back(std::string(name) + "=" + (old && *old ? old : usual));
      Put(std::string(name) + "=" + root);
    }
  }
  ~TempRoot() {
    for (const std::string& entry : saved_) Put(entry);
  }

 private:
  static void Put(const std::string& entry) {  // putenv keeps the pointer
    static std::list<std::string> kept;
    kept.push_back(entry);
    putenv(&kept.back()[0]);
  }
  std::vector<std::string> saved_;
};

// Whatever fails before the final copy leaves the source file as it was.
TEST(SignDataDetach, FailureNeverDestroysTheSource) {
  const Bytes content = Pattern(7000);
  FileMessage file(PlainMessage(content));
  const ToSignStruct before = file.message.GetDataInfo();
  {
    const std::string blocker = file.dir.Path("blocker");  // no temporary folder below a file
    WriteBytes(blocker, Text("x"));
    TempRoot root(blocker);
    ToSignStruct out = FileTarget("");
    int error = 0;
    EXPECT_FALSE(file.message.DetachData(out, &error));
    EXPECT_NE(error, 0);
  }
  EXPECT_EQ(ReadBytes(file.path), file.bytes);
  EXPECT_EQ(std::memcmp(&file.message.GetDataInfo(), &before, sizeof before), 0);
  const std::string unreachable = file.dir.Path("missing/content.out");
  ToSignStruct elsewhere = FileTarget(unreachable);
  EXPECT_FALSE(file.message.DetachData(elsewhere, nullptr));
  EXPECT_EQ(ReadBytes(file.path), file.bytes);
  EXPECT_EQ(DetachToMemory(file.message), content);  // still usable

  // A broken segment halfway: the staged copy is abandoned.
  FileMessage chunked(StreamedMessage({Pattern(5000), Pattern(5000)}));
  chunked.message.dataInfo.end = chunked.message.dataInfo.begin + 5004 + 3;
  ToSignStruct out = FileTarget("");
  EXPECT_FALSE(chunked.message.DetachData(out, nullptr));
  EXPECT_EQ(ReadBytes(chunked.path), chunked.bytes);

  TempDir dir;
  const std::string path = dir.Path("content.bin"), gone = dir.Path("gone.bin");
  WriteBytes(path, Text("0123456789"));
  const struct {
    ToSignStruct content;
    std::string target;
    DWORD code;
  } failures[] = {{FileContent(gone, 0, 4), "", ERROR_FILE_NOT_FOUND},
                  {FileContent(path, 2, 40), dir.Path("out.bin"), 0x80092003u}};
  for (const auto& f : failures) {
    SignData message;
    message.dataInfo = f.content;
    ToSignStruct target = f.target.empty() ? ToSignStruct() : FileTarget(f.target);
    int error = -1;
    SetLastError(0);
    EXPECT_FALSE(message.DetachData(target, &error));
    EXPECT_EQ(static_cast<DWORD>(error), f.code);
    EXPECT_EQ(GetLastError(), f.code);
  }
  EXPECT_EQ(ReadBytes(path), Text("0123456789"));
  SignData noName;
  noName.encapContentInfo.data = Obj(Text("x"));
  ToSignStruct unnamed = FileTarget("");
  int error = -1;
  EXPECT_FALSE(noName.DetachData(unnamed, &error));
  EXPECT_EQ(error, static_cast<int>(ERROR_BAD_ARGUMENTS));
}

}  // namespace
}  // namespace cmskit::signtest
