// Key parameter access shared by the parameter functions and the size
// arithmetic of enveloped content.
#ifndef CMSKIT_ENVELOPED_KEY_PARAMS_H
#define CMSKIT_ENVELOPED_KEY_PARAMS_H

#include "cmskit/identobj.h"
#include "platform/win32.h"

namespace cmskit {

constexpr char kGost28147Oid[] = "1.2.643.2.2.21";
// Provider parameters of GOST keys: the key meshing mode (a DWORD, 1 turns on
// the meshing CMS requires) and the cipher parameter set as dotted text.
constexpr DWORD kKeyParamMixMode = 101;
constexpr DWORD kKeyParamCipherOid = 104;

// A key parameter read size first, then value: 0 or the platform's code.
DWORD ReadKeyParam(HCRYPTKEY key, DWORD param, IdentObj& value);

// Gost28147-89-Parameters ::= SEQUENCE { iv OCTET STRING, encryptionParamSet
// OBJECT IDENTIFIER }, the parameter set as text with or without its
// terminator. Encoding failures raise their status.
IdentObj EncodeGostParameters(const IdentObj& iv, const IdentObj& paramSet);

}  // namespace cmskit

#endif
