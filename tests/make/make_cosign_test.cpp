// Adding a signer to messages the openssl command made (DER and, with
// -stream, BER attached; DER detached: -stream always attaches): every signer verifies afterwards, and what
// the first signer put there (its signer info, its certificate) is in the output octet for octet.
#include <gtest/gtest.h>

#include "common/test_util.h"
#include "make/library_verdicts.h"
#include "make/make_tool_fixture.h"

namespace cmskit_testing {
namespace {

// Options of `openssl cms -sign`.
const std::string kOriginals[] = {"cms -sign -nodetach", "cms -sign -nodetach -stream", "cms -sign"};

// The elements the reader keeps as received.
std::vector<Bytes> KeptElements(const Bytes& message) {
  cmskit::SignData data;
  int error = 0;
  std::vector<Bytes> kept;
  if (!data.ReadObject(message.data(), static_cast<DWORD>(message.size()), &error)) return kept;
  for (const cmskit::IdentObj& element : data.signerInfos) kept.push_back(Of(element));
  for (const cmskit::IdentObj& element : data.certificates) kept.push_back(Of(element));
  return kept;
}

using MakeCoSign = MakeSignTool;

TEST_F(MakeCoSign, OriginalSignersStayAsTheyWere) {
  const Bytes content = Pattern(200000, 3);
  ASSERT_TRUE(MakeKey(kKeyKinds[0]) && MakeKey(kKeyKinds[1]));
  for (const std::string& options : kOriginals) {
    SCOPED_TRACE(options);
    const bool detached = options.find("-nodetach") == std::string::npos;
    const Bytes made = Openssl::Get().Make(content, options + " +rsa -md sha384", "original");
    ASSERT_FALSE(made.empty());
    WriteBytes(P("original.der"), made);
    WriteBytes(P("content.bin"), content);
    const std::string given = detached ? " content.bin" : "";
    std::string signers;
    // A second signer of another kind, then one with a GOST key where the engine is.
    ASSERT_EQ(Tool("sign --add original.der" + given + Signer("ec") + " -o once.der"), 0) << Read("err.txt");
    std::string last = "once.der";
    if (Signers("g256", signers)) {
      ASSERT_EQ(Tool("sign --add once.der" + given + signers + " -o twice.der"), 0) << Read("err.txt");
      last = "twice.der";
    }
    ASSERT_TRUE(OpensslVerifies(last, detached ? "content.bin" : ""));
    EXPECT_EQ(ReadBytes(P("out.bin")), content);
    const Bytes output = ReadBytes(P(last));
    const std::vector<Bytes> kept = KeptElements(made);
    ASSERT_EQ(kept.size(), 2u);
    for (const Bytes& element : kept) EXPECT_LT(Find(output, element), output.size());
    cmskit::SignData result;
    int error = 0;
    ASSERT_TRUE(result.ReadObject(output.data(), static_cast<DWORD>(output.size()), &error));
    EXPECT_EQ(result.signerInfos.size(), last == "once.der" ? 2u : 3u);
    const std::vector<cmskit::SignerVerdict> verdicts =
        LibraryVerdicts(P(last), detached ? P("content.bin") : "");
    EXPECT_EQ(verdicts,
              std::vector<cmskit::SignerVerdict>(result.signerInfos.size(), cmskit::SignerVerdict::kValid));
    EXPECT_EQ(Tool("verify " + last + given), 0) << Read("out.txt");
  }
}

}  // namespace
}  // namespace cmskit_testing
