// Byte strings and test files: the helpers every suite needs.
#ifndef CMSKIT_TESTS_COMMON_BYTES_H
#define CMSKIT_TESTS_COMMON_BYTES_H

#include <cctype>
#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/der.h"

namespace cmskit_testing {

using Bytes = std::vector<BYTE>;

inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

// Octets written as text, the same in code and in the data files: hex
// ("30 0A", spaces optional), 'text', TAG{...} for an element with a DER
// length, TAG[...] for one of indefinite length closed by 00 00, (...) to
// group, ~N for N octets of a pattern that does not repeat at powers of two
// (octet i is i % 251), and *N after any of them for N copies.
class Octets {
 public:
  static Bytes Parse(const std::string& text) {
    Octets parser(text);
    const Bytes out = parser.Sequence('\0');
    if (parser.at_ != text.size()) parser.Fail();
    return out;
  }

 private:
  explicit Octets(const std::string& text) : text_(text) {}

  Bytes Sequence(char close) {
    Bytes out;
    for (Skip(); at_ < text_.size() && text_[at_] != close; Skip()) {
      const Bytes item = Item();
      for (size_t copies = Take('*') ? Number() : 1; copies > 0; --copies)
        out.insert(out.end(), item.begin(), item.end());
    }
    if (close && !Take(close)) Fail();
    return out;
  }
  Bytes Item() {
    if (Take('(')) return Sequence(')');
    if (Take('~')) {
      Bytes out(Number());
      for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<BYTE>(i % 251);
      return out;
    }
    if (Take('\'')) {
      const size_t start = at_, end = text_.find('\'', at_);
      if (end == std::string::npos) Fail();
      at_ = end + 1;
      return Bytes(text_.begin() + static_cast<long>(start), text_.begin() + static_cast<long>(end));
    }
    Bytes octets;
    for (; at_ + 1 < text_.size() && isxdigit(Char(0)) && isxdigit(Char(1)); at_ += 2)
      octets.push_back(static_cast<BYTE>(std::stoul(text_.substr(at_, 2), nullptr, 16)));
    if (octets.empty()) Fail();
    if (Take('[')) return Cat({octets, {0x80}, Sequence(']'), {0, 0}});
    if (!Take('{')) return octets;
    Bytes element = Tlv(octets.back(), Sequence('}'));  // the tag's last octet, then its length
    element.insert(element.begin(), octets.begin(), octets.end() - 1);
    return element;
  }
  size_t Number() {
    size_t used = 0;
    const size_t value = std::stoul(text_.substr(at_), &used);
    at_ += used;
    return value;
  }
  int Char(size_t ahead) const { return static_cast<unsigned char>(text_[at_ + ahead]); }
  bool Take(char c) { return at_ < text_.size() && text_[at_] == c && ++at_; }
  void Skip() {
    while (at_ < text_.size() && isspace(Char(0))) ++at_;
  }
  [[noreturn]] void Fail() const {
    throw std::invalid_argument("no octets at " + std::to_string(at_) + " in \"" + text_ + "\"");
  }

  const std::string& text_;
  size_t at_ = 0;
};

inline Bytes Hex(const std::string& text) { return Octets::Parse(text); }

// "01 02 03", the spaced form Hex reads back.
inline std::string ToHex(const BYTE* data, size_t size) {
  std::string out;
  char octet[4];
  for (size_t i = 0; i < size; ++i) {
    snprintf(octet, sizeof octet, i ? " %02X" : "%02X", data[i]);
    out += octet;
  }
  return out;
}
inline std::string ToHex(const Bytes& bytes) { return ToHex(bytes.data(), bytes.size()); }

inline Bytes ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline std::string TestData(const std::string& name) { return std::string(CMSKIT_TEST_DATA) + "/" + name; }

}  // namespace cmskit_testing

#endif
