// cmskit: inspect and act on CMS signed and enveloped message files.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>
#include <vector>

#include <cmskit/cmskit.h>

#include "cli_error.h"
#include "commands.h"

#ifndef CMSKIT_VERSION
#define CMSKIT_VERSION "unknown"
#endif

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

struct Arguments {
  std::vector<std::string> files;
  std::string input, output, content, certificate, key, messageOut, direction;
  bool json = false;
};

void AddSubcommands(CLI::App& app, Arguments& a) {
  using namespace cmskit_cli;
  auto* type = app.add_subcommand("type", "Print what each file holds (DER or Base64)");
  type->add_option("FILE", a.files, "Message files")->required();
  type->callback([&] { CommandType(a.files); });

  auto* info = app.add_subcommand("info", "Describe a signed or enveloped message");
  info->add_option("FILE", a.input, "Message file")->required();
  info->add_flag("--json", a.json, "Print JSON");
  info->callback([&] { CommandInfo(a.input, a.json); });

  auto* detach = app.add_subcommand("detach", "Take the content out of a signed message");
  detach->add_option("IN", a.input, "Signed message with content")->required();
  detach->add_option("OUT-CONTENT", a.content, "File for the content")->required();
  detach->add_option("-o,--output", a.messageOut, "Also write the detached message here");
  detach->callback([&] { CommandDetach(a.input, a.content, a.messageOut); });

  auto* attach = app.add_subcommand("attach", "Put content into a detached signed message");
  attach->add_option("DETACHED-MESSAGE", a.input, "Signed message without content")->required();
  attach->add_option("CONTENT", a.content, "Content file")->required();
  attach->add_option("-o,--output", a.output, "Signed message with content")->required();
  attach->callback([&] { CommandAttach(a.input, a.content, a.output); });

  auto* decrypt = app.add_subcommand("decrypt", "Decrypt an enveloped message, file to file");
  decrypt->add_option("IN", a.input, "Enveloped message")->required();
  decrypt->add_option("-c,--cert", a.certificate, "Recipient certificate (DER or PEM)")->required();
  decrypt->add_option("-k,--key", a.key, "Recipient private key file (on Windows: found through the store)");
  decrypt->add_option("-o,--output", a.output, "Plaintext file")->required();
  decrypt->callback([&] { CommandDecrypt(a.input, a.certificate, a.key, a.output); });

  auto* base64 = app.add_subcommand("base64", "Convert a message file between DER and Base64");
  base64->add_option("DIRECTION", a.direction, "encode or decode")
      ->required()
      ->check(CLI::IsMember({"encode", "decode"}));
  base64->add_option("IN", a.input, "Source file")->required();
  base64->add_option("OUT", a.output, "Target file")->required();
  base64->callback([&] { CommandBase64(a.direction, a.input, a.output); });

  auto* rewrite = app.add_subcommand("rewrite", "Read a message and write it back (round-trip check)");
  rewrite->add_option("IN", a.input, "Message file")->required();
  rewrite->add_option("OUT", a.output, "Rewritten message")->required();
  rewrite->callback([&] { CommandRewrite(a.input, a.output); });
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"cmskit: inspect and act on CMS (PKCS #7) signed and enveloped messages"};
  app.set_version_flag("--version", std::string("cmskit ") + CMSKIT_VERSION);
  app.require_subcommand(1);
  Arguments arguments;
  AddSubcommands(app, arguments);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int code = app.exit(e);
    return code == 0 ? 0 : kExitUsage;
  } catch (const cmskit_cli::OperationError& e) {
    std::fprintf(stderr, "cmskit: %s: %s\n", e.what(), cmskit_cli::FormatCode(e.code()).c_str());
    return kExitFailed;
  } catch (const cmskit::XTOOStatus& e) {
    std::fprintf(stderr, "cmskit: failed: %s\n",
                 cmskit_cli::FormatCode(cmskit::StatusToWin32(e.GetStatus())).c_str());
    return kExitFailed;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "cmskit: %s\n", e.what());
    return kExitFailed;
  }
  return 0;
}
