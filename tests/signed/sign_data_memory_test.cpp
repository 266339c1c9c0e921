// SignData read from memory, from a file and by FillEntry alike (the layouts
// of signed/cases.txt), the DER WriteObject produces, content attachment;
// published messages (RFC 4134 4.x, TK26) through every reader and writer.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "signed/signed_fixtures.h"

namespace cmskit::signtest {
namespace {

// The certificates, CRLs and signer infos, as the table spells them.
std::string Parts(const SignData& message) {
  std::string out;
  for (const std::list<IdentObj>* list : {&message.certificates, &message.crls, &message.signerInfos}) {
    Bytes all;
    for (const IdentObj& item : *list) all = Cat({all, Of(item)});
    out += (list == &message.certificates ? "" : " / ") + ToHex(all);
  }
  return out;
}
std::string Parts(const std::string& field) {
  const size_t first = field.find('/'), second = field.find('/', first + 1);
  return ToHex(Octets(field.substr(0, first))) + " / " +
         ToHex(Octets(field.substr(first + 1, second - first - 1))) + " / " +
         ToHex(Octets(field.substr(second + 1)));
}

// FillEntry over the tree the record reader built; gives the last error.
DWORD Fill(SignData& message, const Bytes& bytes) {
  CASNTUnit root;
  int status = -1;
  root.ReadFromMemory(bytes.data(), static_cast<DWORD>(bytes.size()), &status);
  EXPECT_EQ(status, 0);
  SetLastError(0);
  SignDataTestPeer::FillEntry(message, root);
  return GetLastError();
}

TEST(SignDataRead, Layouts) {
  TempDir dir;
  const std::string path = dir.Path("message.der");
  for (const Row& row : Cases().Rows("layouts")) {
    SCOPED_TRACE(row.where);
    const Bytes message = Octets(row[5]), content = Octets(row[3]);
    const std::string parts = Parts(row[4]), &memory = row[0], &file = row[1], &tree = row[2];
    if (memory != "-") {
      SignData read;
      SetLastError(0x1234);
      int error = -1;
      const size_t slash = memory.find('/');
      EXPECT_EQ(ReadMemory(read, message, &error), memory == "ok");
      EXPECT_EQ(GetLastError(), memory == "ok" ? 0x1234u : Code(memory.substr(0, slash)));  // kept on success
      EXPECT_EQ(static_cast<DWORD>(error), memory == "ok" ? 0u : Code(memory.substr(slash + 1)));
      EXPECT_TRUE(memory != "ok" || (Of(read.encapContentInfo.data) == content && Parts(read) == parts));
      SetLastError(0);
      EXPECT_TRUE(memory == "ok" || (!ReadMemory(read, message) && GetLastError() == Code(memory)));
    }
    if (file != "-" && file.compare(0, 2, "ok") != 0) {
      WriteBytes(path, message);
      const size_t at = file.find('@');
      const DWORD offset = at == std::string::npos ? 0 : Code(file.substr(at + 1));
      SignData read;
      ExpectFails([&](int* e) { return ReadFromFile(read, path, offset, e); }, Code(file.substr(0, at)));
    } else if (file != "-") {
      // The content is located, not loaded, where detaching finds it.
      WriteBytes(path, message);
      SignData read;
      EXPECT_EQ(ReadFromFile(read, path), message.size());
      const ToSignStruct& info = read.GetDataInfo();
      EXPECT_EQ(info.flags, Code(file.substr(3)));
      EXPECT_EQ(info.fileMark, info.flags ? 0x20000u : 0u);
      EXPECT_TRUE(read.encapContentInfo.data.IsEmpty());
      EXPECT_EQ(Parts(read), parts);
      EXPECT_EQ(DetachToMemory(read), content);
    }
    if (tree != "-") {
      SignData read;
      read.signerInfos.push_back(Obj(Text("stale")));
      EXPECT_EQ(Fill(read, message), tree == "ok" ? 0u : Code(tree));
      EXPECT_TRUE(tree != "ok" || (read.contentType == Dotted("1.2.840.113549.1.7.2")  // not the message's
                                   && Of(read.encapContentInfo.data) == content && Parts(read) == parts));
    }
  }
}

TEST(SignDataRead, PrefixesReuseAndOffsets) {
  const Bytes good = Octets("$withCrls"), plain = Octets("$plain");
  for (size_t cut = 0; cut < good.size(); ++cut) {
    SignData message;
    EXPECT_FALSE(message.ReadObject(cut ? good.data() : nullptr, static_cast<DWORD>(cut), nullptr)) << cut;
  }
  SignData message;  // the decoder's raw status in *pError
  int error = -1;
  EXPECT_FALSE(ReadMemory(message, Bytes(good.begin(), good.end() - 1), &error));
  EXPECT_EQ(error, kStatusCorrupt);
  EXPECT_EQ(GetLastError(), kCorrupt);
  EXPECT_EQ(SignDataTestPeer::Certificates(message, Obj(Octets("A1{ $cert1 }"))), static_cast<int>(kBadTag));
  // Reuse keeps what the second message lacks.
  ASSERT_TRUE(ReadMemory(message, plain));
  ASSERT_TRUE(ReadMemory(
      message, Octets("30{ $oidSigned A0{ 30{ 02 01 01 $algs 30{ $oidData } $certs $signers } } }")));
  EXPECT_EQ(Of(message.encapContentInfo.data), Octets("$hello"));
  TempDir dir;
  const std::string path = dir.Path("message.der");
  WriteBytes(path, plain);
  CTOOFile handle(path.c_str(), "rb");  // from the current position
  EXPECT_EQ(message.ReadObject(handle, 0xFFFFFFFF, nullptr), plain.size());
  // The step past the content ignores the offset: the zeros there end the walk.
  WriteBytes(path, Cat({Bytes(100, 0), plain}));
  SignData shifted;
  EXPECT_LT(ReadFromFile(shifted, path, 100), plain.size());
  EXPECT_TRUE(shifted.signerInfos.empty());
  EXPECT_EQ(DetachToMemory(shifted), Octets("$hello"));
}

Bytes Written(SignData& message) {
  int error = -1;
  const Bytes out = Of(message.WriteObject(&error));
  EXPECT_EQ(error, 0);
  return out;
}

TEST(SignDataMemory, WritesDer) {
  SignData fresh;
  EXPECT_EQ(Written(fresh), Octets("$written"));
  // 12 + id-data with NULL parameters (15) + 4, and allowances after the
  // certificates and the CRLs.
  EXPECT_EQ(fresh.GetDataSize(), 12u + 15u + 4u + 4u + 4u);
  EXPECT_EQ(fresh.GetObjectSize(), fresh.GetDataSize() + 24u);
  SignData message;
  message.version = 3;
  message.digestAlgorithms.emplace_back();
  Read(message.digestAlgorithms.back(), Octets("$sha1"));
  message.encapContentInfo.data = Obj(Text("content"));
  message.certificates = {Obj(Octets("$cert2")), Obj(Octets("$cert1"))};
  message.crls = {Obj(Octets("$cert9"))};
  message.signerInfos = {Obj(Octets("$signerB")), Obj(Octets("$signerA"))};  // order kept
  EXPECT_EQ(Written(message), Octets("$writtenAll"));
  EXPECT_GE(message.GetObjectSize(), Octets("$writtenAll").size());
}

TEST(SignDataMemory, WritesFileContent) {
  TempDir dir;
  const std::string path = dir.Path("content.bin"), empty = dir.Path("empty.bin");
  WriteBytes(path, Text("0123456789"));
  WriteBytes(empty, {});
  const struct {
    ToSignStruct content;
    const char* octets;  // file content is always written, even empty
    int status;
  } cases[] = {{FileContent(path, 2, 5), "'234'", 0},
               {FileContent(path, 4, 4), "", 0},
               {FileContent(empty, 0, ToSignStruct::kToEndOfFile), "", 0},
               {FileContent(path, 8, 11), "", kStatusTruncated},
               {FileContent(path, 5, 4), "", kStatusTruncated}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    SignData message;
    message.dataInfo = c.content;
    int error = -1;
    const Bytes out = Of(message.WriteObject(&error));
    EXPECT_EQ(static_cast<DWORD>(error), c.status ? StatusToWin32(c.status) : 0u);
    if (c.status) {
      EXPECT_TRUE(out.empty());
      EXPECT_THROW(message.WriteObject(nullptr), XTOOStatus);  // without pError the status leaves as it is
    } else {
      EXPECT_EQ(out, Octets("30{ $oidSigned A0{ 30{ 02 01 01 31 00 30{ $oidData A0{ 04{" +
                            std::string(c.octets) + "} } } 31 00 } } }"));
    }
  }
  SignData whole;
  ASSERT_TRUE(whole.AttachData(FileContent(path, 0, ToSignStruct::kToEndOfFile), nullptr));
  Written(whole);
  EXPECT_EQ(whole.GetDataInfo().end, 10u);
  std::filesystem::remove(path);
  int error = -1;
  EXPECT_TRUE(whole.WriteObject(&error).IsEmpty());
  EXPECT_EQ(error, 2);
}

TEST(SignDataMemory, CopiesAndAttach) {
  TempDir dir;
  const std::string path = dir.Path("m.der"), missing = dir.Path("missing");
  WriteBytes(path, Octets("$plain"));
  SignData source;
  ASSERT_NE(ReadFromFile(source, path), 0u);
  ASSERT_STREQ(source.workPath.c_str(), path.c_str());
  SignData copy(source);  // the work path is not copied, the content range is
  EXPECT_EQ(copy.workPath.GetLength(), 0u);
  EXPECT_EQ(std::memcmp(&copy.GetDataInfo(), &source.GetDataInfo(), sizeof(ToSignStruct)), 0);
  SignData target;
  target.workPath = "kept.der";
  target = source;
  EXPECT_STREQ(target.workPath.c_str(), "kept.der");
  EXPECT_TRUE(target.encapContentInfo == source.encapContentInfo);

  const Bytes bytes = Text("0123456789");
  SignData message;
  message.encapContentInfo.id = Dotted("1.2.3.4");
  ToSignStruct content = MemoryContent(bytes);
  content.begin = 2;
  content.end = 6;
  EXPECT_TRUE(message.AttachData(content, nullptr));
  EXPECT_EQ(Of(message.encapContentInfo.data), Text("2345"));
  EXPECT_TRUE(message.encapContentInfo.id == Dotted("1.2.840.113549.1.7.1"));  // forced to id-data
  EXPECT_EQ(message.GetDataInfo().data, nullptr);
  ToSignStruct file = FileContent(path, 7, 9000);  // the range is not checked here
  file.extra = 42;
  EXPECT_TRUE(message.AttachData(file, nullptr));
  EXPECT_EQ(std::memcmp(&message.GetDataInfo(), &file, sizeof file), 0);
  ToSignStruct reversed = MemoryContent(bytes);
  reversed.begin = 2;
  reversed.end = 1;
  const struct {
    ToSignStruct content;
    DWORD code;
  } failures[] = {{FileTarget(""), ERROR_BAD_ARGUMENTS},
                  {FileContent(missing, 0, 1), ERROR_FILE_NOT_FOUND},
                  {reversed, ERROR_BAD_ARGUMENTS}};
  for (const auto& f : failures)
    ExpectFails([&](int* error) { return SignData().AttachData(f.content, error); }, f.code);
}

TEST(SignedVectors, ThroughEveryPath) {
  TempDir dir;
  for (const Row& row : Cases().Rows("vectors")) {
    SCOPED_TRACE(row.where);
    const std::string path = TestData("signed/" + row[0]);
    const Bytes content = row[1] == "-" ? Bytes() : ReadBytes(TestData("signed/" + row[1]));
    const Bytes expected = row[3] == "ber" ? Bytes() : WithNullDigestParameters(ReadBytes(path));
    const SignData memory = ExpectRoundTrip(path, content, expected, dir.Path("out.der")).first;
    std::istringstream counts(row[2] + " " + row[4] + " " + row[5]);
    size_t signers = 0, certificates = 0, crls = 0, signedAttrs = 0, unsignedAttrs = 0;
    DWORD version = 0;
    int year = 0;
    unsigned month = 0, day = 0, hour = 0, minute = 0, second = 0;
    counts >> signers >> certificates >> crls >> version >> signedAttrs >> unsignedAttrs >> year >> month >>
        day >> hour >> minute >> second;
    EXPECT_EQ(memory.signerInfos.size(), signers);
    EXPECT_EQ(memory.certificates.size(), certificates);
    EXPECT_EQ(memory.crls.size(), crls);
    std::vector<MessageSignerInfo> infos = ExpectSignerInfos(memory);
    if (infos.empty()) continue;
    EXPECT_EQ(infos[0].version, version);
    EXPECT_EQ(infos[0].signedAttrs.size(), signedAttrs);
    EXPECT_EQ(infos[0].unsignedAttrs.size(), unsignedAttrs);
    int error = -1;
    EXPECT_EQ(Ticks(infos[0].GetSigningData(&error)),
              year ? Ticks(year, month, day, hour, minute, second) : 0);
    EXPECT_EQ(static_cast<DWORD>(error), year ? 0 : kNotFound);
  }
}

}  // namespace
}  // namespace cmskit::signtest
