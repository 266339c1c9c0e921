// The signed attributes a signature covers, taken from the SignerInfo as it
// was received, and the two attributes every signature over them relies on.
#ifndef CMSKIT_VERIFY_SIGNED_ATTRIBUTES_H
#define CMSKIT_VERIFY_SIGNED_ATTRIBUTES_H

#include <string>
#include <vector>

#include "cmskit/attributes.h"
#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

constexpr char kOidContentTypeAttr[] = "1.2.840.113549.1.9.3";
constexpr char kOidMessageDigestAttr[] = "1.2.840.113549.1.9.4";

// The [0] signedAttrs element of the encoded SignerInfo with its identifier
// octet made the SET OF tag (0x31), octet for octet otherwise: what the
// signer signed. Empty when the signer info has none; false when it cannot
// be walked.
bool ReceivedSignedAttributes(const IdentObj& signerInfo, std::vector<BYTE>& octets);

// The dotted text of the contentType attribute's value; false when absent
// or not one OBJECT IDENTIFIER.
bool ContentTypeAttribute(const AttributesList& attributes, std::string& oid);
// The octets of the messageDigest attribute's OCTET STRING; false when
// absent or unreadable.
bool MessageDigestAttribute(const AttributesList& attributes, std::vector<BYTE>& digest);

}  // namespace cmskit

#endif
