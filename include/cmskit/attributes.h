// Signed and unsigned attributes of a signer info. Signatures are computed
// over the attribute bytes, so a set that was read and not changed is written
// back exactly as received, and a SET OF is never re-sorted.
#ifndef CMSKIT_ATTRIBUTES_H
#define CMSKIT_ATTRIBUTES_H

#include <cstddef>
#include <list>

#include "export.h"
#include "identobj.h"
#include "platform/win32.h"
#include "tstring.h"

namespace cmskit {

// One Attribute: the attrType as dotted text and attrValues kept whole (its
// SET tag and length included).
class CMSKIT_API Attribute {
 public:
  Attribute() = default;
  Attribute(const CTOOString& oid, const IdentObj& values);
  Attribute(const Attribute& other) = default;
  Attribute& operator=(const Attribute& other) = default;

  // Parses one Attribute at `data`; returns the bytes consumed (0 after a
  // failure when pError is null).
  DWORD ReadData(const unsigned char* data, DWORD length, int* pError);
  // SEQUENCE { attrType, attrValues as stored }; empty after a failure.
  IdentObj WriteData(int* pError) const;

  CTOOString attrOID;
  IdentObj values;
};

// One attribute with its values held separately, plus the bytes it was read
// from: until something changes, writing gives those bytes back unchanged.
class CMSKIT_API OneAttributesSet {
 public:
  OneAttributesSet() = default;
  OneAttributesSet(const OneAttributesSet& other) = default;
  OneAttributesSet& operator=(const OneAttributesSet& other) = default;

  const CTOOString& getAttrOID() const { return attrOID_; }
  void setAttrOID(const CTOOString& oid);
  size_t getEntryCount() const { return entries_.size(); }
  // An index at or past the end gives one shared empty object.
  const IdentObj& getEntry(size_t index) const;
  void pushBackEntry(const IdentObj& entry);
  void setModified() { modified_ = true; }

  // The type and the values take part; the received bytes do not.
  bool operator==(const OneAttributesSet& other) const;
  // Never true: sorting an attribute list must not reorder it.
  bool operator<(const OneAttributesSet& other) const;

  // Always 0: the outcome goes through pError, or without it through the
  // last error and a rethrow of the failure.
  DWORD ReadData(const unsigned char* data, DWORD length, int* pError);
  // Without pError a failure sets the last error and is rethrown.
  IdentObj WriteData(int* pError) const;

 private:
  friend class AttributesList;

  // The two codecs without the exported error handling: failures throw.
  void Parse(const BYTE* data, DWORD length);
  IdentObj Build() const;
  IdentObj BuildValues() const;

  CTOOString attrOID_;
  std::list<IdentObj> entries_;
  IdentObj received_;
  bool modified_ = false;
};

// The signedAttrs or unsignedAttrs field: the attributes in document order
// and the tag they are written under.
class CMSKIT_API AttributesList : public std::list<OneAttributesSet> {
 public:
  AttributesList() = default;
  AttributesList(const AttributesList& other) = default;
  AttributesList& operator=(const AttributesList& other) = default;

  // Any tag and class are accepted; the tag number is kept, the class flag is
  // left as it was. Returns the element's size, 0 on failure.
  DWORD ReadData(const unsigned char* data, DWORD length, int* pError);
  // Without pError a failure sets the last error and is rethrown.
  IdentObj WriteData(int* pError) const;

  DWORD tag = 0;
  // False: written with the context-specific class.
  bool universalClass = false;

 private:
  // The codecs without the exported error handling: failures throw.
  DWORD Parse(const BYTE* data, DWORD length);
  IdentObj Build() const;
};

}  // namespace cmskit

#endif
