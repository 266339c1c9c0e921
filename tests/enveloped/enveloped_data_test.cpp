// EncryptedContentInfo and EnvelopedData: the readers over the layouts of
// enveloped/cases.txt, the writers, content left in its file.
#include <sstream>

#include "enveloped_test_util.h"

namespace cmskit::test {
namespace {

DWORD Code(const std::string& field) { return static_cast<DWORD>(std::stoul(field, nullptr, 0)); }
Bytes Eci(const std::string& third) { return Octets("30{ $dataOid $des3 " + third + " }"); }

class EnvelopedDataTest : public ::testing::Test {
 protected:
  CTOOFile Stage(const Bytes& bytes, const Bytes& prefix = {}) {
    WriteBytes(path_, Cat({prefix, bytes}));
    CTOOFile file(path_.c_str(), "rb");
    file.Seek(static_cast<long>(prefix.size()), SEEK_SET);
    return file;
  }
  template <class Object>
  Bytes WriteToFile(Object& object) {
    const std::string path = dir_.Path("out.der");
    {
      CTOOFile out(path.c_str(), "wb");
      EXPECT_NE(object.WriteObject(out), 0u);
    }
    return ReadBytes(path);
  }
  TempDir dir_;
  const std::string path_ = dir_.Path("msg.der");
};

TEST_F(EnvelopedDataTest, EncryptedContentInfoReaders) {
  for (const cmskit_testing::Row& row : Cases().Rows("eci")) {
    const Bytes input = Octets(row[3]);
    for (int inFile = 0; inFile < 2; ++inFile) {
      if (row[inFile] == "-") continue;
      SCOPED_TRACE(row.where + (inFile ? " file" : " memory"));
      CTOOFile file = Stage(input);
      EncryptedContentInfo eci;
      SetLastError(0);
      const DWORD consumed = inFile ? eci.ReadObject(file) : eci.ReadObject(input.data(), Size(input));
      std::istringstream expected(row[inFile]);
      std::string first, flags;
      expected >> first >> flags;
      EXPECT_EQ(consumed, flags.empty() ? 0 : Code(first));
      EXPECT_EQ(consumed ? eci.flags : GetLastError(), Code(flags.empty() ? first : flags));
      EXPECT_EQ(ToHex(eci.encryptedContent), ToHex(Octets(row[2])));
    }
  }
}

TEST_F(EnvelopedDataTest, EncryptedContentInfoLeavesContentInItsFile) {
  const Bytes eci = Eci("80{ ~8315 }");  // two copy blocks and a partial one
  CTOOFile file = Stage(eci, Hex("05 00 05 00"));
  EncryptedContentInfo source;
  ASSERT_EQ(source.ReadObject(file), eci.size());
  EXPECT_EQ(source.flags + source.contentOffset + source.contentLength, 1u + 4u + eci.size());
  EXPECT_STREQ(source.fileName.c_str(), path_.c_str());
  EXPECT_TRUE(source.encryptedContent.IsEmpty());
  file.Close();
  EXPECT_EQ(source.GetObjectSize(), eci.size());  // the writers are checked on the published vectors
  // A short or missing source: the size needs no file, the writers fail.
  source.contentLength = 10000;
  EXPECT_EQ(source.GetObjectSize(), Eci("80{ 00*10000 }").size());
  EXPECT_TRUE(source.WriteObject().IsEmpty());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_ARGUMENTS));
  CTOOFile out(dir_.Path("out.der").c_str(), "wb");
  for (const std::string& name : {path_, dir_.Path("missing.bin")}) {
    source.fileName = name.c_str();
    EXPECT_EQ(source.WriteObject(out), 0u);
    EXPECT_EQ(GetLastError(), kFileError);
  }
  // Copies lose the name; assignment keeps the target's.
  EncryptedContentInfo target;
  target.fileName = "target.der";
  target = source;
  EXPECT_STREQ(target.fileName.c_str(), "target.der");
  EXPECT_EQ(target.contentLength, 10000u);
  const EncryptedContentInfo copy(source);
  EXPECT_TRUE(copy.fileName.IsEmpty());
  EXPECT_EQ(copy.contentOffset, source.contentOffset);
}

TEST(EncryptedContentInfo, WritesMemoryContentAndRefusesABadType) {
  const std::tuple<DWORD, Bytes, Bytes> kCases[] = {
      {0, Octets("$content"), Octets("$eci")}, {2, Hex("04 01 AA"), Eci("A0{ 04 01 AA }")}, {0, {}, Eci("")}};
  for (const auto& [flags, content, expected] : kCases) {
    EncryptedContentInfo eci;
    eci.contentEncryptionAlgorithm.ReadData(Octets("$des3").data(), Size(Octets("$des3")), nullptr);
    eci.flags = flags;
    eci.encryptedContent = Obj(content);
    EXPECT_EQ(ToHex(eci.WriteObject()), ToHex(expected));
    EXPECT_EQ(eci.GetObjectSize(), expected.size());
  }
  // Text that is no object identifier has no encoding: the writers fail rather than leave it out.
  const Bytes input = Octets("30{ 06 00 $des3 80{ $content } }");
  EncryptedContentInfo eci;
  ASSERT_EQ(eci.ReadObject(input.data(), Size(input)), input.size());
  EXPECT_TRUE(eci.WriteObject().IsEmpty());
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_ARGUMENTS));
  EXPECT_EQ(eci.GetObjectSize(), 0u);
  EnvelopedData message;
  message.encryptedContentInfo = eci;
  ExpectThrowsStatus([&] { message.WriteObject(); }, 28, "EnvelopedData::WriteObject");
  int error = 0;
  EXPECT_TRUE(message.WriteObject(&error).IsEmpty());
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(28));
}

TEST_F(EnvelopedDataTest, ReadersAndWriters) {
  for (const cmskit_testing::Row& row : Cases().Rows("enveloped")) {
    SCOPED_TRACE(row.where);
    const Bytes input = Octets(row[2]);
    EnvelopedData memory, fromFile;
    int error = 0;
    const DWORD consumed = memory.ReadObject(input.data(), Size(input), &error);
    if (row[0][0] == '!') {
      EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(std::stoi(row[0].substr(1))));
      ExpectThrowsStatus([&] { memory.ReadObject(input.data(), Size(input)); }, std::stoi(row[0].substr(1)));
    } else {
      EXPECT_EQ(consumed, row[0] == "whole" ? input.size() : std::stoul(row[0]));
      EXPECT_TRUE(row[0] != "whole" || ToBytes(memory.WriteObject()) == input);
      EXPECT_TRUE(row[0] != "whole" || WriteToFile(memory) == input);
    }
    if (row[1] == "-") continue;
    CTOOFile file = Stage(input);
    error = 0;
    const DWORD read = fromFile.ReadObject(file, &error);
    if (row[1][0] == '!') {
      EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(std::stoi(row[1].substr(1))));
    } else {
      EXPECT_EQ(read, consumed);
      EXPECT_EQ(fromFile.unprotectedAttrs.size(), memory.unprotectedAttrs.size());
    }
  }
  const Bytes standard = Octets("$standard"), cut(standard.begin(), standard.end() - 3);
  EnvelopedData data;
  ExpectThrowsStatus([&] { data.ReadObject(cut.data(), Size(cut)); }, 206);
  CTOOFile file = Stage(cut);
  int error = 0;
  data.ReadObject(file, &error);
  EXPECT_EQ(static_cast<DWORD>(error), StatusToWin32(206));
  const Bytes empty = Octets("$noRecipients");
  ExpectThrowsStatus([&] { data.ReadObject(empty.data(), Size(empty)); }, 206, "EnvelopedData::ReadObject");
  EXPECT_EQ(data.ReadObject(empty.data(), Size(empty), &error), 22u);  // up to the faulty SET
}

TEST_F(EnvelopedDataTest, OwnContentFileAndCopies) {
  const Bytes message = Octets("$standard");
  EnvelopedData source;
  {
    CTOOFile file = Stage(message);
    ASSERT_EQ(source.ReadObject(file), message.size());
  }
  // Never written over its own content file, whatever the name's case.
  std::string upper = path_;
  upper.replace(upper.size() - 7, 7, "MSG.DER");
  for (const std::string& target : {path_, upper}) {
    CTOOFile out(target.c_str(), "ab");
    int error = 0;
    EXPECT_EQ(source.WriteObject(out, &error), 0u);
    EXPECT_EQ(error, static_cast<int>(StatusToWin32(156)));
    ExpectThrowsStatus([&] { source.WriteObject(out); }, 156, "EnvelopedData::WriteObject");
  }
  EXPECT_EQ(ReadBytes(path_), message);
  EnvelopedData copy(source), target;
  EXPECT_EQ(copy.recipientInfos.size(), 2u);
  int error = 0;  // the content file is lost with the name
  EXPECT_TRUE(copy.WriteObject(&error).IsEmpty());
  EXPECT_NE(error, 0);
  target.encryptedContentInfo.fileName = path_.c_str();
  target = source;
  EXPECT_EQ(ToBytes(target.WriteObject()), message);
  // Reading from memory keeps the name through the reset, then clears it.
  target.ReadObject(message.data(), Size(message));
  EXPECT_TRUE(target.encryptedContentInfo.fileName.IsEmpty());
}

}  // namespace
}  // namespace cmskit::test
