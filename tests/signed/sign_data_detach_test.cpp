// SignData::DetachData on every path: memory and file content, memory and
// file targets, the segment walk, and detaching into the source file itself.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>

#include "signed/sign_data_fixtures.h"

namespace cmskit::signtest {
namespace {

Bytes Taken(const ToSignStruct& out) {
  const BYTE* data = static_cast<const BYTE*>(out.data);
  return Bytes(data + out.begin, data + out.end);
}

void ExpectAllZero(const ToSignStruct& info) {
  const ToSignStruct zero;
  EXPECT_EQ(std::memcmp(&info, &zero, sizeof zero), 0);
}

// A message read from a file, so its content is a range of that file.
struct FileMessage {
  TempDir dir;
  std::string path = dir.Path("message.der");
  Bytes bytes;
  SignData message;

  explicit FileMessage(const Bytes& encoded) : bytes(encoded) {
    WriteBytes(path, bytes);
    EXPECT_NE(ReadFromFile(message, path, 0, nullptr), 0u);
  }
};

Bytes PlainMessage(const Bytes& content) {
  MessageParts parts;
  parts.encap = Tlv(0x30, Cat({OidData(), Tlv(0xA0, Tlv(0x04, content))}));
  return parts.Build();
}

TEST(SignDataDetach, MemoryToAllocatedMemory) {
  SignData message;
  const Bytes content = Text("in memory");
  ASSERT_TRUE(message.AttachData(MemoryContent(content), nullptr));
  ToSignStruct out;
  out.begin = 77;  // ignored: the content starts at the buffer
  SetLastError(5);
  int error = -1;
  ASSERT_TRUE(message.DetachData(out, &error));
  std::unique_ptr<BYTE[]> owned(static_cast<BYTE*>(out.data));
  EXPECT_EQ(error, 0);
  EXPECT_EQ(GetLastError(), 0u);  // success clears it explicitly
  EXPECT_EQ(out.begin, 0u);
  EXPECT_EQ(Taken(out), content);
  EXPECT_TRUE(message.encapContentInfo.data.IsEmpty());
  // What is left is a detached signature.
  EXPECT_EQ(Of(message.WriteObject(nullptr)), Of(SignData().WriteObject(nullptr)));
}

TEST(SignDataDetach, MemoryToCallerBufferAndNothing) {
  SignData message;
  const Bytes content = Text("abc");
  ASSERT_TRUE(message.AttachData(MemoryContent(content), nullptr));
  BYTE buffer[8] = {};
  ToSignStruct out;
  out.data = buffer;
  ASSERT_TRUE(message.DetachData(out, nullptr));
  EXPECT_EQ(out.data, static_cast<void*>(buffer));
  EXPECT_EQ(Taken(out), content);

  ToSignStruct none;
  none.end = 9;
  ASSERT_TRUE(message.DetachData(none, nullptr));
  EXPECT_EQ(none.data, nullptr);  // nothing to allocate for
  EXPECT_EQ(none.end, 0u);
}

TEST(SignDataDetach, MemoryToFile) {
  TempDir dir;
  SignData message;
  const Bytes content = Pattern(5000);
  ASSERT_TRUE(message.AttachData(MemoryContent(content), nullptr));
  const std::string target = dir.Path("content.out");
  ToSignStruct out = FileTarget(target);
  ASSERT_TRUE(message.DetachData(out, nullptr));
  EXPECT_EQ(ReadBytes(target), content);
  EXPECT_EQ(out.end, content.size());

  // Nothing left: an empty target file is made.
  ToSignStruct again = FileTarget(target);
  ASSERT_TRUE(message.DetachData(again, nullptr));
  EXPECT_TRUE(ReadBytes(target).empty());
}

TEST(SignDataDetach, FileRangeToMemoryAndFile) {
  const Bytes content = Pattern(9000);
  {
    FileMessage file(PlainMessage(content));
    ToSignStruct out;
    ASSERT_TRUE(file.message.DetachData(out, nullptr));
    std::unique_ptr<BYTE[]> owned(static_cast<BYTE*>(out.data));
    EXPECT_EQ(Taken(out), content);
    ExpectAllZero(file.message.GetDataInfo());
    // After the detach no eContent is written.
    EXPECT_LT(file.message.WriteObject(nullptr).size(), file.bytes.size() - content.size());
    EXPECT_EQ(ReadBytes(file.path), file.bytes);  // the source stays as it was
  }
  {
    FileMessage file(PlainMessage(content));
    const std::string target = file.dir.Path("content.out");
    ToSignStruct out = FileTarget(target);
    ASSERT_TRUE(file.message.DetachData(out, nullptr));
    EXPECT_EQ(ReadBytes(target), content);
    EXPECT_EQ(out.begin, 0u);
    EXPECT_EQ(out.end, content.size());
    ExpectAllZero(file.message.GetDataInfo());
  }
}

TEST(SignDataDetach, SegmentWalk) {
  const std::vector<Bytes> segments = {Pattern(4096, 1), Pattern(1, 2), Pattern(3000, 3), {}, Pattern(10, 4)};
  Bytes content;
  for (const Bytes& s : segments) content = Cat({content, s});
  {
    FileMessage file(StreamedMessage(segments, Tlv(0x31, FakeSigner(1))));
    ASSERT_EQ(file.message.GetDataInfo().flags, 3u);
    ToSignStruct out;
    ASSERT_TRUE(file.message.DetachData(out, nullptr));
    std::unique_ptr<BYTE[]> owned(static_cast<BYTE*>(out.data));
    EXPECT_EQ(Taken(out), content);
  }
  {
    FileMessage file(StreamedMessage(segments, Tlv(0x31, FakeSigner(1))));
    const std::string target = file.dir.Path("content.out");
    ToSignStruct out = FileTarget(target);
    ASSERT_TRUE(file.message.DetachData(out, nullptr));
    EXPECT_EQ(ReadBytes(target), content);
    EXPECT_EQ(out.end, content.size());
  }
}

TEST(SignDataDetach, SegmentRangesByHand) {
  TempDir dir;
  const std::string path = dir.Path("segments.bin");
  WriteBytes(path, Cat({Hex("00 00"), Tlv(0x04, Text("abc")), Tlv(0x04, Text("de")), Hex("00 00")}));
  struct Case {
    const char* name;
    DWORD begin, end;
    Bytes content;
    DWORD code;
  };
  const Case cases[] = {
      {"exactly two octets", 0, 2, {}, 0},
      {"two segments and their end", 2, 13, Text("abcde"), 0},
      {"a segment running past the range", 2, 6, {}, 0x80093103},
  };
  for (const Case& c : cases) {
    SignData message;
    message.dataInfo = FileContent(path, c.begin, c.end);
    message.dataInfo.flags |= ToSignStruct::kChunkedFile;
    BYTE buffer[16] = {};
    ToSignStruct out;
    out.data = buffer;
    int error = -1;
    EXPECT_EQ(message.DetachData(out, &error), c.code == 0) << c.name;
    EXPECT_EQ(static_cast<DWORD>(error), c.code) << c.name;
    if (c.code == 0) {
      EXPECT_EQ(Taken(out), c.content) << c.name;
    }
  }
}

TEST(SignDataDetach, SegmentsOverrunningTheBuffer) {
  TempDir dir;
  const std::string path = dir.Path("segments.bin");
  // The range claims 6 octets but the segment inside declares 10.
  WriteBytes(path, Cat({Tlv(0x04, Text("0123456789")), Hex("00 00")}));
  SignData message;
  message.dataInfo = FileContent(path, 0, 6);
  message.dataInfo.flags |= ToSignStruct::kChunkedFile;
  ToSignStruct out;
  int error = -1;
  EXPECT_FALSE(message.DetachData(out, &error));
  delete[] static_cast<BYTE*>(out.data);
  EXPECT_NE(error, 0);
}

TEST(SignDataDetach, IntoTheSourceFileItself) {
  const Bytes content = Pattern(6000);
  FileMessage file(PlainMessage(content));
  ToSignStruct out = FileTarget("");  // null name: the source file
  ASSERT_TRUE(file.message.DetachData(out, nullptr));
  EXPECT_EQ(ReadBytes(file.path), content);
  ExpectAllZero(file.message.GetDataInfo());
}

TEST(SignDataDetach, IntoTheSourceNamedInAnotherCase) {
  const Bytes content = Pattern(100);
  FileMessage file(PlainMessage(content));
  std::string upper = file.path;
  const size_t at = upper.rfind("message.der");
  upper.replace(at, 11, "MESSAGE.DER");
  ToSignStruct out = FileTarget(upper);
  ASSERT_TRUE(file.message.DetachData(out, nullptr));
  EXPECT_EQ(ReadBytes(upper), content);
}

TEST(SignDataDetach, MemoryContentIntoTheFileItWasReadFrom) {
  FileMessage file(PlainMessage(Text("abc")));
  const Bytes bytes = ReadBytes(file.path);
  ASSERT_TRUE(file.message.ReadObject(bytes.data(), static_cast<DWORD>(bytes.size()), nullptr));
  file.message.dataInfo = ToSignStruct();
  ToSignStruct out = FileTarget("");
  ASSERT_TRUE(file.message.DetachData(out, nullptr));
  EXPECT_EQ(ReadBytes(file.path), Text("abc"));
}

// Sets the temporary folder's root for one scope.
class TempRoot {
 public:
  explicit TempRoot(const std::string& root) {
    // An unset variable comes back as the folder it stood for.
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
  // putenv keeps the pointer for the life of the process.
  static void Put(const std::string& entry) {
    static std::list<std::string> kept;
    kept.push_back(entry);
    putenv(&kept.back()[0]);
  }
  std::vector<std::string> saved_;
};

// Nothing is lost: whatever fails before the final copy leaves the source
// file exactly as it was.
TEST(SignDataDetach, FailureBeforeTheFinalCopyLeavesTheSource) {
  const Bytes content = Pattern(7000);
  FileMessage file(PlainMessage(content));
  const ToSignStruct before = file.message.GetDataInfo();
  {
    // The temporary folder cannot be made below a plain file.
    const std::string blocker = file.dir.Path("blocker");
    WriteBytes(blocker, Text("x"));
    TempRoot root(blocker);
    ToSignStruct out = FileTarget("");
    int error = 0;
    EXPECT_FALSE(file.message.DetachData(out, &error));
    EXPECT_NE(error, 0);
  }
  EXPECT_EQ(ReadBytes(file.path), file.bytes);
  EXPECT_EQ(std::memcmp(&file.message.GetDataInfo(), &before, sizeof before), 0);  // still usable

  // A broken segment halfway through: the staged copy is abandoned.
  Bytes broken = StreamedMessage({Pattern(5000), Pattern(5000)}, Tlv(0x31, FakeSigner(1)));
  FileMessage chunked(broken);
  // The range now ends inside the second segment's header.
  chunked.message.dataInfo.end = chunked.message.dataInfo.begin + 5004 + 3;
  ToSignStruct out = FileTarget("");
  EXPECT_FALSE(chunked.message.DetachData(out, nullptr));
  EXPECT_EQ(ReadBytes(chunked.path), broken);

  // So does a detach into a folder that does not exist.
  const std::string unreachable = file.dir.Path("missing/content.out");
  ToSignStruct elsewhere = FileTarget(unreachable);
  EXPECT_FALSE(file.message.DetachData(elsewhere, nullptr));
  EXPECT_EQ(ReadBytes(file.path), file.bytes);
  ToSignStruct retry;
  ASSERT_TRUE(file.message.DetachData(retry, nullptr));
  std::unique_ptr<BYTE[]> owned(static_cast<BYTE*>(retry.data));
  EXPECT_EQ(Taken(retry), content);
}

TEST(SignDataDetach, FailureCodes) {
  TempDir dir;
  const std::string path = dir.Path("content.bin");
  WriteBytes(path, Text("0123456789"));
  SignData missing;
  const std::string gone = dir.Path("gone.bin");
  missing.dataInfo = FileContent(gone, 0, 4);
  ToSignStruct out;
  int error = -1;
  SetLastError(0);
  EXPECT_FALSE(missing.DetachData(out, &error));
  EXPECT_NE(error, 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(error));

  SignData shortFile;
  shortFile.dataInfo = FileContent(path, 2, 40);
  const std::string target = dir.Path("out.bin");
  ToSignStruct toFile = FileTarget(target);
  EXPECT_FALSE(shortFile.DetachData(toFile, &error));
  EXPECT_EQ(static_cast<DWORD>(error), 0x80092003u);
  EXPECT_EQ(ReadBytes(path), Text("0123456789"));

  SignData noName;
  noName.encapContentInfo.data = Obj(Text("x"));
  ToSignStruct unnamed = FileTarget("");
  EXPECT_FALSE(noName.DetachData(unnamed, &error));
  EXPECT_EQ(error, static_cast<int>(ERROR_BAD_ARGUMENTS));
}

}  // namespace
}  // namespace cmskit::signtest
