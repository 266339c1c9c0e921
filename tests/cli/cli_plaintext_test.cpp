// decrypt gives exactly the plaintext for every content form openssl makes
// (one definite string, or pieces with -stream), every cipher family (CBC
// with its padding, GOST 28147-89 in CFB without) and lengths around the
// cipher blocks and the library's 4096-byte blocks.
#include "cli/cli_fixture.h"

namespace cmskit_testing {
namespace {

class CliPlaintext : public CliTest {};

TEST_F(CliPlaintext, EveryFormAndLengthDecryptsExactly) {
  Openssl& s = Openssl::Get();
  const bool gost = Shell("openssl engine -t gost") &&
                    Shell(
                        "openssl req -engine gost -x509 -newkey gost2012_256 -pkeyopt paramset:A -nodes"
                        " -subj /CN=Gost -days 1 -keyout " +
                        P("Gost.key") + " -out " + P("Gost.crt"));
  if (!gost) std::printf("GOST rows skipped: the gost engine cannot be loaded\n");
  s.Cert("Tester");
  for (const char* cipher : {"-aes128", "-aes256", "-des3", "-gost89"}) {
    const std::string who = cipher == std::string("-gost89") ? "Gost" : "Tester";
    if (who == "Gost" && !gost) continue;
    for (const char* form : {"", "-stream "}) {
      for (size_t size : {0, 1, 15, 16, 17, 4095, 4096, 4097, 8192, 100000}) {
        SCOPED_TRACE(std::string(cipher) + " " + form + std::to_string(size));
        const Bytes plain = Pattern(size, static_cast<unsigned>(size) + 3);
        WriteBytes(P("plain.in"), plain);
        std::remove(P("sealed.der").c_str());
        Shell("openssl cms " + std::string(who == "Gost" ? "-engine gost " : "") + "-encrypt -binary " +
              form + cipher + " -outform DER -in " + P("plain.in") + " -out " + P("sealed.der") + " " +
              P(who + ".crt"));
        // The gost engine makes no streamed message of empty content.
        if (ReadBytes(P("sealed.der")).empty() && who == "Gost" && size == 0) continue;
        ASSERT_FALSE(ReadBytes(P("sealed.der")).empty());
        std::remove(P("plain.out").c_str());
        EXPECT_EQ(Tool("decrypt sealed.der -c " + who + ".crt -k " + who + ".key -o plain.out"), 0)
            << Read("err.txt");
        EXPECT_EQ(ReadBytes(P("plain.out")), plain);
      }
    }
  }
}

}  // namespace
}  // namespace cmskit_testing
