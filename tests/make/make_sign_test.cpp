// Signing through the library with a fixed key and time gives one exact
// message per form; through the tool, every key kind and form verifies with
// the openssl command and gives back the content.
#include <gtest/gtest.h>

#include "common/table.h"
#include "common/test_util.h"
#include "make/library_verdicts.h"
#include "make/make_tool_fixture.h"
#include "make/test_signer.h"

namespace cmskit_testing {
namespace {

struct FixedForm {
  const char* expected;
  bool detached;
  bool attributes;
  bool fromFile;
};

const FixedForm kFixedForms[] = {{"make/bob_attached.der", false, true, true},
                                 {"make/bob_detached.der", true, true, false},
                                 {"make/bob_noattrs.der", false, false, true}};

FILETIME FixedTime() {
  const SYSTEMTIME calendar{2026, 1, 0, 2, 3, 4, 5, 0};
  FILETIME time{};
  SystemTimeToFileTime(&calendar, &time);
  return time;
}

Bytes SignWith(const cmskit::SignerCredential* signers, size_t count, const cmskit::ToSignStruct64& content,
               const cmskit::SignOptions& options, const std::string& path, int& error) {
  {
    cmskit::CTOOFile file(path.c_str(), "wb");
    cmskit::SignContent64(content, signers, count, options, file, &error);
  }
  return ReadBytes(path);
}

// Bob signs at the fixed time.
class BobSigns : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(bob_.ok());
    options_.signingTime = &time_;
  }
  const TestSigner bob_{TestData("crypt/BobRSASignByCarl.cer"), TestData("make/BobPrivRSA.pkcs1.der")};
  const cmskit::SignerCredential key_ = bob_.key();
  const FILETIME time_ = FixedTime();
  cmskit::SignOptions options_;
  std::string contentPath_ = TestData("crypt/ExContent.bin");
  TempDir dir_;
};
class MakeSignFixed : public BobSigns, public ::testing::WithParamInterface<FixedForm> {};

TEST_P(MakeSignFixed, GivesTheExpectedMessage) {
  const FixedForm& form = GetParam();
  const Bytes content = ReadBytes(contentPath_);
  cmskit::ToSignStruct64 range;
  range.flags = form.fromFile ? cmskit::ToSignStruct::kInFile : 0;
  range.data = form.fromFile ? static_cast<void*>(&contentPath_[0]) : const_cast<BYTE*>(content.data());
  range.end = content.size();
  options_.detached = form.detached;
  options_.signedAttributes = form.attributes;
  int error = -1;
  const Bytes made = SignWith(&key_, 1, range, options_, dir_.Path("made.der"), error);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(made, ReadBytes(TestData(form.expected)));
  const std::vector<cmskit::SignerVerdict> valid{cmskit::SignerVerdict::kValid};
  EXPECT_EQ(LibraryVerdicts(dir_.Path("made.der"), form.detached ? contentPath_ : ""), valid);
  if (!Openssl::Get().ok()) return;
  // The expected message itself is one the openssl command accepts (Carl's
  // certificate, Bob's issuer, is not at hand: the chain is not checked).
  const std::string detached = form.detached ? " -content " + contentPath_ : "";
  EXPECT_TRUE(Shell("openssl cms -verify -noverify -binary -inform DER -in " + TestData(form.expected) +
                    detached + " -out " + dir_.Path("out.bin")));
  EXPECT_EQ(ReadBytes(dir_.Path("out.bin")), content);
}

// Bob signs his own messages again: the second signer info follows the
// first, which stays as it was; his certificate and digest are not repeated.
TEST_P(MakeSignFixed, CoSigningKeepsTheFirstSigner) {
  const FixedForm& form = GetParam();
  if (!form.attributes) return;
  cmskit::ToSignStruct64 content;
  content.flags = cmskit::ToSignStruct::kInFile;
  content.data = &contentPath_[0];
  content.end = cmskit::ToSignStruct64::kToEndOfFile;
  cmskit::CTOOFile original(TestData(form.expected).c_str(), "rb");
  cmskit::SignData message;
  int error = 0;
  ASSERT_NE(message.ReadObject64(original, 0, &error), 0u);
  const cmskit::IdentObj first = message.signerInfos.front();
  {
    cmskit::CTOOFile file(dir_.Path("cosigned.der").c_str(), "wb");
    cmskit::CoSignMessage64(message, form.detached ? &content : nullptr, &key_, 1, options_, file, &error);
  }
  ASSERT_EQ(error, 0);
  cmskit::CTOOFile written(dir_.Path("cosigned.der").c_str(), "rb");
  cmskit::SignData cosigned;
  ASSERT_NE(cosigned.ReadObject64(written, 0, &error), 0u);
  ASSERT_EQ(cosigned.signerInfos.size(), 2u);
  EXPECT_EQ(cosigned.signerInfos.front(), first);
  EXPECT_EQ(cosigned.certificates.size(), 1u);
  EXPECT_EQ(cosigned.digestAlgorithms.size(), 1u);
  const std::vector<cmskit::SignerVerdict> valid(2, cmskit::SignerVerdict::kValid);
  EXPECT_EQ(LibraryVerdicts(dir_.Path("cosigned.der"), form.detached ? contentPath_ : ""), valid);
}

INSTANTIATE_TEST_SUITE_P(Forms, MakeSignFixed, ::testing::ValuesIn(kFixedForms));

using MakeSignErrors = BobSigns;

TEST_F(MakeSignErrors, RefusesWhatCannotBeSigned) {
  cmskit::SignerCredential md5 = key_;
  md5.digestOid = "1.2.840.113549.2.5";
  cmskit::SignerCredential noProvider = key_;
  noProvider.provider = 0;
  const Bytes content = Text("content");
  cmskit::ToSignStruct64 range;
  range.data = const_cast<BYTE*>(content.data());
  range.end = content.size();
  cmskit::ToSignStruct64 missing;
  std::string nowhere = dir_.Path("missing.bin");
  missing.flags = cmskit::ToSignStruct::kInFile;
  missing.data = &nowhere[0];
  missing.end = cmskit::ToSignStruct64::kToEndOfFile;
  const struct {
    const cmskit::SignerCredential* signer;
    size_t count;
    const cmskit::ToSignStruct64* content;
    int code;
  } rows[] = {{&key_, 0, &range, ERROR_INVALID_PARAMETER},
              {&md5, 1, &range, static_cast<int>(NTE_BAD_ALGID)},
              {&noProvider, 1, &range, ERROR_INVALID_PARAMETER},
              {&key_, 1, &missing, ERROR_FILE_NOT_FOUND}};
  for (const auto& row : rows) {
    int error = 0;
    SignWith(row.signer, row.count, *row.content, cmskit::SignOptions(), dir_.Path("out.der"), error);
    EXPECT_EQ(error, row.code) << row.count;
  }
}

TEST_F(MakeSignTool, EveryFormVerifiesWithOpenssl) {
  const Bytes content = Pattern(300000, 7);
  WriteBytes(P("content.bin"), content);
  const Table table("make/tool.txt");
  for (const Row& form : table.Rows("sign")) {
    SCOPED_TRACE(form.where);
    std::string signers;
    if (!Signers(form[0], signers)) continue;  // no gost engine here
    std::remove(P("signed.der").c_str());
    ASSERT_EQ(Tool("sign content.bin" + signers + " " + form[1] + " -o signed.der"), 0) << Read("err.txt");
    const bool detached = form[1] == "--detached";
    ASSERT_TRUE(OpensslVerifies("signed.der", detached ? "content.bin" : ""));
    EXPECT_EQ(ReadBytes(P("out.bin")), content);
    const std::vector<cmskit::SignerVerdict> verdicts =
        LibraryVerdicts(P("signed.der"), detached ? P("content.bin") : "");
    const std::string& names = form[0];
    const size_t count = static_cast<size_t>(std::count(names.begin(), names.end(), ' ')) + 1;
    EXPECT_EQ(verdicts, std::vector<cmskit::SignerVerdict>(count, cmskit::SignerVerdict::kValid));
    EXPECT_EQ(Tool(std::string("verify signed.der") + (detached ? " content.bin" : "")), 0)
        << Read("out.txt");
    if (detached) continue;
    ASSERT_EQ(Tool("detach signed.der extracted.bin"), 0) << Read("err.txt");
    EXPECT_EQ(ReadBytes(P("extracted.bin")), content);
  }
}

TEST_F(MakeSignTool, FailuresLeaveTheOutputAlone) {
  ASSERT_TRUE(MakeKey(kKeyKinds[0]) && MakeKey(kKeyKinds[1]));
  WriteBytes(P("content.bin"), Text("content"));
  ASSERT_EQ(Tool("sign content.bin" + Signer("rsa") + " --detached -o detached.der"), 0);
  ExpectFailuresKeepTheOutput("sign failures");
}

}  // namespace
}  // namespace cmskit_testing
