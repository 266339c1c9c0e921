// Bytes, files and the openssl command for the message suites (signed,
// interop, regression, cli). Independent of the library's own codec.
#ifndef CMSKIT_TESTS_COMMON_TEST_UTIL_H
#define CMSKIT_TESTS_COMMON_TEST_UTIL_H

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <system_error>

#include "cmskit/cmskit.h"
#include "common/bytes.h"

namespace cmskit_testing {

// One DER element of the concatenated parts.
template <class... Parts>
Bytes El(BYTE tag, const Parts&... parts) {
  return Tlv(tag, Cat({Bytes(parts)...}));
}

inline Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }
inline Bytes Of(const cmskit::IdentObj& object) {
  return Bytes(object.data(), object.data() + object.size());
}
inline cmskit::IdentObj Obj(const Bytes& bytes) {
  return cmskit::IdentObj(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

inline Bytes Pattern(size_t size, unsigned seed = 1) {
  Bytes out(size);
  std::mt19937 generator(seed);
  for (BYTE& b : out) b = static_cast<BYTE>(generator());
  return out;
}

inline size_t Find(const Bytes& haystack, const Bytes& needle) {
  return static_cast<size_t>(std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end()) -
                             haystack.begin());
}

// A private folder removed with everything in it.
class TempDir {
 public:
  TempDir() {
    path_ =
        std::filesystem::temp_directory_path() / ("cmskit-test-" + std::to_string(std::random_device()()));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::string Path(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// The cmskit tool, for the suites built with its path.
#ifdef CMSKIT_CLI_PATH
inline const char* const kTool = CMSKIT_CLI_PATH;
#else
inline const char* const kTool = nullptr;
#endif

inline bool Shell(const std::string& command) {
  return std::system(("(" + command + ") >/dev/null 2>&1").c_str()) == 0;
}

// RSA signers and recipients with self-signed certificates (NAME.crt,
// NAME.key, NAME.cer in DER), made on first use, and messages made of them by
// the openssl command. ok() is false without the command (Windows, Wine).
class Openssl {
 public:
  static Openssl& Get() {
    static Openssl instance;
    return instance;
  }
  bool ok() const { return ok_; }
  std::string Path(const std::string& name) const { return dir_.Path(name); }

  // `newkey` as `openssl req -newkey` takes it, with any -pkeyopt after it.
  std::string Cert(const std::string& who, const std::string& extra = "",
                   const std::string& newkey = "rsa:2048") {
    const std::string crt = Path(who + ".crt");
    if (!std::filesystem::exists(crt))
      Shell("openssl req -x509 -newkey " + newkey + " -nodes -days 1 -subj /CN=" + who + "/O=cmskit " +
            extra + " -keyout " + Path(who + ".key") + " -out " + crt + " && openssl x509 -in " + crt +
            " -outform DER -out " + Path(who + ".cer"));
    return crt;
  }

  // `openssl TOOL -binary -outform DER` of `content` with `options`, where
  // the words +NAME add NAME as signer (-signer, -inkey) and @NAME as
  // recipient. Empty when openssl fails.
  Bytes Make(const Bytes& content, const std::string& options, const std::string& name = "message") {
    const std::string in = Path(name + ".content"), out = Path(name + ".der");
    WriteBytes(in, content);
    std::string command = "openssl " + options.substr(0, options.find(' ')) + " -binary -outform DER";
    std::string recipients;
    for (size_t at = options.find(' '); at < options.size();) {
      const size_t end = std::min(options.find(' ', at + 1), options.size());
      const std::string word = options.substr(at + 1, end - at - 1);
      if (!word.empty() && word[0] == '+')
        command += " -signer " + Cert(word.substr(1)) + " -inkey " + Path(word.substr(1) + ".key");
      else if (!word.empty() && word[0] == '@')
        recipients += " " + Cert(word.substr(1));
      else
        command += " " + word;
      at = end;
    }
    std::remove(out.c_str());
    return Shell(command + " -in " + in + " -out " + out + recipients) ? ReadBytes(out) : Bytes();
  }

 private:
  Openssl() : ok_(Shell("openssl version")) {}
  TempDir dir_;
  bool ok_;
};

}  // namespace cmskit_testing

#endif
