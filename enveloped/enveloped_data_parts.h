// The encoded pieces of an EnvelopedData message other than its encrypted
// content, shared by the memory writer and the streaming file writer.
#ifndef CMSKIT_ENVELOPED_ENVELOPED_DATA_PARTS_H
#define CMSKIT_ENVELOPED_ENVELOPED_DATA_PARTS_H

#include "cmskit/enveloped_data.h"
#include "cmskit/identobj.h"

namespace cmskit {

constexpr char kEnvelopedDataType[] = "1.2.840.113549.1.7.3";

struct EnvelopedDataParts {
  IdentObj contentType;  // OBJECT IDENTIFIER of the ContentInfo
  IdentObj version;
  IdentObj originator;  // [0] around the OriginatorInfo SEQUENCE; empty when there is none
  IdentObj recipients;  // SET of the recipients in list order
  IdentObj attributes;  // [1] around the SET of attributes; empty when there are none
};

EnvelopedDataParts EncodeEnvelopedDataParts(const EnvelopedData& source, const char* origin);

}  // namespace cmskit

#endif
