// The peer of the in-memory rows of bench/compare.sh: OpenSSL decoding a CMS
// message with d2i_CMS_ContentInfo and encoding it again with
// i2d_CMS_ContentInfo, in a loop for about a second; given the CONTENT of a
// detached signature, decoding it and checking its signers with CMS_verify
// (no certificate chain, as `openssl cms -verify -noverify`) instead.
//   peer_openssl_cms FILE [SECONDS [CONTENT]]   prints "ops_per_s N peak_rss_MiB M"
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

double PeakRssMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

bool RoundTrip(const std::vector<unsigned char>& message) {
  const unsigned char* in = message.data();
  CMS_ContentInfo* cms = d2i_CMS_ContentInfo(nullptr, &in, static_cast<long>(message.size()));
  if (!cms) return false;
  unsigned char* out = nullptr;
  const int length = i2d_CMS_ContentInfo(cms, &out);
  OPENSSL_free(out);
  CMS_ContentInfo_free(cms);
  return length > 0;
}

bool Verify(const std::vector<unsigned char>& message, const std::vector<unsigned char>& content) {
  const unsigned char* in = message.data();
  CMS_ContentInfo* cms = d2i_CMS_ContentInfo(nullptr, &in, static_cast<long>(message.size()));
  if (!cms) return false;
  BIO* data = BIO_new_mem_buf(content.data(), static_cast<int>(content.size()));
  const int verified =
      CMS_verify(cms, nullptr, nullptr, data, nullptr, CMS_NO_SIGNER_CERT_VERIFY | CMS_BINARY);
  BIO_free(data);
  CMS_ContentInfo_free(cms);
  return verified == 1;
}

std::vector<unsigned char> ReadWhole(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return std::vector<unsigned char>((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE [SECONDS]\n", argv[0]);
    return 2;
  }
  const std::vector<unsigned char> message = ReadWhole(argv[1]);
  const bool verify = argc > 3;
  const std::vector<unsigned char> content = verify ? ReadWhole(argv[3]) : std::vector<unsigned char>();
  const double seconds = argc > 2 ? std::atof(argv[2]) : 1.0;
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  long operations = 0;
  double elapsed = 0;
  do {
    for (int i = 0; i < 16; ++i, ++operations) {
      if (verify ? !Verify(message, content) : !RoundTrip(message)) {
        std::fprintf(stderr, "%s: %s failed\n", argv[1], verify ? "CMS_verify" : "d2i/i2d");
        return 1;
      }
    }
    elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  } while (elapsed < seconds);
  std::printf("ops_per_s %.1f peak_rss_MiB %.1f\n", operations / elapsed, PeakRssMiB());
  return 0;
}
