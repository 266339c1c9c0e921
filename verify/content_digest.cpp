#include "verify/content_digest.h"

#include <algorithm>

#include "verify/crypt_handles.h"

namespace cmskit {

namespace {

// Blocks handed to the hash object: large enough that the per-call cost
// vanishes, small enough to stay well inside a DWORD.
constexpr size_t kBlock = size_t{1} << 20;

DWORD HashMemory(HCRYPTHASH hash, const BYTE* data, size_t size) {
  while (size != 0) {
    const size_t part = std::min(size, kBlock);
    if (!CryptHashData(hash, data, static_cast<DWORD>(part), 0)) return LastCryptError();
    data += part;
    size -= part;
  }
  return 0;
}

class HashingSink : public ContentSink {
 public:
  explicit HashingSink(HCRYPTHASH hash) : hash_(hash) {}
  bool Take(const BYTE* data, size_t size) override {
    code_ = HashMemory(hash_, data, size);
    return code_ == 0;
  }
  DWORD code() const { return code_; }

 private:
  HCRYPTHASH hash_;
  DWORD code_ = 0;
};

DWORD HashMessage(HCRYPTHASH hash, const SignData& message) {
  HashingSink sink(hash);
  int error = 0;
  if (message.StreamContent(sink, &error)) return 0;
  // A sink that stopped the delivery knows why better than the reader does.
  if (sink.code() != 0) return sink.code();
  return error ? static_cast<DWORD>(error) : static_cast<DWORD>(ERROR_READ_FAULT);
}

// The message reader walks plain and segmented ranges alike; a carrier
// object lends it to a range that came from elsewhere.
DWORD HashFileRange(HCRYPTHASH hash, const ToSignStruct64& range) {
  if (!(range.flags & ToSignStruct64::kInFile) || !range.data) return ERROR_BAD_ARGUMENTS;
  SignData carrier;
  int error = 0;
  if (!carrier.AttachData64(range, &error)) return error ? static_cast<DWORD>(error) : ERROR_BAD_ARGUMENTS;
  return HashMessage(hash, carrier);
}

}  // namespace

ContentSource ContentSource::Memory(const BYTE* data, size_t size) {
  ContentSource source;
  source.kind = Kind::kMemory;
  source.data = data;
  source.size = data ? size : 0;
  return source;
}

ContentSource ContentSource::FileRange(const ToSignStruct64& range) {
  ContentSource source;
  source.kind = Kind::kFileRange;
  source.range = range;
  return source;
}

ContentSource ContentSource::File(const char* path) {
  ContentSource source;
  source.kind = Kind::kFile;
  source.range.flags = ToSignStruct64::kInFile;
  source.range.data = const_cast<char*>(path);
  source.range.begin = 0;
  source.range.end = ToSignStruct64::kToEndOfFile;
  return source;
}

ContentSource ContentSource::Message(const SignData& message) {
  ContentSource source;
  source.kind = Kind::kMessage;
  source.message = &message;
  return source;
}

DWORD HashContent(HCRYPTHASH hash, const ContentSource& source) {
  switch (source.kind) {
    case ContentSource::Kind::kMemory:
      return HashMemory(hash, source.data, source.size);
    case ContentSource::Kind::kFileRange:
    case ContentSource::Kind::kFile:
      return HashFileRange(hash, source.range);
    case ContentSource::Kind::kMessage:
      return source.message ? HashMessage(hash, *source.message) : ERROR_BAD_ARGUMENTS;
  }
  return ERROR_BAD_ARGUMENTS;
}

DWORD ReadHashValue(HCRYPTHASH hash, std::vector<BYTE>& value) {
  DWORD size = 0;
  if (!CryptGetHashParam(hash, HP_HASHVAL, nullptr, &size, 0)) return LastCryptError();
  value.resize(size);
  if (!CryptGetHashParam(hash, HP_HASHVAL, value.data(), &size, 0)) return LastCryptError();
  value.resize(size);
  return 0;
}

DWORD DigestContent(HCRYPTPROV provider, ALG_ID algorithm, const ContentSource& source,
                    std::vector<BYTE>& digest) {
  HashHandle hash;
  if (!CryptCreateHash(provider, algorithm, 0, 0, hash.Receive())) return LastCryptError();
  if (const DWORD code = HashContent(hash.get(), source)) return code;
  return ReadHashValue(hash.get(), digest);
}

}  // namespace cmskit
