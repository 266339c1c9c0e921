// Messages beyond 4 GiB as sparse files, their output checked as it streams,
// never stored; the 32-bit members must say "too large" for them.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "common/test_util.h"
#include "enveloped/enveloped_test_util.h"
#include "make/library_verdicts.h"
#include "make/test_signer.h"

namespace cmskit_testing {
namespace {

using namespace cmskit;

constexpr uint64_t kGiB = uint64_t{1} << 30;
// The size whose output is also compared octet for octet as it streams.
constexpr uint64_t kStreamedSize = 4 * kGiB + 1024;
const Bytes kHeadMark = Hex("48 45 41 44 5F 4D 41 52");  // the content's first octets
const Bytes kTailMark = Hex("54 41 49 4C 5F 4D 41 52");  // and its last

bool OnPosix() { return PLATFORM_PATH_SEPARATOR == '/'; }
const char* NullDevice() { return OnPosix() ? "/dev/null" : "NUL"; }
template <class Range = ToSignStruct64>
Range InFile(const char* path) {
  Range range;
  range.flags = ToSignStruct::kInFile;
  range.data = const_cast<char*>(path);
  return range;
}

// The octets before `inner` unheld ones nested in `levels`, innermost first:
// each a tag, the octets before what it wraps and how many follow it.
struct Level {
  BYTE tag;
  Bytes before;
  uint64_t after = 0;
};
Bytes Nest(uint64_t inner, std::initializer_list<Level> levels) {
  Bytes prefix;
  for (const Level& level : levels) {
    const uint64_t contents = level.before.size() + inner + level.after;
    prefix = Cat({{level.tag}, DerLength(contents), level.before, prefix});
    inner = contents + 1 + DerLength(contents).size();
  }
  return prefix;
}

// `head`, then a hole up to `size` - `tail`, then `tail`.
void WriteSparse(const std::string& path, const Bytes& head, uint64_t size, const Bytes& tail) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(head.data()), static_cast<std::streamsize>(head.size()));
  out.seekp(static_cast<std::streamoff>(size - tail.size()));
  out.write(reinterpret_cast<const char*>(tail.data()), static_cast<std::streamsize>(tail.size()));
}

// What every reader of the content must see: the marks at both ends, zeros between.
class ContentCheck : public cmskit::ContentSink {
 public:
  explicit ContentCheck(uint64_t size) : size_(size) {}
  bool Take(const BYTE* data, size_t length) override {
    for (size_t i = 0; i < length; ++i, ++seen_) {
      const uint64_t fromEnd = size_ - seen_;
      const BYTE expected = seen_ < kHeadMark.size()      ? kHeadMark[seen_]
                            : fromEnd <= kTailMark.size() ? kTailMark[kTailMark.size() - fromEnd]
                                                          : 0;
      wrong_ |= data[i] != expected;
    }
    return true;
  }
  bool Good() const { return seen_ == size_ && !wrong_; }

 private:
  uint64_t size_, seen_ = 0;
  bool wrong_ = false;
};

// A named pipe whose reader hands everything written to it to `consume`,
// on a thread of its own; POSIX only (mkfifo through the shell).
class Pipe {
 public:
  template <class Consume>
  Pipe(const std::string& path, Consume consume) : path_(path) {
    if (!(ok_ = Shell("mkfifo '" + path + "'"))) return;
    reader_ = std::thread([this, consume]() mutable {
      std::ifstream in(path_, std::ios::binary);
      std::vector<char> block(1 << 20);
      while (in.read(block.data(), static_cast<std::streamsize>(block.size())) || in.gcount() > 0)
        consume(reinterpret_cast<const BYTE*>(block.data()), static_cast<size_t>(in.gcount()));
    });
  }
  ~Pipe() { Join(); }
  bool ok() const { return ok_; }
  void Join() {
    if (reader_.joinable()) reader_.join();
  }

 private:
  std::string path_;
  bool ok_ = false;
  std::thread reader_;
};

// SignedData around `contentSize` octets, a stand-in certificate and signer info after them.
struct SparseSigned {
  Bytes prefix, trailer = Hex("A0 05 30 03 02 01 07 31 05 30 03 02 01 01");
  uint64_t contentSize, total;

  explicit SparseSigned(uint64_t size) : contentSize(size) {
    prefix = Nest(size,
                  {{0x04, {}},
                   {0xA0, {}},
                   {0x30, Hex("06 09 2A 86 48 86 F7 0D 01 07 01")},
                   {0x30, Hex("02 01 01 31 0F 30 0D 06 09 60 86 48 01 65 03 04 02 01 05 00"), trailer.size()},
                   {0xA0, {}},
                   {0x30, Hex("06 09 2A 86 48 86 F7 0D 01 07 02")}});
    total = prefix.size() + size + trailer.size();
  }
  void Write(const std::string& path) const {
    WriteSparse(path, Cat({prefix, kHeadMark}), total, Cat({kTailMark, trailer}));
  }
};

class LargeMessages : public ::testing::TestWithParam<uint64_t> {
 protected:
  TempDir dir_;
};

TEST_P(LargeMessages, SignedThroughTheWideMembers) {
  const SparseSigned shape(GetParam());
  const std::string path = dir_.Path("large.p7s");
  shape.Write(path);
  EXPECT_EQ(cmskit::GetFileTypeByContent(path.c_str()), cmskit::CmsFileSignedAttached);

  CTOOFile file(path.c_str(), "rb");
  SignData message;
  int error = -1;
  ASSERT_EQ(message.ReadObject64(file, 0, &error), shape.total);
  ASSERT_EQ(error, 0);
  const ToSignStruct64 range = message.GetDataInfo64();
  EXPECT_EQ(range.flags, ToSignStruct::kInFile);
  EXPECT_EQ(range.begin, shape.prefix.size());
  EXPECT_EQ(range.end, shape.prefix.size() + shape.contentSize);
  EXPECT_EQ(message.signerInfos.size(), 1u);
  // The 32-bit members cannot tell this message's offsets.
  SignData narrow;
  EXPECT_EQ(narrow.ReadObject(file, 0, &error), 0u);
  EXPECT_EQ(static_cast<DWORD>(error), cmskit::kErrorFileTooLarge);
  ToSignStruct out;
  EXPECT_FALSE(message.DetachData(out, &error));
  EXPECT_EQ(static_cast<DWORD>(error), cmskit::kErrorFileTooLarge);
  CTOOFile sink(NullDevice(), "wb");
  SetLastError(0);
  EXPECT_EQ(message.WriteObject(sink, 0xFFFFFFFF), 0u);
  EXPECT_EQ(GetLastError(), cmskit::kErrorFileTooLarge);

  ContentCheck content(shape.contentSize);
  EXPECT_TRUE(message.StreamContent(content, &error));
  EXPECT_TRUE(content.Good());
  EXPECT_EQ(message.WriteObject64(sink, UINT64_MAX), shape.total);
  ToSignStruct64 detached = InFile(NullDevice());
  ASSERT_TRUE(message.DetachData64(detached, &error)) << error;
  EXPECT_EQ(detached.end, shape.contentSize);
  EXPECT_EQ(message.GetDataInfo64().flags, 0u);
}

TEST_P(LargeMessages, AttachingALargeContentFile) {
  const std::string content = dir_.Path("content.bin");
  WriteSparse(content, kHeadMark, GetParam(), kTailMark);
  SignData message;
  message.digestAlgorithms.push_back(
      cmskit::ASNAlgorithmIdentifier("2.16.840.1.101.3.4.2.1", cmskit::IdentObj()));
  message.certificates.push_back(Obj(Hex("30 03 02 01 07")));
  message.signerInfos.push_back(Obj(Hex("30 03 02 01 01")));
  ToSignStruct64 in = InFile(content.c_str());
  in.end = ToSignStruct64::kToEndOfFile;
  int error = -1;
  ASSERT_TRUE(message.AttachData64(in, &error));
  const SparseSigned shape(GetParam());
  CTOOFile sink(NullDevice(), "wb");
  SetLastError(0);
  EXPECT_EQ(message.WriteObject(sink, 0xFFFFFFFF), 0u);
  EXPECT_EQ(GetLastError(), cmskit::kErrorFileTooLarge);
  EXPECT_EQ(message.GetDataInfo64().end, ToSignStruct64::kToEndOfFile);
  // The same layout as the sparse message.
  EXPECT_EQ(message.WriteObject64(sink, UINT64_MAX), shape.total);
  EXPECT_EQ(message.GetDataInfo64().end, GetParam());
  ContentCheck streamed(GetParam());
  EXPECT_TRUE(message.StreamContent(streamed, &error));
  EXPECT_TRUE(streamed.Good());
}

// detach and rewrite compared with the content's range and the message as they stream.
TEST_P(LargeMessages, TheToolStreamsThem) {
  if (!kTool || !OnPosix() || !Shell("command -v bash cmp tail head"))
    GTEST_SKIP() << "needs the cmskit tool and a POSIX shell with bash, cmp, tail and head";
  const SparseSigned shape(GetParam());
  const std::string path = dir_.Path("large.p7s"), out = dir_.Path("out.txt");
  shape.Write(path);
  const std::string tool = std::string(kTool) + " --quiet ";
  const auto run = [&](const std::string& command) {
    return std::system(("bash -c '" + command + "' >'" + out + "' 2>&1").c_str()) == 0;
  };
  ASSERT_TRUE(run(tool + "type " + path));
  EXPECT_EQ(ReadBytes(out), Text(path + ": signed-attached\n"));
  ASSERT_TRUE(run(tool + "info --json " + path));
  const Bytes json = ReadBytes(out);
  EXPECT_LT(Find(json, Text("\"size\": " + std::to_string(GetParam()))), json.size());
  // One size is enough to stream: the offsets are past 4 GiB in both.
  if (GetParam() != kStreamedSize) return;
  const std::string content = "<(tail -c +" + std::to_string(shape.prefix.size() + 1) + " " + path +
                              " | head -c " + std::to_string(GetParam()) + ")";
  EXPECT_TRUE(run("cmp <(" + tool + "detach " + path + " -) " + content));
  EXPECT_TRUE(run("cmp <(" + tool + "rewrite " + path + " -) " + path));
}

INSTANTIATE_TEST_SUITE_P(Sizes, LargeMessages, ::testing::Values(kStreamedSize, 6 * kGiB));

// AES-128 content of zeros past 4 GiB, encrypted here, decrypts file to file
// (through a pipe, checked as it passes).
TEST(LargeEnveloped, DecryptsContentPast4GiB) {
  using namespace cmskit::test;
  TempDir dir;
  const uint64_t plain = kStreamedSize, cipher = plain + 16;
  std::error_code error;
  const auto space = std::filesystem::space(dir.Path(""), error);
  const uint64_t needed = cipher + kGiB + (OnPosix() ? 0 : plain);
  if (error || space.available < needed)
    GTEST_SKIP() << "needs " << needed / kGiB << " GiB free for the encrypted content and its plaintext";
  ProviderHandle prov;
  ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, prov));
  const Bytes keyBytes = Pattern(16, 7), iv = Pattern(16, 8);
  KeyHandle key(ImportPlainKey(prov.handle, CALG_AES_128, keyBytes));
  ASSERT_TRUE(key.handle && CryptSetKeyParam(key.handle, KP_IV, iv.data(), 0));
  const Bytes algorithm = El(0x30, Hex("06 09 60 86 48 01 65 03 04 01 02"), Tlv(0x04, iv));
  const Bytes recipients = El(0x31, El(0x30, Hex("02 01 00"), El(0x30, Hex("30 00 02 01 01")),
                                       Hex("30 0D 06 09 2A 86 48 86 F7 0D 01 01 01 05 00"), Hex("04 01 00")));
  const Bytes prefix = Nest(cipher, {{0x80, {}},
                                     {0x30, Cat({Hex("06 09 2A 86 48 86 F7 0D 01 07 01"), algorithm})},
                                     {0x30, Cat({Hex("02 01 00"), recipients})},
                                     {0xA0, {}},
                                     {0x30, Hex("06 09 2A 86 48 86 F7 0D 01 07 03")}});
  const std::string path = dir.Path("large.p7m");
  {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(prefix.data()), static_cast<std::streamsize>(prefix.size()));
    std::vector<BYTE> block(1 << 20);
    for (uint64_t left = plain; left != 0;) {
      DWORD length = static_cast<DWORD>(std::min<uint64_t>(left, block.size()));
      left -= length;
      std::fill(block.begin(), block.end(), 0);
      ASSERT_TRUE(CryptEncrypt(key.handle, 0, left == 0, 0, block.data(), &length, Size(block)));
      out.write(reinterpret_cast<const char*>(block.data()), length);
    }
    ASSERT_TRUE(out.good());
  }
  cmskit::EnvelopedData message;
  CTOOFile file(path.c_str(), "rb");
  int status = -1;
  EXPECT_EQ(message.ReadObject(file, &status), 0u);
  EXPECT_EQ(static_cast<DWORD>(status), cmskit::kErrorFileTooLarge);
  file.Seek64(0, SEEK_SET);
  ASSERT_EQ(message.ReadObject64(file, &status), prefix.size() + cipher);
  cmskit::EncryptedContentInfo& content = message.encryptedContentInfo;
  EXPECT_EQ(content.GetContentOffset64(), prefix.size());
  EXPECT_EQ(content.GetContentLength64(), cipher);
  EXPECT_EQ(content.GetOpenTextSize(), 0u);
  EXPECT_EQ(content.GetOpenTextSize64(), cipher);
  KeyHandle decrypting(ImportPlainKey(prov.handle, CALG_AES_128, keyBytes));
  ASSERT_TRUE(cmskit::DecryptKeyParam(decrypting.handle, content.contentEncryptionAlgorithm));
  // Elsewhere (Windows, Wine) the plaintext goes to a file of its own: the
  // runtime cannot open the null device in the commit mode decryption uses.
  const std::string target = dir.Path(OnPosix() ? "plain.fifo" : "plain.bin");
  ToSignStruct narrowOut = InFile<ToSignStruct>(NullDevice());
  EXPECT_FALSE(cmskit::DecryptContent(decrypting.handle, content, narrowOut));
  EXPECT_EQ(GetLastError(), cmskit::kErrorFileTooLarge);
  uint64_t seen = 0, zeros = 0;
  std::unique_ptr<Pipe> pipe;
  if (OnPosix()) {
    pipe = std::make_unique<Pipe>(target, [&](const BYTE* data, size_t size) {
      seen += size;
      zeros += static_cast<uint64_t>(std::count(data, data + size, 0));
    });
    ASSERT_TRUE(pipe->ok());
  }
  ToSignStruct64 out = InFile(target.c_str());
  EXPECT_TRUE(cmskit::DecryptContent64(decrypting.handle, content, out)) << GetLastError();
  if (pipe) {
    pipe->Join();
    EXPECT_EQ(seen, plain);
    EXPECT_EQ(zeros, plain);
    return;
  }
  EXPECT_EQ(std::filesystem::file_size(target), plain);
  std::ifstream in(target, std::ios::binary);
  std::vector<char> ends(4096);
  for (const uint64_t at : {uint64_t{0}, plain - ends.size()}) {
    in.seekg(static_cast<std::streamoff>(at));
    in.read(ends.data(), static_cast<std::streamsize>(ends.size()));
    EXPECT_EQ(std::count(ends.begin(), ends.end(), 0), static_cast<std::ptrdiff_t>(ends.size())) << at;
  }
}

TEST(LargeBase64, RoundTripPast4GiB) {
  TempDir dir;
  if (!OnPosix()) GTEST_SKIP() << "needs named pipes";
  const uint64_t size = 4 * kGiB + 1;
  const std::string source = dir.Path("source.bin"), encoded = dir.Path("encoded.fifo"),
                    decoded = dir.Path("decoded.fifo");
  WriteSparse(source, kHeadMark, size, kTailMark);
  ASSERT_TRUE(Shell("mkfifo '" + encoded + "'"));
  ContentCheck check(size);
  Pipe pipe(decoded, [&](const BYTE* data, size_t length) { check.Take(data, length); });
  ASSERT_TRUE(pipe.ok());
  std::atomic<bool> encodedOk{false};
  std::thread encoder([&] { encodedOk = cmskit::Base64FileEncode(source.c_str(), encoded.c_str()); });
  EXPECT_TRUE(cmskit::Base64FileDecode(encoded.c_str(), decoded.c_str()));
  encoder.join();
  pipe.Join();
  EXPECT_TRUE(encodedOk);
  EXPECT_TRUE(check.Good());
}

// GOST keys, as their encryption size is always counted.
TEST(LargeSizes, EncryptSizePast4GiB) {
  using namespace cmskit::test;
  ProviderHandle prov;
  KeyHandle key;
  if (!AcquireVerifyContext(PROV_GOST_2012_256, prov) ||
      !CryptGenKey(prov.handle, CALG_G28147, CRYPT_EXPORTABLE, &key.handle))
    GTEST_SKIP() << "no GOST 28147-89 keys here";
  const cmskit::EncryptedContentInfo content;
  const uint64_t small = content.GetEncryptSize64(key.handle, 1000, 0);
  ASSERT_NE(small, 0u);
  EXPECT_EQ(content.GetEncryptSize(key.handle, 1000, 0), small);
  // The lengths of [0] and of the SEQUENCE: five octets instead of two.
  EXPECT_EQ(content.GetEncryptSize64(key.handle, 5 * kGiB, 0), small - 1000 + 5 * kGiB + 6);
  SetLastError(0);
  EXPECT_EQ(content.GetEncryptSize(key.handle, 0xFFFFFF00u, 2), 0u);
  EXPECT_EQ(GetLastError(), cmskit::kErrorFileTooLarge);
}

TEST(LargeSigning, ContentPast4GiB) {
  TempDir dir;
  const std::string content = dir.Path("content.bin");
  WriteSparse(content, kHeadMark, kStreamedSize, kTailMark);
  const TestSigner bob(TestData("crypt/BobRSASignByCarl.cer"), TestData("make/BobPrivRSA.pkcs1.der"));
  ASSERT_TRUE(bob.ok());
  const cmskit::SignerCredential signer = bob.key();
  ToSignStruct64 range = InFile(content.c_str());
  range.end = ToSignStruct64::kToEndOfFile;
  cmskit::SignOptions options;
  options.detached = true;
  const std::string detached = dir.Path("detached.der");
  uint64_t detachedSize = 0;
  int error = -1;
  {
    CTOOFile file(detached.c_str(), "wb");
    detachedSize = cmskit::SignContent64(range, &signer, 1, options, file, &error);
  }
  ASSERT_EQ(error, 0);
  EXPECT_EQ(LibraryVerdicts(detached, content),
            std::vector<cmskit::SignerVerdict>{cmskit::SignerVerdict::kValid});
  options.detached = false;
  CTOOFile sink(NullDevice(), "wb");
  // eContent adds the content and its headers, and the three outer lengths grow.
  const uint64_t attached = cmskit::SignContent64(range, &signer, 1, options, sink, &error);
  EXPECT_EQ(error, 0);
  EXPECT_GT(attached, detachedSize + kStreamedSize);
  EXPECT_LT(attached, detachedSize + kStreamedSize + 32);
}

}  // namespace
}  // namespace cmskit_testing
