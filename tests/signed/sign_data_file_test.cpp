// SignData writing file content in block copies, and DetachData on every
// path, never losing the source.
#include <gtest/gtest.h>

#include <cstring>
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

bool IsZero(const ToSignStruct& info) {
  const ToSignStruct zero;
  return std::memcmp(&info, &zero, sizeof zero) == 0;
}

// File content is streamed in 4096-octet blocks; both writers agree, and what
// they wrote reads back. Lengths whose last octet is 0x80 (81 80, 82 03 80)
// must not pass for the indefinite-length marker.
TEST(SignDataFile, WritesFileContent) {
  TempDir dir;
  const std::string content = dir.Path("content.bin"), out = dir.Path("out.der");
  for (size_t size : {1, 128, 896, 4095, 4096, 4097, 12289}) {
    SCOPED_TRACE(size);
    WriteBytes(content, Pattern(size, static_cast<unsigned>(size)));
    SignData message;
    message.signerInfos.push_back(Obj(Octets("$signer1")));
    ASSERT_TRUE(message.AttachData(FileContent(content, 0, ToSignStruct::kToEndOfFile), nullptr));
    const Bytes inMemory = Of(message.WriteObject(nullptr));
    EXPECT_EQ(WriteToFile(message, out), inMemory.size());
    EXPECT_EQ(ReadBytes(out), inMemory);
    EXPECT_LT(Find(inMemory, Pattern(size, static_cast<unsigned>(size))), inMemory.size());
    SignData again;
    ASSERT_TRUE(ReadMemory(again, inMemory));
    EXPECT_EQ(Of(again.encapContentInfo.data), Pattern(size, static_cast<unsigned>(size)));
  }
  WriteBytes(content, Text("0123456789"));
  SignData ranged;
  ASSERT_TRUE(ranged.AttachData(FileContent(content, 3, 7), nullptr));
  ASSERT_NE(WriteToFile(ranged, out), 0u);
  EXPECT_LT(Find(ReadBytes(out), Hex("04 04 33 34 35 36 31")), ReadBytes(out).size());
  // Size 0 leaves the whole [0] eContent out, unlike the memory writer.
  SignData empty;
  ASSERT_TRUE(empty.AttachData(FileContent(content, 5, 5), nullptr));
  const DWORD written = WriteToFile(empty, out);
  EXPECT_EQ(written, ReadBytes(out).size());
  EXPECT_EQ(Of(SignData().WriteObject(nullptr)), ReadBytes(out));
  // At an offset into an existing file.
  WriteBytes(out, Bytes(50, 0xEE));
  const Bytes input = Octets("$plain");
  SignData memory;
  ASSERT_TRUE(ReadMemory(memory, input));
  {
    CTOOFile file(out.c_str(), "r+b");
    EXPECT_EQ(memory.WriteObject(file, 20), input.size());
  }
  EXPECT_EQ(ReadBytes(out), Cat({Bytes(20, 0xEE), input}));
}

TEST(SignDataFile, WriteFailures) {
  TempDir dir;
  const std::string content = dir.Path("content.bin"), gone = dir.Path("gone.bin");
  WriteBytes(content, Text("0123456789"));
  const struct {
    ToSignStruct data;
    const char *target, *mode;
    DWORD offset, code;
  } cases[] = {
      {FileContent(gone, 0, 4), "out.der", "wb", 0, ERROR_FILE_NOT_FOUND},
      {FileContent(content, 5, 11), "out.der", "wb", 0, 0x8007000E},
      {ToSignStruct(), "out.der", "wb", 5, 0x8007000E},
      {ToSignStruct(), "content.bin", "rb", 0, StatusToWin32(kStatusWriteError)},
      {ToSignStruct(), "no/such/folder.der", "wb", 0xFFFFFFFF, 0},  // the file's own status
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    SignData message;
    message.dataInfo = c.data;
    CTOOFile file(dir.Path(c.target).c_str(), c.mode);
    SetLastError(0);
    EXPECT_EQ(message.WriteObject(file, c.offset), 0u);
    EXPECT_EQ(GetLastError(), c.code ? c.code : StatusToWin32(file.GetStatus()));
  }
  EXPECT_EQ(ReadBytes(content), Text("0123456789"));
}

// Content of memory, of a DER file and of segments (a 4096-octet one, an
// empty one) into allocated memory, a buffer, a file, or the source file
// itself (named by null, in another case, through a hard link or a longer
// path: staged through the temporary folder).
TEST(SignDataDetach, EveryPathAndTarget) {
  const struct {
    int source;  // 0 memory, 1 DER file, 2 segments
    const char* target;
  } cases[] = {{0, nullptr},       {0, "buffer"},     {0, "content.out"},     {0, ""},
               {1, nullptr},       {1, "buffer"},     {1, "content.out"},     {1, ""},
               {1, "MESSAGE.DER"}, {1, "link.der"},   {1, "sub/../link.der"}, {2, nullptr},
               {2, "buffer"},      {2, "content.out"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.source) + (c.target ? c.target : "null"));
    const Bytes content = Octets(c.source == 2 ? "$segments" : "~9000");
    FileMessage file(Octets(c.source == 2 ? "$segmented" : "$plain9000"));
    if (c.source == 0) {
      ASSERT_TRUE(ReadMemory(file.message, file.bytes));
      file.message.dataInfo = ToSignStruct();
    }
    std::error_code failed;
    std::filesystem::create_hard_link(file.path, file.dir.Path("link.der"), failed);
    if (failed) GTEST_SKIP() << "no hard links here: " << failed.message();
    std::filesystem::create_directories(file.dir.Path("sub"));
    const bool toFile = c.target && std::string(c.target) != "buffer";
    const std::string target = toFile && *c.target ? file.dir.Path(c.target) : "";
    Bytes buffer(content.size(), 0xFF);
    SetLastError(5);
    int error = -1;
    if (toFile) {
      ToSignStruct out = FileTarget(target);
      ASSERT_TRUE(file.message.DetachData(out, &error));
      EXPECT_EQ(out.end, content.size());
      EXPECT_EQ(ReadBytes(target.empty() ? file.path : target), content);
    } else {
      EXPECT_EQ(DetachToMemory(file.message, c.target ? buffer.data() : nullptr, &error), content);
    }
    EXPECT_EQ(error, 0);
    EXPECT_EQ(GetLastError(), 0u);  // success clears it explicitly
    EXPECT_TRUE(IsZero(file.message.GetDataInfo()));
    if (!toFile || target == file.dir.Path("content.out")) {
      EXPECT_EQ(ReadBytes(file.path), file.bytes);
    }
    // What is left is a detached signature, and nothing more to detach.
    EXPECT_LE(file.message.WriteObject(nullptr).size(), file.bytes.size() - content.size());
    EXPECT_EQ(DetachToMemory(file.message), Bytes());
  }
}

// StreamContent hands over what DetachData would give, from memory, a plain
// range and segments alike, and leaves the content where it was; a sink
// that stops ends the delivery with ERROR_CANCELLED.
TEST(SignDataStream, DeliversTheContentWithoutDetachingIt) {
  struct Collect : ContentSink {
    Bytes got;
    size_t stopAfter = SIZE_MAX;
    bool Take(const BYTE* data, size_t size) override {
      got.insert(got.end(), data, data + size);
      return got.size() < stopAfter;
    }
  };
  FileMessage plain(Octets("$plain9000")), segmented(Octets("$segmented"));
  SignData inMemory;
  ASSERT_TRUE(ReadMemory(inMemory, plain.bytes));
  for (SignData* message : {&plain.message, &segmented.message, &inMemory}) {
    const Bytes content = Octets(message == &segmented.message ? "$segments" : "~9000");
    Collect sink;
    int error = -1;
    EXPECT_TRUE(message->StreamContent(sink, &error));
    EXPECT_EQ(error, 0);
    EXPECT_EQ(sink.got, content);
    EXPECT_EQ(DetachToMemory(*message), content);
  }
  SignData again;
  ASSERT_TRUE(ReadMemory(again, plain.bytes));
  Collect stopping;
  stopping.stopAfter = 1;
  int error = 0;
  EXPECT_FALSE(again.StreamContent(stopping, &error));
  EXPECT_EQ(error, ERROR_CANCELLED);
}

// Whatever fails before the final copy leaves the source file as it was.
TEST(SignDataDetach, FailureNeverDestroysTheSource) {
  const Bytes content = Octets("~7000");
  FileMessage file(Octets("$plain7000"));
  const std::string unreachable = file.path + "/content.out";  // below a file
  ToSignStruct elsewhere = FileTarget(unreachable);
  EXPECT_FALSE(file.message.DetachData(elsewhere, nullptr));
  EXPECT_EQ(ReadBytes(file.path), file.bytes);
  EXPECT_EQ(DetachToMemory(file.message), content);  // still usable
  // A broken segment halfway: the staged copy is abandoned.
  FileMessage chunked(Octets("$halves"));
  chunked.message.dataInfo.end = chunked.message.dataInfo.begin + 5004 + 3;
  ToSignStruct out = FileTarget("");
  EXPECT_FALSE(chunked.message.DetachData(out, nullptr));
  EXPECT_EQ(ReadBytes(chunked.path), chunked.bytes);

  TempDir dir;
  const std::string path = dir.Path("content.bin"), gone = dir.Path("gone.bin"), outBin = dir.Path("out.bin");
  WriteBytes(path, Cat({Hex("00 00"), Tlv(0x04, Text("abc")), Tlv(0x04, Text("de")), Hex("00 00")}));
  ToSignStruct chunks = FileContent(path, 2, 6);  // a segment running past the range
  chunks.flags |= ToSignStruct::kChunkedFile;
  const struct {
    ToSignStruct content;
    std::string target;
    DWORD code;
  } failures[] = {{FileContent(gone, 0, 4), "", ERROR_FILE_NOT_FOUND},
                  {FileContent(path, 2, 40), outBin, 0x80092003u},
                  {chunks, "", kCorrupt},
                  {ToSignStruct(), "no name", ERROR_BAD_ARGUMENTS}};
  for (const auto& f : failures) {
    SCOPED_TRACE(&f - failures);
    ExpectFails(
        [&](int* error) {
          SignData message;
          message.dataInfo = f.content;
          if (!f.content.flags) message.encapContentInfo.data = Obj(Text("x"));
          static const std::string unnamed;
          ToSignStruct target =
              f.target.empty() ? ToSignStruct() : FileTarget(f.target == "no name" ? unnamed : f.target);
          const bool detached = message.DetachData(target, error);
          // A buffer the library allocated is the caller's, even after a failure.
          if (!(target.flags & ToSignStruct::kInFile)) delete[] static_cast<BYTE*>(target.data);
          return detached;
        },
        f.code);
  }
}

}  // namespace
}  // namespace cmskit::signtest
