// Reference-counted immutable narrow strings of the tools library.
#ifndef CMSKIT_TSTRING_H
#define CMSKIT_TSTRING_H

#include <cstdarg>
#include <cstdint>

#include "export.h"
#include "platform/win32.h"

namespace cmskit {

// Intrusive, atomically counted base of shared bodies.
class CMSKIT_API CTOOReference {
 public:
  CTOOReference() = default;
  CTOOReference(const CTOOReference&) = delete;
  CTOOReference& operator=(const CTOOReference&) = delete;
  virtual ~CTOOReference();
  virtual int32_t AddRef();
  // Destroys the object when the count drops from 1; returns the count left.
  virtual int32_t Release();

 private:
  int32_t refCount_ = 1;
};

class CMSKIT_API CTOOString {
 public:
  class CTOOStringImp;

  CTOOString() = default;
  CTOOString(const char* text);  // NOLINT: implicit by design, like the texts it replaces
  explicit CTOOString(char ch);
  CTOOString(const CTOOString& other);
  ~CTOOString();

  CTOOString& operator=(const CTOOString& other);
  CTOOString& operator=(const char* text);
  void Assign(const char* data, uint32_t length);

  const char* c_str() const;
  uint32_t GetLength() const;
  bool IsEmpty() const { return GetLength() == 0; }

  bool operator==(const CTOOString& other) const;
  bool operator!=(const CTOOString& other) const { return !(*this == other); }
  CTOOString& operator+=(const CTOOString& other);
  CTOOString& operator+=(const char* text);

  void Format(const char* fmt, ...);
  void FormatV(const char* fmt, va_list args);
  virtual void LoadFormat(uint32_t id, ...);
  virtual void LoadFormat(const char* module, uint32_t id, ...);

  void Trim(uint32_t flags);

  // String resource `id` of `module` ("TOOLS2": this library's own table).
  static CTOOString LoadString(uint32_t id, const char* module);
  static CTOOString LoadString(uint32_t id);

  enum TrimFlags : uint32_t {
    TrimLeadingSpaces = 0x01,
    TrimTrailingSpaces = 0x02,
    TrimTrailingLineFeed = 0x04,
    TrimTrailingSlash = 0x10,
    TrimHttpPrefix = 0x20,
    TrimTrailingNewlines = 0x40,
    TrimAllSpaces = 0x80,
    TrimQuotes = 0x100,
  };

 private:
  void Adopt(CTOOStringImp* body);
  void MakeFrom(const char* text, uint32_t length);

  CTOOStringImp* imp_ = nullptr;
};

}  // namespace cmskit

#endif
