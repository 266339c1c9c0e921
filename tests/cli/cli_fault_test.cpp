// The tool used carelessly: each row is an operation and a hazard (the same
// file in and out, a full device, a missing or read-only folder, a directory
// or truncated input, a wrong key, pipes). Every row runs in a fresh copy of
// one folder; afterwards the folder must hold exactly what it held before
// plus the row's intended results (so inputs are unchanged byte for byte and
// no partial or temporary file is left), and a failure prints exactly one
// line naming the file.
#include <filesystem>
#include <map>

#include "cli/cli_fixture.h"

namespace cmskit_testing {
namespace {

namespace fs = std::filesystem;

// Every file and folder under `dir` by relative name; folders end in '/'.
using Folder = std::map<std::string, Bytes>;

Folder Snapshot(const std::string& dir) {
  Folder out;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(dir)) {
    const std::string name = fs::relative(entry.path(), dir).string();
    if (entry.is_directory())
      out[name + "/"] = Bytes();
    else
      out[name] = ReadBytes(entry.path().string());
  }
  return out;
}

class CliFaults : public CliTest {
 protected:
  static void SetUpTestSuite() {
    if (!Usable()) return;
    Openssl& s = Openssl::Get();
    const std::string t = P("template") + "/";
    fs::create_directories(t + "dir");
    fs::create_directories(t + "ro");
    const Bytes content = Pattern(5000, 7);
    WriteBytes(t + "c.bin", content);
    WriteBytes(t + "m.der", s.Make(content, "cms -sign +Tester -nodetach"));
    WriteBytes(t + "d.der", s.Make(content, "cms -sign +Tester"));
    WriteBytes(t + "e.der", s.Make(content, "cms -encrypt -aes128 @Tester"));
    WriteBytes(t + "s.der", s.Make(content, "cms -encrypt -aes256 -stream @Tester"));
    Bytes damaged = ReadBytes(t + "s.der");
    // The last cipher block ends where the closing end-of-contents octets begin.
    size_t last = damaged.size() - 1;
    while (damaged[last] == 0) --last;
    damaged[last - 3] ^= 0x55;
    WriteBytes(t + "bad.der", damaged);
    const Bytes signedBytes = ReadBytes(t + "m.der");
    WriteBytes(t + "t.der", Bytes(signedBytes.begin(), signedBytes.begin() + 2000));
    s.Cert("Stranger");
    Shell(
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 1 -subj /CN=E"
        " -keyout " +
        P("E.key") + " -out " + P("E.crt"));
    WriteBytes(t + "kari.der", s.Make(content, "cms -encrypt -aes128 @Tester @E"));
    WriteBytes(t + "pwri.der", s.Make(content, "cms -encrypt -aes128 -pwri_password secret"));
    WriteBytes(t + "kekri.der", s.Make(content,
                                       "cms -encrypt -aes128 -secretkey 000102030405060708090A0B0C0D0E0F"
                                       " -secretkeyid 0102"));
    for (const char* name : {"Tester.crt", "Tester.key", "Stranger.crt", "Stranger.key"})
      fs::copy_file(P(name), t + name);
    Shell("base64 -w0 " + t + "m.der > " + t + "m.b64");
    // The results the tool gives with separate input and output files: what
    // it must give with the same file in and out too.
    Tool("rewrite m.der " + P("rewritten"), "", t);
    Tool("detach m.der " + P("ignored") + " -o " + P("detached"), "", t);
    Tool("attach d.der c.bin -o " + P("attached"), "", t);
    fs::copy_file(t + "m.der", t + "locked.der");
    // Root writes into read-only folders: the rows that need one are skipped.
    Protect(t, true);
    permissionsHold_ = !Shell("touch " + t + "ro/probe");
    fs::remove(t + "ro/probe");
    Protect(t, false);
  }

  // A read-only folder ro/ and an unreadable file locked.der, or both open
  // again (to be copied, compared and removed).
  static void Protect(const std::string& dir, bool on) {
    fs::permissions(dir + "/ro", on ? fs::perms::owner_read | fs::perms::owner_exec : fs::perms::owner_all);
    fs::permissions(dir + "/locked.der",
                    on ? fs::perms::none : fs::perms::owner_read | fs::perms::owner_write);
  }

  // The bytes a row's result must have: a template file or a result above.
  static Bytes Expected(const std::string& key) {
    const std::string made = P(key);
    return ReadBytes(fs::exists(made) ? made : P("template/" + key));
  }

  static bool permissionsHold_;
};

bool CliFaults::permissionsHold_ = false;

struct Row {
  std::string args;
  int status;
  std::string named;                                         // in the one error line
  std::vector<std::pair<std::string, std::string>> results;  // file, expected bytes
  std::string input = "";                                    // piped to standard input
  std::string standardOutput = "";                           // expected bytes, or "=" and text
  bool permissions = false;                                  // needs ro/ and locked.der to hold
};

const std::string kDecrypt = " -c Tester.crt -k Tester.key -o ";

const Row kRows[] = {
    // The same file in and out: the right result, in place.
    {"rewrite m.der m.der", 0, "", {{"m.der", "rewritten"}}},
    {"base64 encode m.der m.der", 0, "", {{"m.der", "m.b64"}}},
    {"base64 decode m.b64 m.b64", 0, "", {{"m.b64", "m.der"}}},
    {"decrypt e.der" + kDecrypt + "e.der", 0, "", {{"e.der", "c.bin"}}},
    {"decrypt s.der" + kDecrypt + "s.der", 0, "", {{"s.der", "c.bin"}}},
    {"detach m.der m.der", 0, "", {{"m.der", "c.bin"}}},
    {"detach m.der x.bin -o m.der", 0, "", {{"m.der", "detached"}, {"x.bin", "c.bin"}}},
    {"attach d.der c.bin -o c.bin", 0, "", {{"c.bin", "attached"}}},
    {"attach d.der c.bin -o d.der", 0, "", {{"d.der", "attached"}}},
    {"detach m.der x.bin -o x.bin", 2, "x.bin", {}},
    // A full device.
    {"rewrite m.der /dev/full", 1, "/dev/full", {}},
    {"base64 encode m.der /dev/full", 1, "/dev/full", {}},
    {"base64 decode m.b64 /dev/full", 1, "/dev/full", {}},
    {"decrypt e.der" + kDecrypt + "/dev/full", 1, "/dev/full", {}},
    {"detach m.der /dev/full", 1, "/dev/full", {}},
    {"detach m.der x.bin -o /dev/full", 1, "/dev/full", {}},
    {"attach d.der c.bin -o /dev/full", 1, "/dev/full", {}},
    {"info m.der >/dev/full", 1, "standard output", {}},
    // A folder that is missing or read-only.
    {"rewrite m.der no/out", 1, "no/out", {}},
    {"decrypt s.der" + kDecrypt + "no/out", 1, "no/out", {}},
    {"detach m.der x.bin -o no/out", 1, "no/out: 0x00000003 (path not found)", {}},
    {"attach d.der c.bin -o no/out", 1, "no/out", {}},
    {"base64 encode m.der no/out", 1, "no/out", {}},
    {"rewrite m.der ro/out", 1, "ro/out: 0x00000005 (access denied)", {}, "", "", true},
    {"decrypt s.der" + kDecrypt + "ro/out", 1, "ro/out", {}, "", "", true},
    {"detach m.der x.bin -o ro/out", 1, "ro/out", {}, "", "", true},
    // Inputs that are a directory, missing, truncated or damaged.
    {"info dir", 1, "dir: it is a directory", {}},
    {"info locked.der", 1, "locked.der: 0x00000005 (access denied)", {}, "", "", true},
    {"rewrite dir out", 1, "dir: it is a directory", {}},
    {"decrypt dir" + kDecrypt + "out", 1, "dir: it is a directory", {}},
    {"attach d.der dir -o out", 1, "dir: it is a directory", {}},
    {"base64 encode dir out", 1, "dir: it is a directory", {}},
    {"type m.der dir", 1, "dir: it is a directory", {}, "", "=m.der: signed-attached\n"},
    {"type nothing m.der", 1, "nothing: 0x00000002 (file not found)", {}, "", "=m.der: signed-attached\n"},
    {"info t.der", 1, "t.der", {}},
    {"rewrite t.der out", 1, "t.der", {}},
    {"detach t.der out", 1, "t.der", {}},
    {"decrypt bad.der" + kDecrypt + "out", 1, "bad.der: the padding of the last block is wrong", {}},
    // The wrong key or certificate, and recipients the library does not read.
    {"decrypt e.der -c Stranger.crt -k Stranger.key -o out", 1, "e.der: none of its recipients", {}},
    {"decrypt e.der -c Tester.crt -k Stranger.key -o out", 1, "does not unwrap with Stranger.key", {}},
    {"decrypt kari.der" + kDecrypt + "out",
     1,
     "kari.der: key agreement recipient (kari) is not supported",
     {}},
    {"info pwri.der", 1, "pwri.der: password recipient (pwri) is not supported", {}},
    {"info kekri.der", 1, "kekri.der: key encryption key recipient (kekri) is not supported", {}},
    // Pipes in and standard output out.
    {"rewrite - out", 0, "", {{"out", "rewritten"}}, "m.der"},
    {"base64 decode /dev/stdin out", 0, "", {{"out", "m.der"}}, "m.b64"},
    {"decrypt -" + kDecrypt + "out", 0, "", {{"out", "c.bin"}}, "s.der"},
    {"attach d.der - -o out", 0, "", {{"out", "attached"}}, "c.bin"},
    {"detach m.der -", 0, "", {}, "", "c.bin"},
    {"decrypt s.der" + kDecrypt + "-", 0, "", {}, "", "c.bin"},
    {"base64 encode - -", 0, "", {}, "m.der", "m.b64"},
    {"attach d.der c.bin -o -", 0, "", {}, "", "attached"},
};

TEST_F(CliFaults, EveryRowLeavesTheFolderAsIntended) {
  const std::string work = P("work");
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.args);
    if (row.permissions && !permissionsHold_) {
      std::printf("skipped \"%s\": permissions do not hold here (running as root)\n", row.args.c_str());
      continue;
    }
    fs::remove_all(work);
    fs::copy(P("template"), work, fs::copy_options::recursive);
    Folder expected = Snapshot(work);
    Protect(work, true);
    for (const auto& [file, key] : row.results) expected[file] = Expected(key);
    const int status = Tool(row.args, row.input.empty() ? "" : work + "/" + row.input, work);
    Protect(work, false);

    const std::string err = Read("err.txt");
    EXPECT_EQ(status, row.status) << err;
    EXPECT_EQ(Lines(err), row.status == 0 ? 0u : 1u) << err;
    EXPECT_NE(err.find(row.named), std::string::npos) << err;
    EXPECT_EQ(Snapshot(work), expected);
    if (!row.standardOutput.empty()) {
      const std::string& out = row.standardOutput;
      EXPECT_EQ(ReadBytes(P("out.txt")), out[0] == '=' ? Text(out.substr(1)) : Expected(out));
    }
  }
}

}  // namespace
}  // namespace cmskit_testing
