// Decrypting large enveloped messages file to file, next to `openssl cms
// -decrypt` on the same message: wall time, throughput and peak resident
// memory. The library streams 4096-byte blocks, so its peak stays a few
// buffers whatever the size; openssl loads the whole message.
//
// Needs the openssl command (messages are made at start-up in a temporary
// folder). Arguments: message size in MiB, AES key bits.
#include <benchmark/benchmark.h>

#include <spawn.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cmskit/cmskit.h"

extern char** environ;

namespace cmskit {
namespace {

constexpr size_t kMiB = 1 << 20;

double MiB(long kilobytes) { return static_cast<double>(kilobytes) / 1024.0; }

double PeakRssMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return MiB(usage.ru_maxrss);
}

// Runs a command line through /bin/sh and returns its own peak RSS in MiB
// (negative when it failed).
double RunMeasured(const std::string& command) {
  const char* argv[] = {"/bin/sh", "-c", command.c_str(), nullptr};
  pid_t pid = 0;
  if (posix_spawn(&pid, "/bin/sh", nullptr, nullptr, const_cast<char**>(argv), environ) != 0) return -1;
  int status = 0;
  rusage usage{};
  if (wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
  return MiB(usage.ru_maxrss);
}

// A temporary folder with a recipient and messages of the sizes asked for.
class Workspace {
 public:
  Workspace() {
    std::string pattern = (std::filesystem::temp_directory_path() / "cmskit-decrypt-bench-XXXXXX").string();
    if (!mkdtemp(&pattern[0])) return;
    dir_ = pattern;
    ok_ = RunMeasured("openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=bench -keyout " +
                      Path("key.pem") + " -out " + Path("cert.pem") + " >/dev/null 2>&1") >= 0 &&
          RunMeasured("openssl x509 -in " + Path("cert.pem") + " -outform DER -out " + Path("cert.der")) >= 0;
  }
  ~Workspace() {
    std::error_code ignored;
    if (!dir_.empty()) std::filesystem::remove_all(dir_, ignored);
  }

  bool Ok() const { return ok_; }
  std::string Path(const std::string& name) const { return dir_ + "/" + name; }

  // The message of `mib` MiB under AES-`bits`, made once; empty on failure.
  std::string Message(int mib, int bits) {
    const std::string name = "msg_" + std::to_string(mib) + "_" + std::to_string(bits) + ".der";
    auto found = messages_.find(name);
    if (found != messages_.end()) return found->second;
    const std::string plain = Plaintext(mib);
    const std::string command = "openssl cms -encrypt -binary -aes" + std::to_string(bits) +
                                " -outform DER -in " + plain + " -out " + Path(name) + " " + Path("cert.pem");
    const std::string path = RunMeasured(command) >= 0 ? Path(name) : std::string();
    messages_[name] = path;
    return path;
  }

  std::string Plaintext(int mib) {
    const std::string path = Path("plain_" + std::to_string(mib));
    if (std::filesystem::exists(path)) return path;
    // Written a block at a time, so that this process's peak stays small.
    std::ofstream out(path, std::ios::binary);
    std::vector<char> block(kMiB);
    for (int i = 0; i < mib; ++i) {
      for (size_t j = 0; j < block.size(); ++j) block[j] = static_cast<char>((i * 131 + j * 7) >> 3);
      out.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    return path;
  }

 private:
  std::string dir_;
  bool ok_ = false;
  std::map<std::string, std::string> messages_;
};

Workspace& Shared() {
  static Workspace workspace;
  return workspace;
}

bool SameFiles(const std::string& a, const std::string& b) {
  std::ifstream left(a, std::ios::binary), right(b, std::ios::binary);
  std::vector<char> x(kMiB), y(kMiB);
  while (left && right) {
    left.read(x.data(), static_cast<std::streamsize>(x.size()));
    right.read(y.data(), static_cast<std::streamsize>(y.size()));
    if (left.gcount() != right.gcount() || !std::equal(x.begin(), x.begin() + left.gcount(), y.begin()))
      return false;
  }
  return left.eof() && right.eof();
}

// One caller's decryption: read, import the key, apply the IV, stream out.
bool DecryptFileToFile(const std::string& message, const std::string& target, const CERT_CONTEXT* cert,
                       HCRYPTPROV prov) {
  EnvelopedData data;
  CTOOFile file(message.c_str(), "rb");
  int error = 0;
  data.ReadObject(file, &error);
  if (error != 0) return false;
  ASNAlgorithmIdentifier alg = data.encryptedContentInfo.contentEncryptionAlgorithm;
  HCRYPTKEY key = 0;
  if (!data.GetEncryptionKey(cert, prov, key, alg, &error)) return false;
  ToSignStruct out;
  out.flags = ToSignStruct::kInFile;
  out.data = const_cast<char*>(target.c_str());
  const bool ok = DecryptKeyParam(key, alg) && DecryptContent(key, data.encryptedContentInfo, out);
  CryptDestroyKey(key);
  return ok;
}

void BM_DecryptFileToFile(benchmark::State& state) {
  Workspace& space = Shared();
  const int mib = static_cast<int>(state.range(0)), bits = static_cast<int>(state.range(1));
  const std::string message = space.Ok() ? space.Message(mib, bits) : std::string();
  if (message.empty()) {
    state.SkipWithError("needs the openssl command");
    return;
  }
  std::ifstream certFile(space.Path("cert.der"), std::ios::binary);
  const std::vector<BYTE> der((std::istreambuf_iterator<char>(certFile)), std::istreambuf_iterator<char>());
  const CERT_CONTEXT* cert = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(),
                                                          static_cast<DWORD>(der.size()));
  std::wstring container;
  for (char c : space.Path("key.pem")) container += static_cast<wchar_t>(c);
  CRYPT_KEY_PROV_INFO info{};
  info.pwszContainerName = &container[0];
  info.dwProvType = PROV_RSA_AES;
  info.dwKeySpec = AT_KEYEXCHANGE;
  CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info);
  HCRYPTPROV prov = 0;
  CryptAcquireContextA(&prov, space.Path("key.pem").c_str(), nullptr, PROV_RSA_AES, 0);

  const std::string target = space.Path("cmskit.out");
  bool ok = true;
  for (auto _ : state) ok = DecryptFileToFile(message, target, cert, prov) && ok;
  if (!ok || !SameFiles(target, space.Plaintext(mib))) state.SkipWithError("decryption failed");
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(mib) * static_cast<int64_t>(kMiB));
  state.counters["peak_rss_MiB"] = PeakRssMiB();
  CryptReleaseContext(prov, 0);
  CertFreeCertificateContext(cert);
}
BENCHMARK(BM_DecryptFileToFile)
    ->Args({10, 128})
    ->Args({100, 128})
    ->Args({100, 256})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

void BM_OpensslCmsDecrypt(benchmark::State& state) {
  Workspace& space = Shared();
  const int mib = static_cast<int>(state.range(0)), bits = static_cast<int>(state.range(1));
  const std::string message = space.Ok() ? space.Message(mib, bits) : std::string();
  if (message.empty()) {
    state.SkipWithError("needs the openssl command");
    return;
  }
  const std::string target = space.Path("openssl.out");
  const std::string command = "openssl cms -decrypt -binary -inform DER -in " + message + " -inkey " +
                              space.Path("key.pem") + " -recip " + space.Path("cert.pem") + " -out " + target;
  double peak = 0;
  for (auto _ : state) {
    const double rss = RunMeasured(command);
    if (rss < 0) {
      state.SkipWithError("openssl cms -decrypt failed");
      break;
    }
    peak = std::max(peak, rss);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(mib) * static_cast<int64_t>(kMiB));
  state.counters["peak_rss_MiB"] = peak;
}
BENCHMARK(BM_OpensslCmsDecrypt)
    ->Args({10, 128})
    ->Args({100, 128})
    ->Args({100, 256})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

}  // namespace
}  // namespace cmskit
