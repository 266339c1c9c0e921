// Runs the cmskit tool through a POSIX shell on messages made by openssl at
// test time; skipped where there is no tool, shell or openssl command.
#ifndef CMSKIT_TESTS_CLI_CLI_FIXTURE_H
#define CMSKIT_TESTS_CLI_CLI_FIXTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "common/test_util.h"

namespace cmskit_testing {

class CliTest : public ::testing::Test {
 protected:
  static bool Usable() { return kTool && PLATFORM_PATH_SEPARATOR == '/' && Openssl::Get().ok(); }
  void SetUp() override {
    if (!Usable()) GTEST_SKIP() << "needs the cmskit tool, a POSIX shell and the openssl command";
  }

  // Runs the tool in `dir` (the test folder when empty), reading standard
  // input through a pipe from `input` when given; stdout goes to out.txt and
  // stderr to err.txt of the test folder unless `args` redirects them.
  // Returns the exit status.
  static int Tool(const std::string& args, const std::string& input = "", const std::string& dir = "") {
    std::string command = "cd '" + (dir.empty() ? P("") : dir) + "' && ";
    if (!input.empty()) command += "cat '" + input + "' | ";
    command +=
        "{ " + std::string(kTool) + " " + args + "; } >'" + P("out.txt") + "' 2>'" + P("err.txt") + "'";
    const int raw = std::system(command.c_str());
    return raw > 255 ? raw >> 8 : raw;
  }
  static std::string P(const std::string& name) { return Openssl::Get().Path(name); }
  static std::string Read(const std::string& name) {
    const Bytes bytes = ReadBytes(P(name));
    return std::string(bytes.begin(), bytes.end());
  }
  static size_t Lines(const std::string& text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
  }
};

}  // namespace cmskit_testing

#endif
