// The peer of the in-memory rows of bench/compare.sh: OpenSSL decoding a CMS
// message with d2i_CMS_ContentInfo and encoding it again with
// i2d_CMS_ContentInfo, in a loop for about a second.
//   peer_openssl_cms FILE [SECONDS]   prints "ops_per_s N peak_rss_MiB M"
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

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE [SECONDS]\n", argv[0]);
    return 2;
  }
  std::ifstream file(argv[1], std::ios::binary);
  const std::vector<unsigned char> message((std::istreambuf_iterator<char>(file)),
                                           std::istreambuf_iterator<char>());
  const double seconds = argc > 2 ? std::atof(argv[2]) : 1.0;
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  long operations = 0;
  double elapsed = 0;
  do {
    for (int i = 0; i < 16; ++i, ++operations) {
      if (!RoundTrip(message)) {
        std::fprintf(stderr, "%s: d2i/i2d failed\n", argv[1]);
        return 1;
      }
    }
    elapsed = std::chrono::duration<double>(Clock::now() - start).count();
  } while (elapsed < seconds);
  std::printf("ops_per_s %.1f peak_rss_MiB %.1f\n", operations / elapsed, PeakRssMiB());
  return 0;
}
