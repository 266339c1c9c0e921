#include "commands.h"

#include <cmskit/cmskit.h>

#include <cstdio>
#include <memory>

#include "argument_checks.h"
#include "cli_error.h"
#include "describe.h"
#include "input_file.h"
#include "loaded_message.h"
#include "output_file.h"

namespace cmskit_cli {

namespace {

constexpr uint32_t kBadTag = 0x8009310B;
constexpr uint32_t kInvalidData = 13;
constexpr uint64_t kNoOffset = UINT64_MAX;

cmskit::SignData& RequireSigned(LoadedMessage& message) {
  if (!message.signedData) throw OperationError(kBadTag, message.name() + " is not a signed message");
  return *message.signedData;
}

uint64_t ContentSize(const cmskit::SignData& message) {
  const cmskit::ToSignStruct64 info = message.GetDataInfo64();
  if (info.flags & cmskit::ToSignStruct::kInFile) return info.end - info.begin;
  return message.encapContentInfo.data.size();
}

// The library writes the message into a file the tool opens for it.
void WriteMessage(LoadedMessage& message, OutputFile& output, const Feedback& feedback, uint64_t expected,
                  const std::string& what) {
  WriteThroughLibrary(output, feedback, expected, [&](const char* path) {
    cmskit::CTOOFile file(path, "wb");
    if (!file.IsOpen()) throw OperationError(cmskit::StatusToWin32(file.GetStatus()), what);
    SetLastError(0);
    if (message.signedData) {
      Check(message.signedData->WriteObject64(file, kNoOffset) != 0, 0, what);
      return;
    }
    int error = 0;
    message.envelopedData->WriteObject64(file, &error);
    Check(error == 0, error, what);
  });
}

}  // namespace

bool CommandType(const std::vector<std::string>& files) {
  CheckFileArguments(files, {});
  std::string report;
  bool allRead = true;
  for (const std::string& file : files) {
    try {
      const InputFile input(file);
      report += input.name() + ": " + TypeName(cmskit::GetFileTypeByContent(input.path().c_str())) + "\n";
    } catch (const OperationError& e) {
      std::fprintf(stderr, "%s\n", ErrorLine("type", e).c_str());
      allRead = false;
    }
  }
  PrintToStandardOutput(report);
  return allRead;
}

void CommandInfo(const std::string& file, bool json) {
  LoadedMessage message(file);
  const nlohmann::ordered_json description =
      message.signedData ? DescribeSigned(*message.signedData) : DescribeEnveloped(*message.envelopedData);
  PrintToStandardOutput(json ? description.dump(2) + "\n" : RenderText(description));
}

void CommandDetach(const std::string& input, const std::string& contentOut, const std::string& messageOut,
                   const Feedback& feedback) {
  CheckFileArguments({input}, {contentOut, messageOut});
  LoadedMessage message(input);
  cmskit::SignData& data = RequireSigned(message);
  OutputFile content(contentOut);
  std::unique_ptr<OutputFile> detached =
      messageOut.empty() ? nullptr : std::make_unique<OutputFile>(messageOut);
  WriteThroughLibrary(content, feedback, ContentSize(data), [&](const char* path) {
    std::string target = path;
    cmskit::ToSignStruct64 out;
    out.flags = cmskit::ToSignStruct::kInFile;
    out.data = &target[0];
    int error = 0;
    Check(data.DetachData64(out, &error), error, "cannot detach the content of " + message.name());
  });
  if (detached) WriteMessage(message, *detached, feedback, 0, "cannot write the detached " + message.name());
  content.Close();
  if (detached) detached->Close();
  content.Commit();
  if (detached) detached->Commit();
}

void CommandAttach(const std::string& detached, const std::string& content, const std::string& output,
                   bool force, const Feedback& feedback) {
  CheckFileArguments({detached, content}, {output});
  LoadedMessage message(detached);
  cmskit::SignData& data = RequireSigned(message);
  const InputFile source(content);
  const uint64_t size = source.size();
  if (!force) CheckAttachedContent(data, message.name(), source.path(), source.name());
  OutputFile target(output);
  std::string path = source.path();
  cmskit::ToSignStruct64 in;
  in.flags = cmskit::ToSignStruct::kInFile;
  in.data = &path[0];
  in.begin = 0;
  in.end = size;
  int error = 0;
  Check(data.AttachData64(in, &error), error, "cannot attach " + source.name() + " to " + message.name());
  WriteMessage(message, target, feedback, size, "cannot attach " + source.name() + " to " + message.name());
  target.Commit();
}

void CommandBase64(const std::string& direction, const std::string& input, const std::string& output,
                   const Feedback& feedback) {
  CheckFileArguments({input}, {output});
  const bool encode = direction == "encode";
  const InputFile source(input);
  OutputFile target(output);
  const std::string what = std::string("cannot ") + direction + " " + source.name();
  WriteThroughLibrary(target, feedback, encode ? source.size() / 3 * 4 : source.size() / 4 * 3,
                      [&](const char* path) {
                        SetLastError(0);
                        if (encode) Check(cmskit::Base64FileEncode(source.path().c_str(), path), 0, what);
                        if (!encode && !cmskit::Base64FileDecode(source.path().c_str(), path))
                          throw OperationError(kInvalidData, what + ": it is not Base64 throughout");
                      });
  target.Commit();
}

void CommandRewrite(const std::string& input, const std::string& output, const Feedback& feedback) {
  CheckFileArguments({input}, {output});
  LoadedMessage message(input);
  OutputFile target(output);
  uint64_t expected = 0;
  if (message.signedData) expected = ContentSize(*message.signedData);
  WriteMessage(message, target, feedback, expected, "cannot rewrite " + message.name());
  target.Commit();
}

}  // namespace cmskit_cli
