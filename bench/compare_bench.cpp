// The library's side of bench/compare.sh, on messages that the script makes
// with openssl at run time:
//  - every file listed in CMSKIT_COMPARE_MESSAGES (colon-separated) is read
//    from memory and written back to memory, as the peer program does with
//    d2i_CMS_ContentInfo + i2d_CMS_ContentInfo;
//  - CMSKIT_COMPARE_SIGNED_FILE is read from its file and written to
//    CMSKIT_COMPARE_OUT_FILE once per iteration, content streamed;
//  - CMSKIT_COMPARE_VERIFY ("MESSAGE:CONTENT", a detached signature and its
//    content) is read from memory and its signers verified, as the peer
//    program does with d2i_CMS_ContentInfo + CMS_verify.
// Nothing is registered when the variables are unset.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <list>
#include <sstream>
#include <string>
#include <vector>

#include "cmskit/file.h"
#include "cmskit/sign_data.h"
#include "cmskit/verify.h"

namespace cmskit {
namespace {

using Bytes = std::vector<BYTE>;

double PeakRssMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

Bytes ReadWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void RoundTripMemory(benchmark::State& state, const std::string& path) {
  const Bytes message = ReadWhole(path);
  if (message.empty()) {
    state.SkipWithError("cannot read the message");
    return;
  }
  for (auto _ : state) {
    SignData read;
    int error = 0;
    if (!read.ReadObject(message.data(), static_cast<DWORD>(message.size()), &error)) {
      state.SkipWithError("read failed");
      break;
    }
    const IdentObj written = read.WriteObject(&error);
    if (written.size() == 0) {
      state.SkipWithError("write failed");
      break;
    }
    benchmark::DoNotOptimize(written.data());
  }
  state.counters["ops_per_s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["bytes"] = static_cast<double>(message.size());
  state.counters["peak_rss_MiB"] = PeakRssMiB();
}

void RoundTripFile(benchmark::State& state, const std::string& source, const std::string& target) {
  for (auto _ : state) {
    SignData message;
    CTOOFile in(source.c_str(), "rb");
    if (message.ReadObject(in, 0, nullptr) == 0) {
      state.SkipWithError("read failed");
      break;
    }
    CTOOFile out(target.c_str(), "wb");
    if (message.WriteObject(out, 0) == 0) {
      state.SkipWithError("write failed");
      break;
    }
    out.Close();
  }
  state.counters["peak_rss_MiB"] = PeakRssMiB();
}

void VerifyMemory(benchmark::State& state, const std::string& path, const std::string& contentPath) {
  const Bytes message = ReadWhole(path);
  const Bytes content = ReadWhole(contentPath);
  if (message.empty()) {
    state.SkipWithError("cannot read the message");
    return;
  }
  for (auto _ : state) {
    SignData read;
    int error = 0;
    if (!read.ReadObject(message.data(), static_cast<DWORD>(message.size()), &error)) {
      state.SkipWithError("read failed");
      break;
    }
    SignatureVerifier verifier(read);
    verifier.SetContent(content.data(), content.size());
    std::list<SignerReport> reports;
    if (!verifier.VerifyAll(reports, &error) || reports.empty() ||
        reports.front().verdict != SignerVerdict::kValid) {
      state.SkipWithError("verification failed");
      break;
    }
  }
  state.counters["ops_per_s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["peak_rss_MiB"] = PeakRssMiB();
}

std::vector<std::string> Split(const char* list) {
  std::vector<std::string> parts;
  std::stringstream stream(list ? list : "");
  for (std::string part; std::getline(stream, part, ':');)
    if (!part.empty()) parts.push_back(part);
  return parts;
}

// Registration from the environment, before benchmark_main runs.
struct Registrar {
  Registrar() {
    for (const std::string& path : Split(std::getenv("CMSKIT_COMPARE_MESSAGES"))) {
      const std::string name = "BM_RoundTripMemory/" + path.substr(path.find_last_of('/') + 1);
      benchmark::RegisterBenchmark(name.c_str(), RoundTripMemory, path)->MinTime(1.0);
    }
    const std::vector<std::string> verify = Split(std::getenv("CMSKIT_COMPARE_VERIFY"));
    if (verify.size() == 2)
      benchmark::RegisterBenchmark("BM_VerifyMemory", VerifyMemory, verify[0], verify[1])->MinTime(1.0);
    const char* source = std::getenv("CMSKIT_COMPARE_SIGNED_FILE");
    const char* target = std::getenv("CMSKIT_COMPARE_OUT_FILE");
    if (source && target) {
      benchmark::RegisterBenchmark("BM_RoundTripFile", RoundTripFile, std::string(source),
                                   std::string(target))
          ->Iterations(1)
          ->UseRealTime()
          ->Unit(benchmark::kMillisecond);
    }
  }
};
const Registrar registrar;

}  // namespace
}  // namespace cmskit
