// Runs the cmskit tool on messages made by openssl at test time and checks
// each subcommand's result, exit status and error line.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmskit/cmskit.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

namespace fs = std::filesystem;

#ifdef CMSKIT_CLI_PATH
const char* const kTool = CMSKIT_CLI_PATH;
#else
const char* const kTool = nullptr;
#endif

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// std::system gives the wait status on POSIX shells and the exit code itself
// on Windows; the statuses used here are all below 256.
int ExitStatus(int raw) { return raw > 255 ? raw >> 8 : raw; }

class CliTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (!kTool || PLATFORM_PATH_SEPARATOR != '/' || std::system("openssl version >/dev/null 2>&1") != 0)
      return;
    dir_ = fs::temp_directory_path() /
           ("cmskit-cli-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    fs::create_directories(dir_);
    std::ofstream(dir_ / "content.bin", std::ios::binary) << std::string(5000, 'x') << "end\n";
    const std::string d = dir_.string();
    ready_ = Shell("openssl req -x509 -newkey rsa:2048 -nodes -keyout " + d + "/k.pem -out " + d +
                   "/c.pem -subj /CN=Tester/O=Cli -days 2 2>/dev/null") == 0 &&
             Shell("openssl cms -sign -binary -nodetach -in " + d + "/content.bin -signer " + d +
                   "/c.pem -inkey " + d + "/k.pem -outform DER -out " + d + "/attached.p7s") == 0 &&
             Shell("openssl cms -sign -binary -in " + d + "/content.bin -signer " + d + "/c.pem -inkey " + d +
                   "/k.pem -outform PEM -out " + d + "/detached.pem") == 0 &&
             Shell("openssl cms -encrypt -binary -aes128 -in " + d + "/content.bin -outform DER -out " + d +
                   "/enveloped.p7m " + d + "/c.pem") == 0 &&
             Shell("base64 " + d + "/enveloped.p7m > " + d + "/enveloped.b64") == 0;
  }
  static void TearDownTestSuite() {
    std::error_code ignored;
    if (!dir_.empty()) fs::remove_all(dir_, ignored);
  }
  void SetUp() override {
    if (!ready_) GTEST_SKIP() << "needs the cmskit tool, a POSIX shell and the openssl command";
  }

  static int Shell(const std::string& command) { return ExitStatus(std::system(command.c_str())); }
  // Runs the tool with `args`; stdout goes to out.txt, stderr to err.txt.
  static int Run(const std::string& args) {
    return Shell(std::string(kTool) + " " + args + " >" + P("out.txt") + " 2>" + P("err.txt"));
  }
  static std::string P(const char* name) { return (dir_ / name).string(); }
  static std::string Out() { return ReadFile(dir_ / "out.txt"); }
  static std::string Err() { return ReadFile(dir_ / "err.txt"); }

  static fs::path dir_;
  static bool ready_;
};

fs::path CliTest::dir_;
bool CliTest::ready_ = false;

TEST_F(CliTest, TypeNamesEveryForm) {
  ASSERT_EQ(Run("type " + P("attached.p7s") + " " + P("detached.pem") + " " + P("enveloped.b64") + " " +
                P("content.bin")),
            0);
  EXPECT_EQ(Out(), P("attached.p7s") + ": signed-attached\n" + P("detached.pem") + ": signed-detached\n" +
                       P("enveloped.b64") + ": enveloped\n" + P("content.bin") + ": unknown\n");
}

TEST_F(CliTest, InfoJsonDescribesSignedAndEnveloped) {
  ASSERT_EQ(Run("info --json " + P("attached.p7s")), 0) << Err();
  const auto signedInfo = nlohmann::json::parse(Out());
  EXPECT_EQ(signedInfo["type"], "signed");
  EXPECT_EQ(signedInfo["signers"].size(), 1u);
  EXPECT_EQ(signedInfo["digestAlgorithms"][0], "sha256");
  EXPECT_EQ(signedInfo["content"]["size"], 5004);
  EXPECT_EQ(signedInfo["certificates"][0]["subject"], "CN=Tester, O=Cli");
  EXPECT_FALSE(signedInfo["signers"][0]["signingTime"].get<std::string>().empty());

  ASSERT_EQ(Run("info --json " + P("enveloped.b64")), 0) << Err();
  const auto envelopedInfo = nlohmann::json::parse(Out());
  EXPECT_EQ(envelopedInfo["type"], "enveloped");
  EXPECT_EQ(envelopedInfo["content"]["algorithm"], "aes128-cbc");
  EXPECT_EQ(envelopedInfo["recipients"][0]["issuer"], "CN=Tester, O=Cli");

  ASSERT_EQ(Run("info " + P("detached.pem")), 0) << Err();
  EXPECT_NE(Out().find("attached: false"), std::string::npos) << Out();
}

TEST_F(CliTest, DetachAttachAndRewriteKeepTheContent) {
  ASSERT_EQ(Run("detach " + P("attached.p7s") + " " + P("got.bin") + " -o " + P("det.p7s")), 0) << Err();
  EXPECT_EQ(ReadFile(dir_ / "got.bin"), ReadFile(dir_ / "content.bin"));
  ASSERT_EQ(Run("type " + P("det.p7s")), 0);
  EXPECT_NE(Out().find("signed-detached"), std::string::npos);

  ASSERT_EQ(Run("attach " + P("det.p7s") + " " + P("content.bin") + " -o " + P("again.p7s")), 0) << Err();
  EXPECT_EQ(Shell("openssl cms -verify -noverify -binary -inform DER -in " + P("again.p7s") + " -out " +
                  P("verified.bin") + " 2>/dev/null"),
            0);
  EXPECT_EQ(ReadFile(dir_ / "verified.bin"), ReadFile(dir_ / "content.bin"));

  ASSERT_EQ(Run("rewrite " + P("again.p7s") + " " + P("rewritten.p7s")), 0) << Err();
  EXPECT_EQ(ReadFile(dir_ / "rewritten.p7s"), ReadFile(dir_ / "again.p7s"));
}

TEST_F(CliTest, DecryptGivesThePlaintext) {
  ASSERT_EQ(Run("decrypt " + P("enveloped.b64") + " -c " + P("c.pem") + " -k " + P("k.pem") + " -o " +
                P("plain.bin")),
            0)
      << Err();
  EXPECT_EQ(ReadFile(dir_ / "plain.bin"), ReadFile(dir_ / "content.bin"));
}

TEST_F(CliTest, Base64RoundTrip) {
  ASSERT_EQ(Run("base64 encode " + P("attached.p7s") + " " + P("a.b64")), 0) << Err();
  ASSERT_EQ(Run("base64 decode " + P("a.b64") + " " + P("a.der")), 0) << Err();
  EXPECT_EQ(ReadFile(dir_ / "a.der"), ReadFile(dir_ / "attached.p7s"));
}

TEST_F(CliTest, FailuresGiveTheirExitStatusAndOneLine) {
  struct Case {
    std::string args;
    int status;
    std::string message;
  };
  const Case cases[] = {
      {"info " + P("missing.p7s"), 1, "0x00000002 (file not found)"},
      {"info " + P("content.bin"), 1, "0x8009310B"},
      {"detach " + P("enveloped.p7m") + " " + P("x.bin"), 1, "is not a signed message"},
      {"decrypt " + P("attached.p7s") + " -c " + P("c.pem") + " -o " + P("x.bin"), 1,
       "is not an enveloped message"},
      {"info", 2, "FILE is required"},
      {"frobnicate", 2, ""},
      {"base64 sideways " + P("a") + " " + P("b"), 2, ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Run(c.args), c.status) << c.args;
    const std::string err = Err();
    EXPECT_NE(err.find(c.message), std::string::npos) << c.args << ": " << err;
    if (c.status == 1) {
      EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    }
  }
  EXPECT_EQ(Run("--help"), 0);
  for (const char* sub : {"type", "info", "detach", "attach", "decrypt", "base64", "rewrite"})
    EXPECT_EQ(Run(std::string(sub) + " --help"), 0) << sub;
  EXPECT_EQ(Run("--version"), 0);
}

}  // namespace
