// SignData speed and memory: reading a message with a 1 MiB content from
// memory, and streaming a large content through files (read, write, detach),
// next to a plain 4096-byte block copy of the same file.
//
// The content size of the file benchmarks is CMSKIT_BENCH_CONTENT_MIB (64 by
// default). Each file benchmark reports the peak resident memory of the
// process and how much it grew while the benchmark ran: streaming must keep
// it flat whatever the content size.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "cmskit/sign_data.h"

namespace cmskit {
namespace {

using Bytes = std::vector<BYTE>;
constexpr size_t kBlock = 4096;

double PeakRssMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

Bytes Pattern(size_t size) {
  Bytes bytes(size);
  std::mt19937 generator(7);
  for (BYTE& b : bytes) b = static_cast<BYTE>(generator());
  return bytes;
}

Bytes Tlv(BYTE tag, const Bytes& contents) {
  Bytes out{tag};
  const size_t n = contents.size();
  if (n < 0x80) {
    out.push_back(static_cast<BYTE>(n));
  } else {
    Bytes length;
    for (size_t v = n; v; v >>= 8) length.insert(length.begin(), static_cast<BYTE>(v));
    out.push_back(static_cast<BYTE>(0x80 | length.size()));
    out.insert(out.end(), length.begin(), length.end());
  }
  out.insert(out.end(), contents.begin(), contents.end());
  return out;
}

// Stand-ins of realistic size for a certificate and a SignerInfo: the
// message classes keep them whole and never look inside.
IdentObj Opaque(size_t size) {
  const Bytes bytes = Tlv(0x30, Tlv(0x04, Pattern(size)));
  return IdentObj(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

SignData MessageParts() {
  SignData message;
  message.certificates.push_back(Opaque(1200));
  message.signerInfos.push_back(Opaque(400));
  const BYTE sha256[] = {0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                         0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00};
  message.digestAlgorithms.emplace_back();
  message.digestAlgorithms.back().ReadData(sha256, sizeof sha256, nullptr);
  return message;
}

void Append(std::ofstream& out, const Bytes& bytes) {
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// The files of the streaming benchmarks, made once: the content, a DER
// message carrying it, and the same message streamed in 4096-octet segments
// with indefinite lengths (the shape `openssl cms -sign -stream` writes).
class StreamFiles {
  std::filesystem::path folder_;  // first: the paths below are made from it

 public:
  static StreamFiles& Get() {
    static StreamFiles files;
    return files;
  }
  std::string Path(const std::string& name) const { return (folder_ / name).string(); }
  uint64_t ContentSize() const { return contentSize_; }
  const std::string content = Path("content.bin");
  const std::string der = Path("message.der");
  const std::string ber = Path("message.ber");

 private:
  StreamFiles()
      : folder_(std::filesystem::temp_directory_path() /
                ("cmskit-bench-signed-" + std::to_string(std::random_device()()))) {
    std::filesystem::create_directories(folder_);
    const char* mib = std::getenv("CMSKIT_BENCH_CONTENT_MIB");
    contentSize_ = static_cast<uint64_t>(mib ? std::atoi(mib) : 64) << 20;
    WriteContent();
    WriteDer();
    WriteBer();
  }
  ~StreamFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  void WriteContent() {
    std::ofstream out(content, std::ios::binary);
    const Bytes block = Pattern(1 << 20);
    for (uint64_t written = 0; written < contentSize_; written += block.size()) Append(out, block);
  }

  void WriteDer() {
    SignData message = MessageParts();
    ToSignStruct range;
    range.flags = ToSignStruct::kInFile;
    range.data = const_cast<char*>(content.c_str());
    range.end = ToSignStruct::kToEndOfFile;
    message.AttachData(range, nullptr);
    CTOOFile out(der.c_str(), "wb");
    if (message.WriteObject(out, 0) == 0) std::abort();
  }

  void WriteBer() {
    const SignData parts = MessageParts();
    std::ofstream out(ber, std::ios::binary);
    const Bytes oidSigned = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x02};
    const Bytes oidData = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x01};
    Append(out, {0x30, 0x80});
    Append(out, oidSigned);
    Append(out, {0xA0, 0x80, 0x30, 0x80, 0x02, 0x01, 0x01});
    const IdentObj algorithm = parts.digestAlgorithms.front().WriteData(nullptr);
    Append(out, Tlv(0x31, Bytes(algorithm.data(), algorithm.data() + algorithm.size())));
    Append(out, {0x30, 0x80});
    Append(out, oidData);
    Append(out, {0xA0, 0x80, 0x24, 0x80});
    std::ifstream in(content, std::ios::binary);
    Bytes block(kBlock);
    for (uint64_t left = contentSize_; left > 0;) {
      const size_t n = static_cast<size_t>(left < kBlock ? left : kBlock);
      in.read(reinterpret_cast<char*>(block.data()), static_cast<std::streamsize>(n));
      Append(out, Tlv(0x04, Bytes(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(n))));
      left -= n;
    }
    Append(out, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00});
    const IdentObj& certificate = parts.certificates.front();
    Append(out, Tlv(0xA0, Bytes(certificate.data(), certificate.data() + certificate.size())));
    const IdentObj& signer = parts.signerInfos.front();
    Append(out, Tlv(0x31, Bytes(signer.data(), signer.data() + signer.size())));
    Append(out, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00});
  }

  uint64_t contentSize_ = 0;
};

// Resident memory around one file benchmark.
class RssWatch {
 public:
  explicit RssWatch(benchmark::State& state) : state_(state), before_(PeakRssMiB()) {}
  ~RssWatch() {
    const double after = PeakRssMiB();
    state_.counters["peak_rss_MiB"] = after;
    state_.counters["rss_growth_MiB"] = after - before_;
  }

 private:
  benchmark::State& state_;
  double before_;
};

void SetThroughput(benchmark::State& state, uint64_t bytesPerIteration) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytesPerIteration));
}

void BM_ReadObjectMemory_1MiB(benchmark::State& state) {
  SignData source = MessageParts();
  const Bytes content = Pattern(1 << 20);
  ToSignStruct range;
  range.data = const_cast<BYTE*>(content.data());
  range.end = static_cast<DWORD>(content.size());
  source.AttachData(range, nullptr);
  const IdentObj message = source.WriteObject(nullptr);
  for (auto _ : state) {
    SignData read;
    int error = 0;
    if (!read.ReadObject(message.data(), message.size(), &error)) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(read.encapContentInfo.data.data());
  }
  SetThroughput(state, message.size());
}

void BM_WriteObjectMemory_1MiB(benchmark::State& state) {
  SignData message = MessageParts();
  const Bytes content = Pattern(1 << 20);
  ToSignStruct range;
  range.data = const_cast<BYTE*>(content.data());
  range.end = static_cast<DWORD>(content.size());
  message.AttachData(range, nullptr);
  uint64_t size = 0;
  for (auto _ : state) {
    const IdentObj written = message.WriteObject(nullptr);
    size = written.size();
    benchmark::DoNotOptimize(written.data());
  }
  SetThroughput(state, size);
}

// Locating the content of the DER message: headers only.
void BM_ReadObjectFile(benchmark::State& state) {
  const StreamFiles& files = StreamFiles::Get();
  RssWatch watch(state);
  for (auto _ : state) {
    SignData message;
    CTOOFile file(files.der.c_str(), "rb");
    if (message.ReadObject(file, 0, nullptr) == 0) state.SkipWithError("read failed");
  }
  state.counters["content_MiB"] = static_cast<double>(files.ContentSize() >> 20);
}

// Locating the content of the streamed message walks every segment header.
void BM_ReadObjectFileSegmented(benchmark::State& state) {
  const StreamFiles& files = StreamFiles::Get();
  RssWatch watch(state);
  for (auto _ : state) {
    SignData message;
    CTOOFile file(files.ber.c_str(), "rb");
    if (message.ReadObject(file, 0, nullptr) == 0) state.SkipWithError("read failed");
  }
  SetThroughput(state, files.ContentSize());
}

void WriteFrom(benchmark::State& state, const std::string& source) {
  const StreamFiles& files = StreamFiles::Get();
  const std::string target = files.Path("written.der");
  SignData message;
  {
    CTOOFile file(source.c_str(), "rb");
    if (message.ReadObject(file, 0, nullptr) == 0) state.SkipWithError("read failed");
  }
  RssWatch watch(state);
  for (auto _ : state) {
    CTOOFile out(target.c_str(), "wb");
    if (message.WriteObject(out, 0) == 0) state.SkipWithError("write failed");
    out.Close();
  }
  SetThroughput(state, files.ContentSize());
}

void BM_WriteObjectFile(benchmark::State& state) { WriteFrom(state, StreamFiles::Get().der); }
void BM_WriteObjectFileFromSegments(benchmark::State& state) { WriteFrom(state, StreamFiles::Get().ber); }

void DetachFrom(benchmark::State& state, const std::string& source) {
  const StreamFiles& files = StreamFiles::Get();
  const std::string target = files.Path("detached.bin");
  RssWatch watch(state);
  for (auto _ : state) {
    SignData message;
    CTOOFile file(source.c_str(), "rb");
    if (message.ReadObject(file, 0, nullptr) == 0) state.SkipWithError("read failed");
    ToSignStruct out;
    out.flags = ToSignStruct::kInFile;
    out.data = const_cast<char*>(target.c_str());
    if (!message.DetachData(out, nullptr)) state.SkipWithError("detach failed");
  }
  SetThroughput(state, files.ContentSize());
}

void BM_DetachDataFile(benchmark::State& state) { DetachFrom(state, StreamFiles::Get().der); }
void BM_DetachDataFileFromSegments(benchmark::State& state) { DetachFrom(state, StreamFiles::Get().ber); }

// The yardstick: the content file copied in 4096-byte blocks through the
// runtime's streams, as `dd bs=4K` does through the kernel.
void BM_BlockCopyBaseline(benchmark::State& state) {
  const StreamFiles& files = StreamFiles::Get();
  const std::string target = files.Path("copied.bin");
  RssWatch watch(state);
  Bytes block(kBlock);
  for (auto _ : state) {
    FILE* in = fopen(files.content.c_str(), "rb");
    FILE* out = fopen(target.c_str(), "wb");
    for (size_t n; (n = fread(block.data(), 1, block.size(), in)) > 0;) fwrite(block.data(), 1, n, out);
    fclose(out);
    fclose(in);
  }
  SetThroughput(state, files.ContentSize());
}

BENCHMARK(BM_ReadObjectMemory_1MiB)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WriteObjectMemory_1MiB)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ReadObjectFile)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ReadObjectFileSegmented)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_WriteObjectFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_WriteObjectFileFromSegments)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DetachDataFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DetachDataFileFromSegments)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BlockCopyBaseline)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace cmskit
