// Signer infos of messages signed by the openssl command at test time.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "cmskit/cmskit.h"
#include "signed/signer_info_fixtures.h"

namespace cmskit::testing {
namespace {

namespace fs = std::filesystem;

bool Run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

// A folder with two RSA signers and a content file, made once for the suite.
class OpensslSigners {
 public:
  static OpensslSigners& Get() {
    static OpensslSigners signers;
    return signers;
  }
  bool ok() const { return ok_; }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

  // Signs the content with `options`, where the words A and B stand for the
  // two signers; returns the DER message.
  Bytes Sign(const std::string& name, const std::string& options) const {
    std::string command = "openssl";
    for (size_t at = 0; at < options.size();) {
      const size_t end = std::min(options.find(' ', at), options.size());
      const std::string word = options.substr(at, end - at);
      command += (word == "A" || word == "B") ? SignerOptions(word == "A" ? "a" : "b") : " " + word;
      at = end + 1;
    }
    const std::string out = Path(name + ".der");
    if (!Run(command + " -in " + Path("content.txt") + " -outform DER -out " + out)) return {};
    return ReadFileBytes(out);
  }

 private:
  OpensslSigners() {
    if (!Run("openssl version")) return;
    dir_ = fs::temp_directory_path() / ("cmskit-signer-info-" + std::to_string(std::time(nullptr)) + "-" +
                                        std::to_string(reinterpret_cast<uintptr_t>(this) & 0xFFFF));
    fs::create_directories(dir_);
    std::ofstream(Path("content.txt"), std::ios::binary) << "signed content\n";
    ok_ = MakeSigner("a") && MakeSigner("b");
  }
  ~OpensslSigners() {
    std::error_code ignored;
    if (!dir_.empty()) fs::remove_all(dir_, ignored);
  }
  std::string SignerOptions(const std::string& who) const {
    return " -signer " + Path(who + ".crt") + " -inkey " + Path(who + ".key");
  }
  bool MakeSigner(const std::string& who) {
    return Run("openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=" + who + " -keyout " +
               Path(who + ".key") + " -out " + Path(who + ".crt"));
  }

  fs::path dir_;
  bool ok_ = false;
};

// The signingTime that OpenSSL wrote (a 13-character UTCTime), found in the
// raw bytes independently of the library.
bool SigningTimeIn(const Bytes& signerInfo, FILETIME& time) {
  const Bytes marker = Cat({OidSigningTime(), Hex("31 0F 17 0D")});
  const auto at = std::search(signerInfo.begin(), signerInfo.end(), marker.begin(), marker.end());
  if (signerInfo.end() - at < static_cast<std::ptrdiff_t>(marker.size() + 13)) return false;
  const std::string text(at + static_cast<std::ptrdiff_t>(marker.size()),
                         at + static_cast<std::ptrdiff_t>(marker.size() + 12));
  auto two = [&](size_t i) { return static_cast<unsigned>(std::stoi(text.substr(i, 2))); };
  time = FileTimeOf(2000 + static_cast<int>(two(0)), two(2), two(4), two(6), two(8), two(10));
  return true;
}

uint64_t Ticks(const FILETIME& time) {
  return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

struct Variant {
  const char* name;
  std::string options;
  size_t signers;
  DWORD version;
  std::vector<std::string> signedOids;  // in received order; empty: no signed attributes
  bool nullParameters;                  // the digest algorithm carries NULL parameters
};

void PrintTo(const Variant& variant, std::ostream* out) { *out << variant.options; }

const char kContentType[] = "1.2.840.113549.1.9.3";
const char kSigningTime[] = "1.2.840.113549.1.9.5";
const char kDigest[] = "1.2.840.113549.1.9.4";
const char kSmimeCap[] = "1.2.840.113549.1.9.15";

class SignerInfoOpenssl : public ::testing::TestWithParam<Variant> {
 protected:
  void SetUp() override {
    if (!OpensslSigners::Get().ok()) GTEST_SKIP() << "openssl command not available";
  }
};

TEST_P(SignerInfoOpenssl, DecodesAndWritesBack) {
  const Variant& v = GetParam();
  const Bytes message = OpensslSigners::Get().Sign(v.name, v.options);
  ASSERT_FALSE(message.empty()) << "openssl " << v.options;
  const std::vector<Bytes> signers = SignerInfosOf(message);
  ASSERT_EQ(signers.size(), v.signers);
  if (v.options.find("-stream") != std::string::npos) {
    EXPECT_EQ(message[1], 0x80) << "expected an indefinite-length message";
  }

  for (const Bytes& input : signers) {
    MessageSignerInfo info;
    int error = -1;
    ASSERT_EQ(info.ReadData(input.data(), static_cast<DWORD>(input.size()), &error), input.size());
    ASSERT_EQ(error, 0);
    EXPECT_EQ(info.version, v.version);
    EXPECT_EQ(info.subjectKeyIdentifier.IsEmpty(), v.version == 1);
    EXPECT_TRUE(info.signatureAlgorithm.id == CTOOString("1.2.840.113549.1.1.1"));
    EXPECT_EQ(info.signature.size(), 256u);

    std::vector<std::string> oids;
    for (const OneAttributesSet& set : info.signedAttrs) oids.emplace_back(set.getAttrOID().c_str());
    EXPECT_EQ(oids, v.signedOids);

    const Bytes out = BytesOf(info.WriteData(&error));
    EXPECT_EQ(error, 0);
    if (v.nullParameters) {
      EXPECT_EQ(out, input);
    } else {
      // Absent digest parameters come back as NULL; everything else as received.
      EXPECT_EQ(out.size(), input.size() + 2);
      EXPECT_EQ(out, WithNullParameters(input));
    }
  }
}

TEST_P(SignerInfoOpenssl, SigningTimeIsTheOneOpensslWrote) {
  const Variant& v = GetParam();
  const Bytes message = OpensslSigners::Get().Sign(std::string(v.name) + "-time", v.options);
  const std::vector<Bytes> signers = SignerInfosOf(message);
  ASSERT_EQ(signers.size(), v.signers);
  const uint64_t now =
      Ticks(FileTimeOf(1970, 1, 1, 0, 0, 0)) + static_cast<uint64_t>(std::time(nullptr)) * 10000000ULL;

  for (const Bytes& input : signers) {
    MessageSignerInfo info;
    ASSERT_NE(info.ReadData(input.data(), static_cast<DWORD>(input.size()), nullptr), 0u);
    int error = -1;
    const FILETIME time = info.GetSigningData(&error);
    FILETIME written{};
    if (!SigningTimeIn(input, written)) {
      EXPECT_EQ(static_cast<DWORD>(error), 1168u);
      EXPECT_EQ(Ticks(time), 0u);
      continue;
    }
    EXPECT_EQ(error, 0);
    EXPECT_EQ(Ticks(time), Ticks(written));
    const uint64_t hour = 3600ULL * 10000000ULL;
    EXPECT_LT(Ticks(time), now + hour);
    EXPECT_GT(Ticks(time), now - hour);
  }
}

const std::vector<std::string> kFull{kContentType, kSigningTime, kDigest, kSmimeCap};
const std::vector<std::string> kNoCap{kContentType, kSigningTime, kDigest};

INSTANTIATE_TEST_SUITE_P(
    Messages, SignerInfoOpenssl,
    ::testing::Values(Variant{"cms", "cms -sign -nodetach A", 1, 1, kFull, false},
                      Variant{"cmsNoSmimeCap", "cms -sign -nodetach -nosmimecap A", 1, 1, kNoCap, false},
                      Variant{"cmsDetached", "cms -sign -nosmimecap A", 1, 1, kNoCap, false},
                      Variant{"cmsTwoSigners", "cms -sign -nodetach A B", 2, 1, kFull, false},
                      Variant{"cmsTwoSignersNoSmimeCap", "cms -sign -nosmimecap A B", 2, 1, kNoCap, false},
                      Variant{"cmsStreamed", "cms -sign -stream -nodetach -nosmimecap A", 1, 1, kNoCap,
                              false},
                      Variant{"cmsKeyId", "cms -sign -keyid -nosmimecap A", 1, 3, kNoCap, false},
                      Variant{"cmsNoAttr", "cms -sign -noattr A", 1, 1, {}, false},
                      Variant{"smime", "smime -sign -nodetach A", 1, 1, kFull, true},
                      Variant{"smimeNoSmimeCap", "smime -sign -nosmimecap A B", 2, 1, kNoCap, true}),
    [](const ::testing::TestParamInfo<Variant>& info) { return info.param.name; });

}  // namespace
}  // namespace cmskit::testing
