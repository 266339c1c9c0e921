// Runs the cmskit tool on messages made by openssl at test time and checks
// each subcommand's result, exit status and error line.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

#include "common/test_util.h"

namespace cmskit_testing {
namespace {

#ifdef CMSKIT_CLI_PATH
const char* const kTool = CMSKIT_CLI_PATH;
#else
const char* const kTool = nullptr;
#endif

class CliTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    Openssl& s = Openssl::Get();
    if (!kTool || PLATFORM_PATH_SEPARATOR != '/' || !s.ok()) return;
    const Bytes content = Text(std::string(5000, 'x') + "end\n");
    WriteBytes(P("content.bin"), content);
    WriteBytes(P("attached.p7s"), s.Make(content, "cms -sign +Tester -nodetach"));
    WriteBytes(P("enveloped.p7m"), s.Make(content, "cms -encrypt -aes128 @Tester"));
    ready_ = Shell("openssl cms -sign -binary -in " + P("content.bin") + " -signer " + P("Tester.crt") +
                   " -inkey " + P("Tester.key") + " -outform PEM -out " + P("detached.pem")) &&
             Shell("base64 " + P("enveloped.p7m") + " > " + P("enveloped.b64"));
  }
  void SetUp() override {
    if (!ready_) GTEST_SKIP() << "needs the cmskit tool, a POSIX shell and the openssl command";
  }

  // Runs the tool; stdout goes to out.txt, stderr to err.txt. std::system
  // gives the wait status on POSIX shells.
  static int Tool(const std::string& args) {
    const int raw =
        std::system((std::string(kTool) + " " + args + " >" + P("out.txt") + " 2>" + P("err.txt")).c_str());
    return raw > 255 ? raw >> 8 : raw;
  }
  static std::string P(const std::string& name) { return Openssl::Get().Path(name); }
  static std::string Read(const std::string& name) {
    const Bytes bytes = ReadBytes(P(name));
    return std::string(bytes.begin(), bytes.end());
  }

  static bool ready_;
};

bool CliTest::ready_ = false;

TEST_F(CliTest, TypeAndInfo) {
  ASSERT_EQ(Tool("type " + P("attached.p7s") + " " + P("detached.pem") + " " + P("enveloped.b64") + " " +
                 P("content.bin")),
            0);
  EXPECT_EQ(Read("out.txt"), P("attached.p7s") + ": signed-attached\n" + P("detached.pem") +
                                 ": signed-detached\n" + P("enveloped.b64") + ": enveloped\n" +
                                 P("content.bin") + ": unknown\n");

  ASSERT_EQ(Tool("info --json " + P("attached.p7s")), 0) << Read("err.txt");
  const auto signedInfo = nlohmann::json::parse(Read("out.txt"));
  EXPECT_EQ(signedInfo["type"], "signed");
  EXPECT_EQ(signedInfo["signers"].size(), 1u);
  EXPECT_EQ(signedInfo["digestAlgorithms"][0], "sha256");
  EXPECT_EQ(signedInfo["content"]["size"], 5004);
  EXPECT_EQ(signedInfo["certificates"][0]["subject"], "CN=Tester, O=cmskit");
  EXPECT_FALSE(signedInfo["signers"][0]["signingTime"].get<std::string>().empty());
  ASSERT_EQ(Tool("info --json " + P("enveloped.b64")), 0) << Read("err.txt");
  const auto envelopedInfo = nlohmann::json::parse(Read("out.txt"));
  EXPECT_EQ(envelopedInfo["type"], "enveloped");
  EXPECT_EQ(envelopedInfo["content"]["algorithm"], "aes128-cbc");
  EXPECT_EQ(envelopedInfo["recipients"][0]["issuer"], "CN=Tester, O=cmskit");
  ASSERT_EQ(Tool("info " + P("detached.pem")), 0) << Read("err.txt");
  EXPECT_NE(Read("out.txt").find("attached: false"), std::string::npos) << Read("out.txt");
}

TEST_F(CliTest, CommandsKeepTheContent) {
  ASSERT_EQ(Tool("detach " + P("attached.p7s") + " " + P("got.bin") + " -o " + P("det.p7s")), 0)
      << Read("err.txt");
  EXPECT_EQ(Read("got.bin"), Read("content.bin"));
  ASSERT_EQ(Tool("attach " + P("det.p7s") + " " + P("content.bin") + " -o " + P("again.p7s")), 0);
  EXPECT_TRUE(Shell("openssl cms -verify -noverify -binary -inform DER -in " + P("again.p7s") + " -out " +
                    P("verified.bin")));
  EXPECT_EQ(Read("verified.bin"), Read("content.bin"));
  ASSERT_EQ(Tool("rewrite " + P("again.p7s") + " " + P("rewritten.p7s")), 0) << Read("err.txt");
  EXPECT_EQ(Read("rewritten.p7s"), Read("again.p7s"));
  ASSERT_EQ(Tool("decrypt " + P("enveloped.b64") + " -c " + P("Tester.crt") + " -k " + P("Tester.key") +
                 " -o " + P("plain.bin")),
            0)
      << Read("err.txt");
  EXPECT_EQ(Read("plain.bin"), Read("content.bin"));
  ASSERT_EQ(Tool("base64 encode " + P("attached.p7s") + " " + P("a.b64")), 0) << Read("err.txt");
  ASSERT_EQ(Tool("base64 decode " + P("a.b64") + " " + P("a.der")), 0) << Read("err.txt");
  EXPECT_EQ(Read("a.der"), Read("attached.p7s"));
}

TEST_F(CliTest, FailuresGiveTheirExitStatusAndOneLine) {
  const struct {
    std::string args;
    int status;
    std::string message;
  } cases[] = {
      {"info " + P("missing.p7s"), 1, "0x00000002 (file not found)"},
      {"info " + P("content.bin"), 1, "0x8009310B"},
      {"detach " + P("enveloped.p7m") + " " + P("x.bin"), 1, "is not a signed message"},
      {"decrypt " + P("attached.p7s") + " -c " + P("Tester.crt") + " -o " + P("x.bin"), 1,
       "is not an enveloped message"},
      {"info", 2, "FILE is required"},
      {"frobnicate", 2, ""},
      {"base64 sideways " + P("a") + " " + P("b"), 2, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Tool(c.args), c.status) << c.args;
    const std::string err = Read("err.txt");
    EXPECT_NE(err.find(c.message), std::string::npos) << c.args << ": " << err;
    EXPECT_TRUE(c.status != 1 || std::count(err.begin(), err.end(), '\n') == 1) << err;
  }
  for (const char* sub : {"", "type", "info", "detach", "attach", "decrypt", "base64", "rewrite"})
    EXPECT_EQ(Tool(std::string(sub) + " --help"), 0) << sub;
  EXPECT_EQ(Tool("--version"), 0);
}

}  // namespace
}  // namespace cmskit_testing
