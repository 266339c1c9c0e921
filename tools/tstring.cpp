#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "cmskit/tstring.h"
#include "platform/win32.h"
#include "tools/module.h"

namespace cmskit {

namespace {
const char kEmptyText[] = "";

std::atomic<int32_t>& AsAtomic(int32_t& value) {
  static_assert(sizeof(std::atomic<int32_t>) == sizeof(int32_t), "atomic count must fit the field");
  return *reinterpret_cast<std::atomic<int32_t>*>(&value);
}
}  // namespace

CTOOReference::~CTOOReference() = default;

int32_t CTOOReference::AddRef() { return AsAtomic(refCount_).fetch_add(1) + 1; }

int32_t CTOOReference::Release() {
  const int32_t before = AsAtomic(refCount_).fetch_sub(1);
  if (before == 1) {
    delete this;
    return 0;
  }
  return before - 1;
}

class CTOOString::CTOOStringImp : public CTOOReference {
 public:
  CTOOStringImp() = default;
  ~CTOOStringImp() override { delete[] text; }
  char* text = nullptr;
  uint32_t length = 0;
};

namespace {
// A body holding `length` bytes of `text`, or null when memory ran out: the
// string then stays empty.
CTOOString::CTOOStringImp* NewBody(const char* text, uint32_t length) {
  auto* body = new (std::nothrow) CTOOString::CTOOStringImp();
  if (!body) return nullptr;
  body->text = new (std::nothrow) char[static_cast<size_t>(length) + 1];
  if (!body->text) {
    body->Release();
    return nullptr;
  }
  memcpy(body->text, text, length);
  body->text[length] = '\0';
  body->length = length;
  return body;
}
}  // namespace

CTOOString::CTOOString(const char* text) { MakeFrom(text, text ? static_cast<uint32_t>(strlen(text)) : 0); }

CTOOString::CTOOString(char ch) { imp_ = NewBody(&ch, 1); }

CTOOString::CTOOString(const CTOOString& other) : imp_(other.imp_) {
  if (imp_) imp_->AddRef();
}

CTOOString::~CTOOString() {
  if (imp_) imp_->Release();
}

void CTOOString::Adopt(CTOOStringImp* body) {
  if (imp_) imp_->Release();
  imp_ = body;
}

void CTOOString::MakeFrom(const char* text, uint32_t length) {
  Adopt(text && length ? NewBody(text, length) : nullptr);
}

CTOOString& CTOOString::operator=(const CTOOString& other) {
  if (other.imp_) other.imp_->AddRef();
  Adopt(other.imp_);
  return *this;
}

CTOOString& CTOOString::operator=(const char* text) {
  if (imp_ && text == imp_->text) return *this;
  MakeFrom(text, text ? static_cast<uint32_t>(strlen(text)) : 0);
  return *this;
}

void CTOOString::Assign(const char* data, uint32_t length) {
  std::unique_ptr<char[]> temp(new (std::nothrow) char[static_cast<size_t>(length) + 1]());
  if (!temp) return;
  if (data) memcpy(temp.get(), data, length);
  *this = temp.get();
}

const char* CTOOString::c_str() const { return imp_ ? imp_->text : kEmptyText; }

uint32_t CTOOString::GetLength() const { return imp_ ? imp_->length : 0; }

bool CTOOString::operator==(const CTOOString& other) const {
  if (GetLength() == 0 || other.GetLength() == 0) return GetLength() == other.GetLength();
  return strcmp(c_str(), other.c_str()) == 0;
}

CTOOString& CTOOString::operator+=(const CTOOString& other) {
  if (GetLength() == 0) return *this = other;
  if (other.GetLength() == 0) return *this;
  const uint32_t total = GetLength() + other.GetLength();
  std::string joined(c_str(), GetLength());
  joined.append(other.c_str(), other.GetLength());
  Adopt(NewBody(joined.data(), total));
  return *this;
}

CTOOString& CTOOString::operator+=(const char* text) { return *this += CTOOString(text); }

namespace {

enum class SizePrefix { None, Short, Long, LongLong, LongDouble };

// Reads the digits of a width or precision, or takes it from the arguments.
size_t ReadCount(const char*& p, va_list& args) {
  if (*p == '*') {
    ++p;
    const int value = va_arg(args, int);
    return value > 0 ? static_cast<size_t>(value) : 0;
  }
  const size_t value = static_cast<size_t>(atoi(p));
  while (isdigit(static_cast<unsigned char>(*p))) ++p;
  return value;
}

SizePrefix ReadSizePrefix(const char*& p) {
  SizePrefix prefix = SizePrefix::None;
  for (;;) {
    if (strncmp(p, "I64", 3) == 0) {
      prefix = SizePrefix::LongLong;
      p += 3;
    } else if (*p == 'h') {
      prefix = SizePrefix::Short;
      ++p;
    } else if (*p == 'l') {
      prefix = prefix == SizePrefix::Long ? SizePrefix::LongLong : SizePrefix::Long;
      ++p;
    } else if (*p == 'L') {
      prefix = SizePrefix::LongDouble;
      ++p;
    } else if (*p == 'F' || *p == 'N') {
      ++p;
    } else {
      return prefix;
    }
  }
}

void SkipInteger(SizePrefix prefix, va_list& args) {
  if (prefix == SizePrefix::LongLong)
    (void)va_arg(args, long long);
  else if (prefix == SizePrefix::Long)
    (void)va_arg(args, long);
  else
    (void)va_arg(args, int);
}

// Exact size of a fixed-point conversion, formatted into a scratch buffer.
size_t MeasureFixed(size_t width, size_t precision, SizePrefix prefix, va_list& args) {
  const size_t scratchSize = std::max(width, precision + 318) + 15;
  std::unique_ptr<char[]> scratch(new (std::nothrow) char[scratchSize]);
  if (!scratch) throw "MemoryError";
  int n;
  if (prefix == SizePrefix::LongDouble)
    n = snprintf(scratch.get(), scratchSize, "%*.*Lf", static_cast<int>(width),
                 static_cast<int>(precision + 6), va_arg(args, long double));
  else
    n = snprintf(scratch.get(), scratchSize, "%*.*f", static_cast<int>(width),
                 static_cast<int>(precision + 6), va_arg(args, double));
  return n > 0 ? static_cast<size_t>(n) : 0;
}

// The size estimate of one conversion, consuming its arguments.
size_t EstimateConversion(const char*& p, va_list& args) {
  size_t size = 0;
  for (;; ++p) {
    if (*p == '#')
      size += 2;
    else if (*p != '-' && *p != '+' && *p != '0' && *p != ' ')
      break;
  }
  const size_t width = ReadCount(p, args);
  size_t precision = 0;
  bool hasPrecision = false;
  if (*p == '.') {
    ++p;
    hasPrecision = true;
    precision = ReadCount(p, args);
  }
  const SizePrefix prefix = ReadSizePrefix(p);
  const char conversion = *p;
  if (conversion == '\0') return size;
  ++p;
  switch (conversion) {
    case 's': {
      const char* text = va_arg(args, const char*);
      size_t length = text ? std::max<size_t>(strlen(text), 1) : 6;
      if (hasPrecision && precision < length) length = precision;
      return size + std::max(length, width);
    }
    case 'c':
      (void)va_arg(args, int);
      return size + std::max<size_t>(2, width);
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
      SkipInteger(prefix, args);
      return size + std::max<size_t>(32, width + precision);
    case 'p':
      (void)va_arg(args, void*);
      return size + std::max<size_t>(32, width + precision);
    case 'e':
    case 'E':
    case 'g':
    case 'G':
      if (prefix == SizePrefix::LongDouble)
        (void)va_arg(args, long double);
      else
        (void)va_arg(args, double);
      return size + std::max<size_t>(128, width + precision);
    case 'f':
      return size + MeasureFixed(width, precision, prefix, args);
    case 'n':
      (void)va_arg(args, void*);
      return size;
    default:
      return size;
  }
}

size_t EstimateFormat(const char* fmt, va_list& args) {
  size_t total = 0;
  for (const char* p = fmt; *p;) {
    if (*p != '%') {
      ++total;
      ++p;
    } else if (p[1] == '%') {
      ++total;
      p += 2;
    } else {
      ++p;
      total += EstimateConversion(p, args);
    }
  }
  return total;
}

}  // namespace

void CTOOString::Format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  FormatV(fmt, args);
  va_end(args);
}

void CTOOString::FormatV(const char* fmt, va_list args) {
  if (IsBadStringPtrA(fmt, static_cast<ULONG_PTR>(-1))) return;
  va_list scan;
  va_copy(scan, args);
  const size_t estimate = EstimateFormat(fmt, scan);
  va_end(scan);
  std::unique_ptr<char[]> buffer(new (std::nothrow) char[estimate + 1]());
  if (!buffer) throw "MemoryError";
  const int written = vsnprintf(buffer.get(), estimate + 1, fmt, args);
  if (written < 0 || static_cast<size_t>(written) > estimate)
    *this = fmt;
  else
    *this = buffer.get();
}

void CTOOString::LoadFormat(uint32_t id, ...) {
  const CTOOString fmt = LoadString(id);
  va_list args;
  va_start(args, id);
  FormatV(fmt.c_str(), args);
  va_end(args);
}

void CTOOString::LoadFormat(const char* module, uint32_t id, ...) {
  const CTOOString fmt = LoadString(id, module ? module : "TOOLS2");
  va_list args;
  va_start(args, id);
  FormatV(fmt.c_str(), args);
  va_end(args);
}

namespace {

// The module a string lookup reads, with whether the lookup loaded it.
struct ResourceModule {
  HMODULE handle = nullptr;
  bool loaded = false;
  ~ResourceModule() {
    if (loaded) FreeLibrary(handle);
  }
};

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

void ChooseModule(const char* module, ResourceModule& out) {
  if (!module) {
    out.handle = GetModuleHandleA(nullptr);
    return;
  }
  if (_strnicmp(module, "TOOLS2", 6) == 0) {
    out.handle = OwnModuleInstance();
    return;
  }
  char exePath[MAX_PATH + 2] = {};
  const DWORD n = GetModuleFileNameA(nullptr, exePath, MAX_PATH);
  std::string folder(exePath, n);
  while (!folder.empty() && !IsSeparator(folder.back())) folder.pop_back();
  if (folder.size() + strlen(module) >= 262) return;
  const std::string path = folder + module;
  out.handle = GetModuleHandleA(path.c_str());
  if (out.handle) return;
  out.handle = LoadLibraryA(path.c_str());
  out.loaded = out.handle != nullptr;
}

}  // namespace

CTOOString CTOOString::LoadString(uint32_t id, const char* module) {
  ResourceModule source;
  ChooseModule(module, source);
  CTOOString result;
  if (!source.handle) return result;
  for (int size = 256;; size += 256) {
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[static_cast<size_t>(size)]());
    if (!buffer) throw "MemoryError";
    const int count = LoadStringA(source.handle, id, buffer.get(), size);
    if (count < size - 1) {
      result = buffer.get();
      return result;
    }
  }
}

CTOOString CTOOString::LoadString(uint32_t id) { return LoadString(id, "TOOLS2"); }

namespace {

bool StartsWithNoCase(const std::string& text, const char* prefix) {
  const size_t n = strlen(prefix);
  return text.size() >= n && _strnicmp(text.c_str(), prefix, n) == 0;
}

void DropLeading(std::string& s, const char* set) { s.erase(0, s.find_first_not_of(set)); }

void DropTrailing(std::string& s, const char* set) {
  const size_t last = s.find_last_not_of(set);
  s.erase(last == std::string::npos ? 0 : last + 1);
}

}  // namespace

void CTOOString::Trim(uint32_t flags) {
  std::string s(c_str(), GetLength());
  if (flags & TrimLeadingSpaces) DropLeading(s, " ");
  if (flags & TrimTrailingSpaces) DropTrailing(s, " ");
  if (flags & TrimQuotes) {
    DropLeading(s, "\" ");
    DropTrailing(s, "\" ");
  }
  if ((flags & TrimTrailingSlash) && !s.empty() && IsSeparator(s.back())) s.pop_back();
  if ((flags & TrimTrailingLineFeed) && !s.empty() && s.back() == '\n') s.pop_back();
  if (flags & TrimTrailingNewlines) DropTrailing(s, "\r\n");
  if ((flags & TrimHttpPrefix) && s.size() >= 8) {
    if (StartsWithNoCase(s, "http://")) s.erase(0, 7);
    if (!s.empty() && s.back() == '/') s.pop_back();
  }
  if (flags & TrimAllSpaces) {
    DropTrailing(s, " ");
    DropLeading(s, " ");
    if (!s.empty()) s.erase(std::remove(s.begin() + 1, s.end(), ' '), s.end());
  }
  if (s.size() != GetLength()) MakeFrom(s.data(), static_cast<uint32_t>(s.size()));
}

}  // namespace cmskit
