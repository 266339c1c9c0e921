// Each subcommand's result, and the usage mistakes that are exit status 2.
#include <nlohmann/json.hpp>

#include "cli/cli_fixture.h"
#include "common/table.h"

namespace cmskit_testing {
namespace {

class CliCommands : public CliTest {
 protected:
  static void SetUpTestSuite() {
    Openssl& s = Openssl::Get();
    if (!Usable()) return;
    const Bytes content = Text(std::string(5000, 'x') + "end\n");
    WriteBytes(P("content.bin"), content);
    WriteBytes(P("other.bin"), Text(std::string(5000, 'x') + "End\n"));
    WriteBytes(P("attached.p7s"), s.Make(content, "cms -sign +Tester -nodetach"));
    WriteBytes(P("enveloped.p7m"), s.Make(content, "cms -encrypt -aes128 @Tester"));
    Shell("openssl cms -sign -binary -in " + P("content.bin") + " -signer " + P("Tester.crt") + " -inkey " +
          P("Tester.key") + " -outform PEM -out " + P("detached.pem"));
    Shell("base64 " + P("enveloped.p7m") + " > " + P("enveloped.b64"));
  }
};

TEST_F(CliCommands, TypeAndInfo) {
  ASSERT_EQ(Tool("type attached.p7s detached.pem enveloped.b64 content.bin"), 0);
  EXPECT_EQ(Read("out.txt"),
            "attached.p7s: signed-attached\ndetached.pem: signed-detached\nenveloped.b64: enveloped\n"
            "content.bin: unknown\n");

  ASSERT_EQ(Tool("info --json attached.p7s"), 0) << Read("err.txt");
  const auto signedInfo = nlohmann::json::parse(Read("out.txt"));
  EXPECT_EQ(signedInfo["type"], "signed");
  EXPECT_EQ(signedInfo["signers"].size(), 1u);
  EXPECT_EQ(signedInfo["digestAlgorithms"][0], "sha256");
  EXPECT_EQ(signedInfo["content"]["size"], 5004);
  EXPECT_EQ(signedInfo["certificates"][0]["subject"], "CN=Tester, O=cmskit");
  EXPECT_FALSE(signedInfo["signers"][0]["signingTime"].get<std::string>().empty());
  ASSERT_EQ(Tool("info --json enveloped.b64"), 0) << Read("err.txt");
  const auto envelopedInfo = nlohmann::json::parse(Read("out.txt"));
  EXPECT_EQ(envelopedInfo["type"], "enveloped");
  EXPECT_EQ(envelopedInfo["content"]["algorithm"], "aes128-cbc");
  EXPECT_EQ(envelopedInfo["recipients"][0]["issuer"], "CN=Tester, O=cmskit");
  ASSERT_EQ(Tool("info detached.pem"), 0) << Read("err.txt");
  EXPECT_NE(Read("out.txt").find("attached: false"), std::string::npos) << Read("out.txt");
}

TEST_F(CliCommands, CommandsKeepTheContent) {
  ASSERT_EQ(Tool("detach attached.p7s got.bin -o det.p7s"), 0) << Read("err.txt");
  ASSERT_EQ(Tool("--quiet attach det.p7s content.bin -o again.p7s"), 0);
  EXPECT_TRUE(Shell("openssl cms -verify -noverify -binary -inform DER -in " + P("again.p7s") + " -out " +
                    P("verified.bin")));
  EXPECT_EQ(Read("verified.bin"), Read("content.bin"));
  ASSERT_EQ(Tool("rewrite again.p7s rewritten.p7s --quiet"), 0) << Read("err.txt");
  EXPECT_EQ(Read("rewritten.p7s"), Read("again.p7s"));
  ASSERT_EQ(Tool("decrypt enveloped.b64 -c Tester.crt -k Tester.key -o plain.bin"), 0) << Read("err.txt");
  EXPECT_EQ(Read("plain.bin"), Read("content.bin"));
}

// Verdicts and exit statuses of verify, and attach refusing other content.
TEST_F(CliCommands, VerifyAndCheckedAttach) {
  const struct {
    std::string args;
    int status;
    std::string out, err;  // found in standard output, and in the one error line
  } cases[] = {{"verify attached.p7s", 0, "subject: CN=Tester, O=cmskit", ""},
               {"verify detached.pem content.bin --cert Tester.crt", 0, "verdict: valid", ""},
               {"verify detached.pem other.bin", 1, "verdict: content digest mismatch",
                "signer 1: content digest mismatch"},
               {"attach detached.pem other.bin -o refused.p7s", 1, "", "--force attaches it anyway"},
               {"attach detached.pem other.bin -o forced.p7s --force", 0, "", ""},
               {"verify forced.p7s --json", 1, "\"valid\": false", "does not verify"}};
  for (const auto& c : cases) {
    EXPECT_EQ(Tool(c.args), c.status) << c.args << ": " << Read("err.txt");
    EXPECT_NE(Read("out.txt").find(c.out), std::string::npos) << c.args << ": " << Read("out.txt");
    EXPECT_NE(Read("err.txt").find(c.err), std::string::npos) << c.args << ": " << Read("err.txt");
    EXPECT_EQ(Lines(Read("err.txt")), c.err.empty() ? 0u : 1u) << c.args;
  }
  EXPECT_FALSE(std::filesystem::exists(P("refused.p7s")));
  Tool("help verify");
  EXPECT_NE(Read("out.txt").find("does NOT decide whether that certificate is to be trusted"),
            std::string::npos);
}

// Bad usage: exit status 2 and one line that says what and points to --help.
TEST_F(CliCommands, UsageMistakes) {
  const Table table("cli/usage.txt");
  for (const Row& row : table.Rows()) {
    EXPECT_EQ(Tool(row[0]), 2) << row.where;
    const std::string err = Read("err.txt");
    EXPECT_EQ(err.rfind(row[1], 0), 0u) << row.where << ": " << err;
    EXPECT_EQ(Lines(err), 1u) << err;
    EXPECT_NE(err.find("--help')"), std::string::npos) << err;
  }
  for (const char* args : {"--help", "help", "help decrypt", "decrypt --help", "--version"}) {
    EXPECT_EQ(Tool(args), 0) << args;
    EXPECT_TRUE(Read("err.txt").empty()) << args;
  }
  Tool("help");
  EXPECT_NE(Read("out.txt").find("--quiet"), std::string::npos);
  EXPECT_NE(Read("out.txt").find("progress bar"), std::string::npos);
  Tool("help decrypt");
  EXPECT_NE(Read("out.txt").find("Usage: cmskit decrypt"), std::string::npos) << Read("out.txt");
}

// decrypt gives exactly the plaintext for every content form openssl makes
// (one string, or pieces with -stream), every cipher family (CBC with its
// padding, GOST 28147-89 in CFB without) and lengths around the cipher
// blocks and the library's 4096-byte blocks.
TEST_F(CliCommands, EveryFormAndLengthDecryptsExactly) {
  const bool gost = Shell(
      "openssl engine -t gost && openssl req -engine gost -x509 -newkey gost2012_256 -pkeyopt"
      " paramset:A -nodes -subj /CN=Gost -days 1 -keyout " +
      P("Gost.key") + " -out " + P("Gost.crt"));
  for (const std::string cipher : {"-aes128", "-aes256", "-des3", "-gost89"}) {
    const std::string who = cipher == "-gost89" ? "Gost" : "Tester",
                      engine = who == "Gost" ? "-engine gost " : "";
    if (who == "Gost" && !gost) continue;
    for (const std::string form : {"", "-stream "}) {
      for (size_t size : {0, 1, 15, 16, 17, 4095, 4096, 4097, 8192, 100000}) {
        SCOPED_TRACE(cipher + " " + form + std::to_string(size));
        const Bytes plain = Pattern(size, static_cast<unsigned>(size) + 3);
        WriteBytes(P("plain.in"), plain);
        std::remove(P("sealed.der").c_str());
        Shell("openssl cms " + engine + "-encrypt -binary " + form + cipher + " -outform DER -in " +
              P("plain.in") + " -out " + P("sealed.der") + " " + P(who + ".crt"));
        // The gost engine makes no streamed message of empty content.
        if (ReadBytes(P("sealed.der")).empty() && who == "Gost" && size == 0) continue;
        EXPECT_EQ(Tool("decrypt sealed.der -c " + who + ".crt -k " + who + ".key -o plain.out"), 0)
            << Read("err.txt");
        EXPECT_EQ(ReadBytes(P("plain.out")), plain);
      }
    }
  }
}

}  // namespace
}  // namespace cmskit_testing
