// The tool's sign command on keys of every kind made at test time (GOST
// ones where openssl has the gost engine), checked with the openssl command.
#ifndef CMSKIT_TESTS_MAKE_MAKE_TOOL_FIXTURE_H
#define CMSKIT_TESTS_MAKE_MAKE_TOOL_FIXTURE_H

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>

#include "cli/cli_fixture.h"
#include "common/table.h"

namespace cmskit_testing {

// Key kinds the tool signs with, made at test time.
struct KeyKind {
  const char* name;
  const char* request;  // openssl req options making the key
  bool gost;
};

inline const KeyKind kKeyKinds[] = {{"rsa", "-newkey rsa:2048", false},
                                    {"ec", "-newkey ec -pkeyopt ec_paramgen_curve:P-256", false},
                                    {"g256", "-engine gost -newkey gost2012_256 -pkeyopt paramset:A", true},
                                    {"g512", "-engine gost -newkey gost2012_512 -pkeyopt paramset:A", true}};

class MakeSignTool : public CliTest {
 protected:
  // The key's files, made on first use; false when openssl cannot make it.
  static bool MakeKey(const KeyKind& kind) {
    const std::string crt = P(std::string(kind.name) + ".crt");
    if (!std::filesystem::exists(crt))
      Shell("openssl req -x509 " + std::string(kind.request) + " -nodes -days 1 -subj /CN=" + kind.name +
            " -keyout " + P(std::string(kind.name) + ".key") + " -out " + crt);
    return std::filesystem::exists(crt);
  }
  static std::string Signer(const std::string& name) { return " -c " + name + ".crt -k " + name + ".key"; }
  // The -c/-k options of the signers named in `names`, their keys made;
  // false when one cannot be made.
  static bool Signers(const std::string& names, std::string& options) {
    std::istringstream words(names);
    for (std::string name; words >> name;) {
      const auto kind = std::find_if(std::begin(kKeyKinds), std::end(kKeyKinds),
                                     [&](const KeyKind& k) { return name == k.name; });
      if (kind == std::end(kKeyKinds) || !MakeKey(*kind)) return false;
      options += Signer(name);
    }
    return true;
  }
  // `openssl cms -verify` of `message` against every key made so far; its
  // content (or `content` for a detached one) to out.bin.
  static bool OpensslVerifies(const std::string& message, const std::string& content = "") {
    std::string anchors;
    for (const KeyKind& kind : kKeyKinds) {
      if (std::filesystem::exists(P(std::string(kind.name) + ".crt")))
        anchors += " " + std::string(kind.name) + ".crt";
    }
    std::remove(P("out.bin").c_str());
    return Shell("cd " + P("") + " && cat" + anchors +
                 " > anchors.pem && openssl cms -verify -binary -inform DER" + " -engine gost -in " +
                 message + " -CAfile anchors.pem" + (content.empty() ? "" : " -content " + content) +
                 " -out out.bin" + " || openssl cms -verify -binary -inform DER -in " + message +
                 " -CAfile anchors.pem" + (content.empty() ? "" : " -content " + content) + " -out out.bin");
  }
  // Each row of the section of make/tool.txt fails with its status and one
  // error line, kept.der as it was.
  static void ExpectFailuresKeepTheOutput(const std::string& section) {
    const Table table("make/tool.txt");
    for (const Row& row : table.Rows(section)) {
      WriteBytes(P("kept.der"), Text("kept"));
      EXPECT_EQ(Tool(row[0]), std::stoi(row[1])) << row.where;
      EXPECT_EQ(Lines(Read("err.txt")), 1u) << row.where << Read("err.txt");
      EXPECT_EQ(ReadBytes(P("kept.der")), Text("kept")) << row.where;
    }
  }
};

}  // namespace cmskit_testing

#endif
