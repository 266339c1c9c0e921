// cmskit: inspect and act on CMS signed and enveloped message files.
#include <CLI/CLI.hpp>

#include <cmskit/cmskit.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "cli_error.h"
#include "commands.h"
#include "output_file.h"
#include "standard_streams.h"

#ifndef CMSKIT_VERSION
#define CMSKIT_VERSION "unknown"
#endif

namespace {

using namespace cmskit_cli;

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

constexpr char kFooter[] =
    "Files: \"-\" is standard input or standard output, for every message, content and output\n"
    "argument. Input from a pipe is copied to a temporary file first. A result replaces its file\n"
    "only once the whole operation has succeeded; results to standard output stream out.\n\n"
    "Progress: on a terminal, operations whose output is larger than 64 MiB show a progress bar\n"
    "on standard error; --quiet turns it off.\n\n"
    "Exit status: 0 success, 1 failed operation (one line on standard error), 2 bad usage.\n"
    "'cmskit help SUBCOMMAND' describes one subcommand.";

constexpr char kVerifyFooter[] =
    "Checks, for every signer, that the signer's certificate is in the message or among the --cert\n"
    "files, that the content matches the digest the signer signed, and that the signature holds\n"
    "under the certificate's public key. It shows who made each signature (subject and serial of the\n"
    "certificate). It does NOT decide whether that certificate is to be trusted: no chain, validity\n"
    "period, key usage or revocation is checked. Exit status 0 only when every signer is valid.";

struct Arguments {
  std::vector<std::string> files, certificates, recipients;
  std::string cipher;
  std::string input, output, content, certificate, key, messageOut, direction, topic;
  bool json = false;
  bool quiet = false;
  SignArguments sign;
  bool force = false;
};

// A subcommand and what it does; run() is false when a file could not be
// processed and its error line is already out.
struct Subcommand {
  CLI::App* app;
  std::function<bool()> run;
};
using Subcommands = std::vector<Subcommand>;

// The subcommand of that name; null when there is none.
CLI::App* FindSubcommand(CLI::App& app, const std::string& name) {
  const std::vector<CLI::App*> found =
      app.get_subcommands([&name](CLI::App* sub) { return sub->get_name() == name; });
  return found.empty() ? nullptr : found.front();
}

void PrintHelp(CLI::App& app, const std::string& topic) {
  if (topic.empty()) {
    PrintToStandardOutput(app.get_formatter()->make_help(&app, "cmskit", CLI::AppFormatMode::Normal));
    return;
  }
  const CLI::App* sub = FindSubcommand(app, topic);
  if (!sub) throw UsageError("unknown subcommand '" + topic + "'");
  PrintToStandardOutput(sub->help("cmskit"));
}

void AddInspection(CLI::App& app, Arguments& a, Subcommands& out) {
  auto* type = app.add_subcommand("type", "Print what each file holds (DER or Base64)");
  type->add_option("FILE", a.files, "Message files")->required();
  out.push_back({type, [&] { return CommandType(a.files); }});

  auto* info = app.add_subcommand("info", "Describe a signed or enveloped message");
  info->add_option("FILE", a.input, "Message file")->required();
  info->add_flag("--json", a.json, "Print JSON");
  out.push_back({info, [&] {
                   CommandInfo(a.input, a.json);
                   return true;
                 }});
}

void AddHelp(CLI::App& app, Arguments& a, Subcommands& out) {
  auto* help = app.add_subcommand("help", "Describe the tool, or one subcommand");
  help->add_option("SUBCOMMAND", a.topic, "The subcommand to describe");
  out.push_back({help, [&] {
                   PrintHelp(app, a.topic);
                   return true;
                 }});
}

void AddSigned(CLI::App& app, Arguments& a, Subcommands& out) {
  auto* detach = app.add_subcommand("detach", "Take the content out of a signed message");
  detach->add_option("IN", a.input, "Signed message with content")->required();
  detach->add_option("OUT-CONTENT", a.content, "File for the content")->required();
  detach->add_option("-o,--output", a.messageOut, "Also write the detached message here");
  out.push_back({detach, [&] {
                   CommandDetach(a.input, a.content, a.messageOut, {!a.quiet});
                   return true;
                 }});

  auto* attach = app.add_subcommand("attach", "Put content into a detached signed message");
  attach->add_option("DETACHED-MESSAGE", a.input, "Signed message without content")->required();
  attach->add_option("CONTENT", a.content, "Content file")->required();
  attach->add_option("-o,--output", a.output, "Signed message with content")->required();
  attach->add_flag("--force", a.force, "Attach even content that the signers' message digests do not match");
  out.push_back({attach, [&] {
                   CommandAttach(a.input, a.content, a.output, a.force, {!a.quiet});
                   return true;
                 }});

  auto* sign = app.add_subcommand("sign", "Sign a content file, or add a signer to a signed message");
  sign->add_option("CONTENT", a.sign.content, "Content to sign (with --add: a detached message's content)");
  sign->add_option("--add", a.sign.add, "Add the signers to this signed message")->type_name("MESSAGE");
  sign->add_option("-c,--cert", a.sign.certificates, "Signer certificate (DER or PEM), once per signer")
      ->type_name("CERT");
  sign->add_option("-k,--key", a.sign.keys, "Signer private key file, in the order of the certificates")
      ->type_name("KEY");
  sign->add_flag("--detached", a.sign.detached, "Leave the content out of the message");
  sign->add_option("--digest", a.sign.digest,
                   "Digest algorithm: sha1, sha256, sha384, sha512, gost94, gost2012-256, gost2012-512 "
                   "(default: the one the key calls for)")
      ->type_name("ALG");
  sign->add_flag("--no-attrs", a.sign.noAttributes, "No signed attributes: sign the content digest");
  sign->add_option("-o,--output", a.sign.output, "Signed message")->required()->type_name("OUT");
  out.push_back({sign, [&] {
                   CommandSign(a.sign, {!a.quiet});
                   return true;
                 }});

  auto* verify = app.add_subcommand(
      "verify",
      "Check the signatures of a signed message and show who made them (not whether to trust them)");
  verify->add_option("MESSAGE", a.input, "Signed message")->required();
  verify->add_option("CONTENT", a.content, "The signed content, for a detached signature");
  verify->add_option("--cert", a.certificates, "More certificates to find signers among (DER or PEM)");
  verify->add_flag("--json", a.json, "Print JSON");
  verify->footer(kVerifyFooter);
  out.push_back({verify, [&] { return CommandVerify(a.input, a.content, a.certificates, a.json); }});

  auto* rewrite = app.add_subcommand("rewrite", "Read a message and write it back (round-trip check)");
  rewrite->add_option("IN", a.input, "Message file")->required();
  rewrite->add_option("OUT", a.output, "Rewritten message")->required();
  out.push_back({rewrite, [&] {
                   CommandRewrite(a.input, a.output, {!a.quiet});
                   return true;
                 }});
}

void AddEnvelopedAndFiles(CLI::App& app, Arguments& a, Subcommands& out) {
  auto* decrypt = app.add_subcommand("decrypt", "Decrypt an enveloped message");
  decrypt->add_option("IN", a.input, "Enveloped message")->required();
  decrypt->add_option("-c,--cert", a.certificate, "Recipient certificate (DER or PEM)")->required();
  decrypt->add_option("-k,--key", a.key, "Recipient private key file (on Windows: found through the store)");
  decrypt->add_option("-o,--output", a.output, "Plaintext file")->required();
  out.push_back({decrypt, [&] {
                   CommandDecrypt(a.input, a.certificate, a.key, a.output, {!a.quiet});
                   return true;
                 }});

  auto* encrypt = app.add_subcommand("encrypt", "Encrypt content for certificate holders (DER, one pass)");
  encrypt->add_option("CONTENT", a.content, "Content file")->required();
  encrypt->add_option("-r,--recipient", a.recipients, "Recipient certificate (DER or PEM); repeatable")
      ->required();
  encrypt->add_option("--cipher", a.cipher,
                      "aes128, aes192, aes256, des3 or gost89 (default: gost89 for GOST "
                      "recipients, else aes256)");
  encrypt->add_option("-o,--output", a.output, "Enveloped message")->required();
  out.push_back({encrypt, [&] {
                   CommandEncrypt(a.content, a.recipients, a.cipher, a.output, {!a.quiet});
                   return true;
                 }});

  auto* base64 = app.add_subcommand("base64", "Convert a message file between DER and Base64");
  base64->add_option("DIRECTION", a.direction, "encode or decode")
      ->required()
      ->check(CLI::IsMember({"encode", "decode"}));
  base64->add_option("IN", a.input, "Source file")->required();
  base64->add_option("OUT", a.output, "Target file")->required();
  out.push_back({base64, [&] {
                   CommandBase64(a.direction, a.input, a.output, {!a.quiet});
                   return true;
                 }});
}

// The first word that is not an option: the subcommand the user meant.
std::string SubcommandWord(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word.empty() || word[0] != '-') return word;
  }
  return std::string();
}

// One line: what was wrong and where the help is.
int Usage(const std::string& subcommand, std::string message) {
  for (char& c : message) {
    if (c == '\n') c = ' ';
  }
  while (!message.empty() && message.back() == ' ') message.pop_back();
  const std::string where = subcommand.empty() ? "cmskit" : "cmskit " + subcommand;
  std::fprintf(stderr, "%s: %s (see '%s --help')\n", where.c_str(), message.c_str(), where.c_str());
  return kExitUsage;
}

int Run(const Subcommand& subcommand) {
  const std::string name = subcommand.app->get_name();
  try {
    return subcommand.run() ? 0 : kExitFailed;
  } catch (const OperationError& e) {
    std::fprintf(stderr, "%s\n", ErrorLine(name, e).c_str());
  } catch (const UsageError& e) {
    return Usage(name, e.what());
  } catch (const cmskit::XTOOStatus& e) {
    const OperationError error(cmskit::StatusToWin32(e.GetStatus()), "failed");
    std::fprintf(stderr, "%s\n", ErrorLine(name, error).c_str());
  } catch (const std::exception& e) {
    std::fprintf(stderr, "cmskit %s: %s\n", name.c_str(), e.what());
  }
  return kExitFailed;
}

}  // namespace

int main(int argc, char** argv) {
  ReportBrokenPipes();
  CLI::App app{"cmskit: inspect and act on CMS (PKCS #7) signed and enveloped messages"};
  app.name("cmskit");
  app.set_version_flag("--version", std::string("cmskit ") + CMSKIT_VERSION);
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();
  Arguments arguments;
  app.add_flag("-q,--quiet", arguments.quiet, "No progress bar");
  Subcommands subcommands;
  AddInspection(app, arguments, subcommands);
  AddSigned(app, arguments, subcommands);
  AddEnvelopedAndFiles(app, arguments, subcommands);
  AddHelp(app, arguments, subcommands);

  const std::string word = SubcommandWord(argc, argv);
  if (!word.empty() && !FindSubcommand(app, word)) return Usage("", "unknown subcommand '" + word + "'");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);
    if (dynamic_cast<const CLI::RequiredError*>(&e) && word.empty())
      return Usage("", "a subcommand is required");
    return Usage(word, e.what());
  }
  for (const Subcommand& subcommand : subcommands) {
    if (subcommand.app->parsed()) return Run(subcommand);
  }
  return Usage("", "a subcommand is required");
}
