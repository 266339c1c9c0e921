// A CMS ContentInfo holding a SignedData, and the descriptor through which
// its encapsulated content travels in and out (memory buffer or file range).
#ifndef CMSKIT_SIGN_DATA_H
#define CMSKIT_SIGN_DATA_H

#include <cstddef>
#include <cstdint>
#include <list>

#include "asn_record.h"
#include "asn_types.h"
#include "export.h"
#include "file.h"
#include "identobj.h"
#include "platform/win32.h"
#include "tstring.h"

namespace cmskit {

// Content handed to or from a SignData: a memory range of `data` or, with
// kInFile, the byte range [begin, end) of the file named by `data`.
// Plain data: copies never duplicate or free what `data` points to.
struct CMSKIT_API ToSignStruct {
  // `data` is a NUL-terminated file name.
  static constexpr DWORD kInFile = 1;
  // The file range holds the segments of a constructed OCTET STRING.
  static constexpr DWORD kChunkedFile = 2;
  // The file reader stamps this on every file range it records.
  static constexpr DWORD kFileMark = 0x20000;
  // An `end` of all ones means "up to the end of the file".
  static constexpr DWORD kToEndOfFile = 0xFFFFFFFF;

  ToSignStruct();
  ToSignStruct(const ToSignStruct& other);
  ToSignStruct& operator=(const ToSignStruct& other);

  DWORD flags;
  DWORD fileMark;
  void* data;
  DWORD begin;
  DWORD end;
  uint64_t extra;
};

// Callers exchange this structure with other modules by its layout: four
// 64-bit words.
static_assert(sizeof(ToSignStruct) == 32, "ToSignStruct is four 64-bit words");
static_assert(offsetof(ToSignStruct, fileMark) == 4, "fileMark shares the first word");
static_assert(offsetof(ToSignStruct, data) == 8, "data is the second word");
static_assert(offsetof(ToSignStruct, begin) == 16 && offsetof(ToSignStruct, end) == 20,
              "begin and end share the third word");
static_assert(offsetof(ToSignStruct, extra) == 24, "extra is the fourth word");

// The 64-bit sibling of ToSignStruct, for content in files of 4 GiB and
// more: the same members and meanings with 64-bit offsets. An `end` of all
// ones means "up to the end of the file".
struct CMSKIT_API ToSignStruct64 {
  static constexpr DWORD kInFile = ToSignStruct::kInFile;
  static constexpr DWORD kChunkedFile = ToSignStruct::kChunkedFile;
  static constexpr DWORD kFileMark = ToSignStruct::kFileMark;
  static constexpr uint64_t kToEndOfFile = UINT64_MAX;

  // All zero.
  ToSignStruct64();
  // The same range; ToSignStruct's "to the end of the file" stays that.
  explicit ToSignStruct64(const ToSignStruct& narrow);
  // The 32-bit form of this range into `out`; false (and `out` untouched)
  // when an offset does not fit 32 bits.
  bool Narrow(ToSignStruct& out) const;

  DWORD flags;
  DWORD fileMark;
  void* data;
  uint64_t begin;
  uint64_t end;
  uint64_t extra;
};

// Receives content octets in order, one block at a time.
class CMSKIT_API ContentSink {
 public:
  virtual ~ContentSink();
  // False stops the delivery.
  virtual bool Take(const BYTE* data, size_t size) = 0;
};

class SignDataTestPeer;
struct ASNTSpan;

// One ContentInfo/SignedData as lists of received encodings and small values.
// Certificates, CRLs and SignerInfos are kept as whole DER elements, in the
// order received, so that writing gives back what was read.
class CMSKIT_API SignData {
 public:
  SignData();
  SignData(const SignData& other);
  SignData& operator=(const SignData& other);
  ~SignData();

  const ToSignStruct& GetDataInfo() const { return dataInfo; }
  // Generous estimate of the SignedData length, for sizing buffers.
  DWORD GetDataSize();
  DWORD GetObjectSize();

  bool AttachData(const ToSignStruct& content, int* pError);
  bool DetachData(ToSignStruct& out, int* pError);

  bool ReadObject(const BYTE* pData, DWORD cbData, int* pError);
  // Reads at `offset` (0xFFFFFFFF: where the file stands); returns the bytes
  // the message occupies, 0 on failure. The content stays in the file.
  DWORD ReadObject(const CTOOFile& file, DWORD offset, int* pError);

  IdentObj WriteObject(int* pError);
  // Streams the message at `offset` (0xFFFFFFFF: where the file stands);
  // returns the bytes written, 0 on failure (reported as last error).
  DWORD WriteObject(CTOOFile& file, DWORD offset);

  // 64-bit companions of the members above that take or give file offsets
  // and sizes, for messages and content of 4 GiB and more; they behave as
  // their 32-bit siblings in every other respect. An offset of all ones means
  // "where the file stands". The 32-bit members keep their behaviour for
  // anything they can express; for a message, offset or content range of
  // 4 GiB or more they fail with ERROR_FILE_TOO_LARGE (223), also when the
  // range was recorded by a 64-bit member.
  ToSignStruct64 GetDataInfo64() const;
  bool AttachData64(const ToSignStruct64& content, int* pError);
  bool DetachData64(ToSignStruct64& out, int* pError);
  uint64_t ReadObject64(const CTOOFile& file, uint64_t offset, int* pError);
  uint64_t WriteObject64(CTOOFile& file, uint64_t offset);

  // Hands the encapsulated content to `sink` in blocks (of at most 1 MiB)
  // without taking it out of the object: the octets held in memory, or the
  // file range as the file reader recorded it (plain or in segments; any
  // size). Returns false with the platform code in *pError and the last
  // error when the range cannot be read (as DetachData would report it), or
  // ERROR_CANCELLED (1223) when the sink stopped the delivery.
  bool StreamContent(ContentSink& sink, int* pError) const;

  DWORD version;
  std::list<ASNAlgorithmIdentifier> digestAlgorithms;
  CASNTIdData encapContentInfo;
  std::list<IdentObj> certificates;
  std::list<IdentObj> crls;
  std::list<IdentObj> signerInfos;
  IdentObj contentType;
  ToSignStruct dataInfo;
  CTOOString workPath;

 private:
  friend class SignDataTestPeer;

  // Rebuilds the lists from a parsed ContentInfo tree; failures go to the
  // thread's last error only.
  void FillEntry(const CASNTUnit& root);

  // The in-memory reader looks at spans of the caller's buffer and copies
  // only what the object keeps.
  bool ReadSignedData(const BYTE* data, DWORD size, int* pError);
  bool ReadOptionalSets(const ASNTSpan* child, const ASNTSpan* end, int* pError);
  int ReadObject_AlgList(const IdentObj& element);
  int ReadObject_EncapsContentInfo(const IdentObj& element);
  int ReadObject_CertificateSet(const IdentObj& element);
  int ReadObject_CRLList(const IdentObj& element);
  int ReadAlgList(const ASNTSpan& element);
  int ReadEncapsContentInfo(const ASNTSpan& element);
  int ReadContentChild(const ASNTSpan& child);
  int ReadElementSet(const ASNTSpan& element, uint32_t tagNumber, std::list<IdentObj>& out);
  DWORD DetachContent(ToSignStruct64& out, bool wide);
  // The content's place as the 64-bit members see it: `dataInfo`, unless a
  // 64-bit member recorded a range there that `dataInfo` cannot hold and
  // `dataInfo` still holds what it left.
  ToSignStruct64 ContentRange() const;
  // True when ContentRange is such a range: the 32-bit members refuse it.
  bool ContentTooLarge() const;
  void SetContentRange(const ToSignStruct64& range);
  // The end an open ("to the end of the file") range resolved to.
  void ResolveContentEnd(uint64_t end);

  ToSignStruct64 wideRange_;
  ToSignStruct wideMark_;
  bool wide_ = false;
};

}  // namespace cmskit

#endif
