// The key-transport recipient of a certificate: the content key encrypted to
// the certificate's public key.
#ifndef CMSKIT_MAKE_RECIPIENT_EXPORT_H
#define CMSKIT_MAKE_RECIPIENT_EXPORT_H

#include "cmskit/trans_recipient_info.h"
#include "platform/win32.h"

namespace cmskit {

// Named by the certificate's issuer and serial number; its key-encryption
// algorithm is the certificate's public-key algorithm. Failures raise the
// platform's code as a status.
TransRecipientInfo ExportToRecipient(const CERT_CONTEXT& cert, HCRYPTPROV prov, HCRYPTKEY contentKey);

}  // namespace cmskit

#endif
