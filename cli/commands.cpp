#include "commands.h"

#include <cmskit/cmskit.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <vector>

#include "cli_error.h"
#include "describe.h"
#include "loaded_message.h"
#include "progress.h"
#include "recipient_key.h"

namespace cmskit_cli {

namespace {

uint64_t FileSize(const std::string& path) {
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(path, error);
  return error ? 0 : size;
}

cmskit::SignData& RequireSigned(LoadedMessage& message, const std::string& path) {
  if (!message.signedData) throw OperationError(0x8009310B, path + " is not a signed message");
  return *message.signedData;
}

cmskit::CTOOFile OpenForWriting(const std::string& path) {
  cmskit::CTOOFile file(path.c_str(), "wb");
  if (!file.IsOpen()) throw OperationError(cmskit::StatusToWin32(file.GetStatus()), "cannot create " + path);
  return file;
}

void WriteSigned(cmskit::SignData& message, const std::string& output) {
  cmskit::CTOOFile file = OpenForWriting(output);
  SetLastError(0);
  const DWORD written = message.WriteObject(file, 0);
  Check(written != 0, 0, "cannot write " + output);
}

// A CBC plaintext streamed to a file keeps its padding block when the
// ciphertext fills whole 4096-byte blocks (no final decryption happens
// then); take a valid PKCS #7 padding off the end.
void RemoveLeftoverPadding(cmskit::EnvelopedData& message, const std::string& output) {
  cmskit::EncryptedContentInfo& content = message.encryptedContentInfo;
  const std::string algorithm(reinterpret_cast<const char*>(content.contentEncryptionAlgorithm.id.data()),
                              content.contentEncryptionAlgorithm.id.size());
  if (cmskit::IsGostAlg(algorithm.c_str()) || content.GetOpenTextSize() == 0 ||
      content.GetOpenTextSize() % 4096 != 0)
    return;
  const uint64_t size = FileSize(output);
  std::ifstream in(output, std::ios::binary);
  in.seekg(static_cast<std::streamoff>(size - 1));
  const int pad = in.get();
  if (pad < 1 || pad > 16 || static_cast<uint64_t>(pad) > size) return;
  std::vector<char> tail(static_cast<size_t>(pad));
  in.seekg(static_cast<std::streamoff>(size - static_cast<uint64_t>(pad)));
  in.read(tail.data(), pad);
  for (char c : tail) {
    if (static_cast<unsigned char>(c) != pad) return;
  }
  in.close();
  std::filesystem::resize_file(output, size - static_cast<uint64_t>(pad));
}

}  // namespace

void CommandType(const std::vector<std::string>& files) {
  for (const std::string& file : files) {
    if (!cmskit::FileExists(file.c_str())) throw OperationError(2, "cannot read " + file);
    std::cout << file << ": " << TypeName(cmskit::GetFileTypeByContent(file.c_str())) << "\n";
  }
}

void CommandInfo(const std::string& file, bool json) {
  LoadedMessage message(file);
  const nlohmann::ordered_json description =
      message.signedData ? DescribeSigned(*message.signedData) : DescribeEnveloped(*message.envelopedData);
  if (json)
    std::cout << description.dump(2) << "\n";
  else
    std::cout << RenderText(description);
}

void CommandDetach(const std::string& input, const std::string& contentOut, const std::string& messageOut) {
  LoadedMessage message(input);
  cmskit::SignData& data = RequireSigned(message, input);
  std::string target = contentOut;
  cmskit::ToSignStruct out;
  out.flags = cmskit::ToSignStruct::kInFile;
  out.data = &target[0];
  int error = 0;
  RunWithProgress([&] { Check(data.DetachData(out, &error), error, "cannot detach the content"); },
                  contentOut, FileSize(input));
  if (!messageOut.empty()) WriteSigned(data, messageOut);
}

void CommandAttach(const std::string& detached, const std::string& content, const std::string& output) {
  LoadedMessage message(detached);
  cmskit::SignData& data = RequireSigned(message, detached);
  if (!cmskit::FileExists(content.c_str())) throw OperationError(2, "cannot read " + content);
  const uint64_t size = FileSize(content);
  if (size >= 0xFFFFFFFFull)
    throw OperationError(0x80092003, content + " is larger than a message can carry");
  std::string source = content;
  cmskit::ToSignStruct in;
  in.flags = cmskit::ToSignStruct::kInFile;
  in.data = &source[0];
  in.begin = 0;
  in.end = static_cast<DWORD>(size);
  int error = 0;
  Check(data.AttachData(in, &error), error, "cannot attach " + content);
  RunWithProgress([&] { WriteSigned(data, output); }, output, size);
}

void CommandDecrypt(const std::string& input, const std::string& certificate, const std::string& key,
                    const std::string& output) {
  LoadedMessage message(input);
  if (!message.envelopedData) throw OperationError(0x8009310B, input + " is not an enveloped message");
  cmskit::EnvelopedData& data = *message.envelopedData;
  MessageInput certificateDer(certificate, MessageInput::Kind::Certificate);
  RecipientKey recipient(certificateDer.path(), key);
  HCRYPTKEY contentKey = 0;
  int error = 0;
  PCCERT_CONTEXT cert = recipient.certificate();
  const HCRYPTPROV provider = recipient.provider();
  cmskit::ASNAlgorithmIdentifier algorithm = data.encryptedContentInfo.contentEncryptionAlgorithm;
  const int imported = data.GetEncryptionKey(cert, provider, contentKey, algorithm, &error);
  Check(imported == 1, error, "no recipient of the message matches the certificate's key");
  struct KeyGuard {
    HCRYPTKEY key;
    ~KeyGuard() { CryptDestroyKey(key); }
  } guard{contentKey};
  Check(cmskit::DecryptKeyParam(contentKey, algorithm), 0, "cannot apply the content algorithm's parameters");
  std::string target = output;
  cmskit::ToSignStruct out;
  out.flags = cmskit::ToSignStruct::kInFile;
  out.data = &target[0];
  RunWithProgress(
      [&] { Check(cmskit::DecryptContent(contentKey, data.encryptedContentInfo, out), 0, "cannot decrypt"); },
      output, data.encryptedContentInfo.GetOpenTextSize());
  RemoveLeftoverPadding(data, output);
}

void CommandBase64(const std::string& direction, const std::string& input, const std::string& output) {
  if (!cmskit::FileExists(input.c_str())) throw OperationError(2, "cannot read " + input);
  const bool encode = direction == "encode";
  RunWithProgress(
      [&] {
        const bool ok = encode ? cmskit::Base64FileEncode(input.c_str(), output.c_str())
                               : cmskit::Base64FileDecode(input.c_str(), output.c_str());
        Check(ok, 0, std::string("cannot ") + direction + " " + input);
      },
      output, encode ? FileSize(input) * 4 / 3 : FileSize(input) * 3 / 4);
}

void CommandRewrite(const std::string& input, const std::string& output) {
  LoadedMessage message(input);
  if (message.signedData) {
    WriteSigned(*message.signedData, output);
    return;
  }
  cmskit::CTOOFile file = OpenForWriting(output);
  int error = 0;
  message.envelopedData->WriteObject(file, &error);
  Check(error == 0, error, "cannot write " + output);
}

}  // namespace cmskit_cli
