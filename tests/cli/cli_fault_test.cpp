// The tool used carelessly: each row is an operation and a hazard (the same
// file in and out, a full device, a missing or read-only folder, a directory
// or truncated input, a wrong key, pipes). Every row runs in a fresh copy of
// one folder; afterwards the folder must hold exactly what it held before
// plus the row's intended results (so inputs are unchanged byte for byte and
// no partial or temporary file is left), and a failure prints exactly one
// line naming the file. The rows are in cli/faults.txt.
#include <filesystem>
#include <map>
#include <sstream>

#include "cli/cli_fixture.h"
#include "common/table.h"

namespace cmskit_testing {
namespace {

namespace fs = std::filesystem;

// Every file and folder under `dir` by relative name; folders end in '/'.
using Folder = std::map<std::string, Bytes>;

Folder Snapshot(const std::string& dir) {
  Folder out;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(dir)) {
    const std::string name = fs::relative(entry.path(), dir).string();
    out[entry.is_directory() ? name + "/" : name] =
        entry.is_directory() ? Bytes() : ReadBytes(entry.path().string());
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

// A field of the table, empty when the row stops before it.
std::string Field(const Row& row, size_t i) { return i < row.fields.size() ? row[i] : ""; }

// The row's arguments with $key spelled out, its results as file and key.
std::string Args(const Row& row) {
  std::string args = row[0];
  for (size_t at; (at = args.find("$key")) != std::string::npos;)
    args.replace(at, 4, " -c Tester.crt -k Tester.key -o ");
  return args;
}
std::map<std::string, std::string> Results(const std::string& field) {
  std::map<std::string, std::string> out;
  std::stringstream pairs(field);
  for (std::string pair; std::getline(pairs, pair, ',');)
    out[pair.substr(0, pair.find('='))] = pair.substr(pair.find('=') + 1);
  return out;
}

TEST_F(CliFaults, EveryRowLeavesTheFolderAsIntended) {
  const std::string work = P("work");
  const Table rows("cli/faults.txt");
  for (const Row& row : rows.Rows()) {
    const std::string args = Args(row), input = Field(row, 4);
    SCOPED_TRACE(row.where + " " + args);
    if (Field(row, 6) == "ro" && !permissionsHold_) {
      std::printf("skipped \"%s\": permissions do not hold here (running as root)\n", args.c_str());
      continue;
    }
    fs::remove_all(work);
    fs::copy(P("template"), work, fs::copy_options::recursive);
    Folder expected = Snapshot(work);
    Protect(work, true);
    for (const auto& [file, key] : Results(Field(row, 3))) expected[file] = Expected(key);
    const int status = Tool(args, input.empty() ? "" : work + "/" + input, work);
    Protect(work, false);

    const std::string err = Read("err.txt");
    EXPECT_EQ(status, std::stoi(row[1])) << err;
    EXPECT_EQ(Lines(err), row[1] == "0" ? 0u : 1u) << err;
    EXPECT_NE(err.find(Field(row, 2)), std::string::npos) << err;
    EXPECT_EQ(Snapshot(work), expected);
    std::string out = Field(row, 5);
    if (out.empty()) continue;
    if (out.size() > 2 && out.compare(out.size() - 2, 2, "\\n") == 0) out.replace(out.size() - 2, 2, "\n");
    EXPECT_EQ(ReadBytes(P("out.txt")), out[0] == '=' ? Text(out.substr(1)) : Expected(out));
  }
}

}  // namespace
}  // namespace cmskit_testing
