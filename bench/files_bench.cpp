// Base64 message files next to coreutils `base64`, on one large file in the
// same run, and type detection on large files (only a prefix is read).
// CMSKIT_BENCH_MIB sets the file size (256 MiB by default).
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "cmskit/message_files.h"
#include "cmskit/paths.h"
#include "files/base64.h"

namespace {

using cmskit::TOO::TEMPFOLDER;

// The files every benchmark shares, made once.
class BenchFiles {
 public:
  static BenchFiles& Get() {
    static BenchFiles files;
    return files;
  }

  std::string Path(const char* name) const { return std::string(folder_.c_str()) + "/" + name; }
  int64_t Bytes() const { return bytes_; }
  int64_t TextBytes() const { return textBytes_; }
  bool HaveCoreutils() const { return haveCoreutils_; }

 private:
  BenchFiles() : folder_(true) {
    const char* mib = std::getenv("CMSKIT_BENCH_MIB");
    bytes_ = (mib ? std::atoll(mib) : 256) << 20;
    WriteMessage();
    haveCoreutils_ =
        std::system(("base64 " + Path("message.der") + " > " + Path("message.b64")).c_str()) == 0;
    if (!haveCoreutils_) cmskit::Base64FileEncode(Path("message.der").c_str(), Path("message.b64").c_str());
    std::ifstream text(Path("message.b64"), std::ios::binary | std::ios::ate);
    textBytes_ = static_cast<int64_t>(text.tellg());
  }

  // A signed message header with an attached content of random bytes.
  void WriteMessage() const {
    std::ofstream out(Path("message.der"), std::ios::binary);
    static const unsigned char kHeader[] = {0x30, 0x80, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D,
                                            0x01, 0x07, 0x02, 0xA0, 0x80, 0x30, 0x80, 0x02, 0x01, 0x01,
                                            0x31, 0x00, 0x30, 0x80, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86,
                                            0xF7, 0x0D, 0x01, 0x07, 0x01, 0xA0, 0x80, 0x24, 0x80};
    out.write(reinterpret_cast<const char*>(kHeader), sizeof kHeader);
    std::mt19937_64 random(1);
    std::vector<uint64_t> block(1 << 17);
    for (int64_t written = sizeof kHeader; written < bytes_;) {
      for (uint64_t& word : block) word = random();
      const int64_t size = std::min<int64_t>(bytes_ - written, static_cast<int64_t>(block.size() * 8));
      out.write(reinterpret_cast<const char*>(block.data()), size);
      written += size;
    }
  }

  TEMPFOLDER folder_;
  int64_t bytes_ = 0;
  int64_t textBytes_ = 0;
  bool haveCoreutils_ = false;
};

void ReportMemory(benchmark::State& state) {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  state.counters["maxrss_MiB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void Run(benchmark::State& state, const std::string& command) {
  if (std::system(command.c_str()) != 0) state.SkipWithError(command.c_str());
}

void BM_Base64FileEncode(benchmark::State& state) {
  BenchFiles& files = BenchFiles::Get();
  for (auto _ : state) {
    if (!cmskit::Base64FileEncode(files.Path("message.der").c_str(), files.Path("ours.b64").c_str()))
      state.SkipWithError("encode failed");
  }
  state.SetBytesProcessed(state.iterations() * files.Bytes());
  ReportMemory(state);
}

void BM_CoreutilsEncode(benchmark::State& state) {
  BenchFiles& files = BenchFiles::Get();
  if (!files.HaveCoreutils()) state.SkipWithError("no coreutils base64");
  for (auto _ : state) Run(state, "base64 " + files.Path("message.der") + " > " + files.Path("theirs.b64"));
  state.SetBytesProcessed(state.iterations() * files.Bytes());
}

void BM_Base64FileDecode(benchmark::State& state) {
  BenchFiles& files = BenchFiles::Get();
  for (auto _ : state) {
    if (!cmskit::Base64FileDecode(files.Path("message.b64").c_str(), files.Path("ours.der").c_str()))
      state.SkipWithError("decode failed");
  }
  state.SetBytesProcessed(state.iterations() * files.TextBytes());
  ReportMemory(state);
}

void BM_CoreutilsDecode(benchmark::State& state) {
  BenchFiles& files = BenchFiles::Get();
  if (!files.HaveCoreutils()) state.SkipWithError("no coreutils base64");
  for (auto _ : state)
    Run(state, "base64 -d " + files.Path("message.b64") + " > " + files.Path("theirs.der"));
  state.SetBytesProcessed(state.iterations() * files.TextBytes());
}

// The codec alone, in memory: 64 MiB.
void BM_Base64EncodeMemory(benchmark::State& state) {
  std::vector<BYTE> bytes(64 << 20);
  std::mt19937 random(2);
  for (BYTE& b : bytes) b = static_cast<BYTE>(random());
  std::vector<char> text(cmskit::Base64Encode(bytes.data(), bytes.size(), nullptr, 0, 0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(cmskit::Base64Encode(bytes.data(), bytes.size(), text.data(), text.size(), 0));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}

void BM_Base64DecodeMemory(benchmark::State& state) {
  std::vector<BYTE> bytes(64 << 20);
  std::mt19937 random(3);
  for (BYTE& b : bytes) b = static_cast<BYTE>(random());
  std::vector<char> text(cmskit::Base64Encode(bytes.data(), bytes.size(), nullptr, 0, 0));
  const size_t length = cmskit::Base64Encode(bytes.data(), bytes.size(), text.data(), text.size(), 0);
  bytes.resize(cmskit::Base64Decode(text.data(), length, nullptr, 0, 0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(cmskit::Base64Decode(text.data(), length, bytes.data(), bytes.size(), 0));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(length));
}

void BM_GetFileTypeByContent(benchmark::State& state, const char* name, cmskit::CmsFileType expected) {
  BenchFiles& files = BenchFiles::Get();
  const std::string path = files.Path(name);
  for (auto _ : state) {
    if (cmskit::GetFileTypeByContent(path.c_str()) != expected) state.SkipWithError("wrong type");
  }
}

BENCHMARK(BM_Base64FileEncode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_CoreutilsEncode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_Base64FileDecode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_CoreutilsDecode)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_Base64EncodeMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Base64DecodeMemory)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_GetFileTypeByContent, der, "message.der", cmskit::CmsFileSignedAttached)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_GetFileTypeByContent, base64, "message.b64", cmskit::CmsFileSignedAttached)
    ->Unit(benchmark::kMicrosecond);

}  // namespace
