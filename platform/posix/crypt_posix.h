// The CryptoAPI subset the library uses, for POSIX systems, implemented on
// OpenSSL 3 (GOST algorithms through OpenSSL's "gost" engine). Types keep the
// Windows layouts; handles are opaque 64-bit values owned by the provider and
// checked on every call, so a stale or foreign handle is an error, never a crash.
//
// Getting a provider on Linux: the container name is the path of a private key
// file (PEM or DER, unencrypted; RSA, DSA or EC for the RSA provider types,
// GOST R 34.10-2001 or 34.10-2012 for the GOST ones):
//
//   HCRYPTPROV prov = 0;
//   CryptAcquireContextA(&prov, "/path/recipient.key", nullptr, PROV_RSA_AES, 0);
//   // GOST keys: PROV_GOST_2001_DH, PROV_GOST_2012_256 or PROV_GOST_2012_512.
//   // CRYPT_VERIFYCONTEXT (container null) gives a provider without a key.
//
// Tying the key to its certificate, so that the certificate names its key as
// it does on Windows (the library reads dwKeySpec from this property):
//
//   PCCERT_CONTEXT cert = CertCreateCertificateContext(X509_ASN_ENCODING, der, derLength);
//   std::wstring path = L"/path/recipient.key";
//   CRYPT_KEY_PROV_INFO info = {};
//   info.pwszContainerName = &path[0];
//   info.dwProvType = PROV_RSA_AES;
//   info.dwKeySpec = AT_KEYEXCHANGE;
//   CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info);
//
// A caller holding only the certificate reopens the key from the property with
// CryptAcquireContextW(&prov, info->pwszContainerName, nullptr, info->dwProvType, 0).
//
// Then pass `cert` and `prov` to EnvelopedData::GetEncryptionKey. The caller
// owns what it obtained: CryptDestroyKey for the content key, CryptReleaseContext
// for the provider, CertFreeCertificateContext for the certificate.
//
// Content keys come from the installed "CryptMsgDllImportEncryptKey" functions
// (AES-128/192/256-CBC, DES-EDE3-CBC, RC2-CBC, GOST 28147-89) or from
// CryptImportKey with a PLAINTEXTKEYBLOB. CryptDecrypt streams: calls with Final
// false return every block they are given (nothing is held back, as with the
// Windows providers), the Final call checks and removes the CBC padding of its
// last block, and the key then starts again from its IV. GOST keys use CFB mode;
// KP_MIXMODE set to CRYPT_PROMIX_MODE turns on the key meshing CMS requires.
//
// Encrypting: CryptGenKey(prov, CALG_AES_128/192/256, CALG_3DES or
// CALG_G28147, CRYPT_EXPORTABLE, &key) makes a random content key on any
// provider (the upper 16 bits of the flags may give the size in bits; 3DES
// keys get DES parity). A GOST key's parameter set is CryptoPro A
// ("1.2.643.2.2.31.1") unless CryptSetKeyParam(KP_CIPHEROID) names another
// known one as dotted text. CryptEncrypt mirrors CryptDecrypt: calls with
// Final false take whole blocks and return as many bytes, the Final call adds
// the PKCS #7 padding (a null buffer, or a buffer length too small, reports
// the size the call needs). Exporting the key of an RSA recipient is
// CryptExportKey(key, rsaPublicKey, SIMPLEBLOB, 0, blob, &len): BLOBHEADER,
// CALG_RSA_KEYX, then the PKCS #1 v1.5 encrypted key least significant byte
// first (reverse it for the message). GOST recipients go through the installed
// "CryptMsgDllExportEncryptKey" functions (for "1.2.643.2.2.19",
// "1.2.643.7.1.1.1.1" and "1.2.643.7.1.1.1.2"), whose octets are the DER
// GostR3410-KeyTransport of the message: the gost engine's key transport with
// a new ephemeral key and UKM each call, and the key-wrap parameter set the
// engine takes for the recipient's key (CryptoPro A for 2001 keys, TC26 Z for
// 2012 keys), which need not be the content key's. Only exportable keys leave
// (NTE_BAD_KEY_STATE otherwise); CryptExportKey also writes PLAINTEXTKEYBLOB,
// and CryptImportKey honours CRYPT_EXPORTABLE.
//
// Hash objects: CryptCreateHash on any provider (the key argument must be 0)
// for CALG_MD5, CALG_SHA1, CALG_SHA_256/384/512, CALG_GR3411 (GOST R 34.11-94
// with the CryptoPro parameters) and CALG_GR3411_2012_256/512 (the GOST ones
// need the engine). CryptHashData hands the bytes straight to OpenSSL, so it
// can be called for content of any size. CryptGetHashParam gives HP_ALGID,
// HP_HASHSIZE and HP_HASHVAL; a null buffer asks for the size and leaves the
// hash open, reading the value ends it (CryptHashData then fails with
// NTE_BAD_HASH_STATE). CryptSetHashParam(HP_HASHVAL) sets a value to sign in
// place of a computed one.
//
// Public keys: CryptImportPublicKeyInfo(prov, X509_ASN_ENCODING, &certInfo->
// SubjectPublicKeyInfo, &key) takes RSA (rsaEncryption and id-RSASSA-PSS),
// DSA, EC (named curves) and GOST R 34.10-2001/2012 keys on any provider; other
// algorithms give NTE_BAD_ALGID, unreadable key bits CRYPT_E_ASN1_CORRUPT.
// CryptGetUserKey(prov, AT_SIGNATURE or AT_KEYEXCHANGE) gives the provider's
// key pair (one per key file, under both names). CryptExportPublicKeyInfo
// writes its public half as Windows does (the structure, then what it points
// to, in one buffer; size query with a null buffer), to compare with a
// certificate's. CryptDestroyKey releases these handles like session keys.
// KP_KEYLEN reads the key size in bits.
//
// Signatures: CryptVerifySignatureA(hash, sig, sigLen, pubKey, nullptr, 0)
// checks a signature over the hash object's value (ending the hash), in
// CryptoAPI's byte order: RSA PKCS #1 v1.5 and GOST R 34.10 signatures
// reversed from the octets CMS carries; DSA and ECDSA ones r then s, each a
// little-endian integer as wide as the group order, in place of CMS's DER
// Dss-Sig-Value. A GOST key takes its own GOST digest (2001 with
// CALG_GR3411, 2012 with CALG_GR3411_2012_256/512), the other keys the
// classic digests; any other pairing gives NTE_BAD_ALGID. A signature that
// does not verify, or has the wrong size, gives NTE_BAD_SIGNATURE.
// RSA-PSS, which CryptoAPI lacks: CryptSetKeyParam(key,
// KP_CMSKIT_PSS_SALT_LENGTH, &saltLength, 0) switches an RSA key to RSASSA-PSS
// with MGF1 over the hash's own digest (id-RSASSA-PSS keys always are PSS; by
// default they take the salt length from the signature). Windows providers
// refuse the parameter with NTE_BAD_TYPE.
// CryptSignHashA(hash, AT_SIGNATURE, nullptr, 0, sig, &sigLen) signs the
// hash's value with the key pair of the provider the hash was created on, in
// the same orders (a null sig asks for the size and leaves the hash open). For
// RSA-PSS set the parameter on the key from CryptGetUserKey: it is the
// provider's own key, so the setting stays for every later signature (a new
// id-RSASSA-PSS signature takes the digest's length as salt by default).
//
// Failures set the code a Windows caller would see: an unknown handle gives
// ERROR_INVALID_PARAMETER, an algorithm that is not available (for example GOST
// without the engine) NTE_BAD_ALGID, and a GOST provider type without the engine
// NTE_PROV_TYPE_NOT_DEF; bad CBC padding gives NTE_BAD_DATA, and a buffer that is
// too small ERROR_MORE_DATA with the needed size stored.
#ifndef CMSKIT_PLATFORM_CRYPT_POSIX_H
#define CMSKIT_PLATFORM_CRYPT_POSIX_H

#include "win32_posix.h"

typedef ULONG_PTR HCRYPTPROV;
typedef ULONG_PTR HCRYPTKEY;
typedef ULONG_PTR HCRYPTHASH;
typedef void* HCRYPTOIDFUNCSET;
typedef void* HCRYPTOIDFUNCADDR;
typedef void* HCERTSTORE;

#define X509_ASN_ENCODING 0x00000001
#define PKCS_7_ASN_ENCODING 0x00010000

#define PROV_RSA_FULL 1
#define PROV_RSA_AES 24

#define CRYPT_VERIFYCONTEXT 0xF0000000
#define CRYPT_NEWKEYSET 0x00000008
#define CRYPT_SILENT 0x00000040

#define AT_KEYEXCHANGE 1
#define AT_SIGNATURE 2

#define KP_IV 1
#define KP_PADDING 3
#define KP_MODE 4
#define KP_ALGID 7
#define KP_BLOCKLEN 8
#define KP_KEYLEN 9
#define KP_EFFECTIVE_KEYLEN 19

#define HP_ALGID 0x0001
#define HP_HASHVAL 0x0002
#define HP_HASHSIZE 0x0004

#define CRYPT_MODE_CBC 1
#define CRYPT_MODE_ECB 2
#define CRYPT_MODE_OFB 3
#define CRYPT_MODE_CFB 4
#define PKCS5_PADDING 1

typedef unsigned int ALG_ID;

#define CALG_DES 0x00006601
#define CALG_RC2 0x00006602
#define CALG_3DES 0x00006603
#define CALG_AES_128 0x0000660e
#define CALG_AES_192 0x0000660f
#define CALG_AES_256 0x00006610
#define CALG_MD5 0x00008003
#define CALG_SHA1 0x00008004
#define CALG_SHA_256 0x0000800c
#define CALG_SHA_384 0x0000800d
#define CALG_SHA_512 0x0000800e
#define CALG_RSA_KEYX 0x0000a400

#define SIMPLEBLOB 0x1
#define PLAINTEXTKEYBLOB 0x8
#define CUR_BLOB_VERSION 2
#define CRYPT_EXPORTABLE 0x00000001

typedef struct _PUBLICKEYSTRUC {
  BYTE bType;
  BYTE bVersion;
  WORD reserved;
  ALG_ID aiKeyAlg;
} BLOBHEADER, PUBLICKEYSTRUC;

#define CRYPT_INSTALL_OID_FUNC_BEFORE_FLAG 1
#define CRYPT_GET_INSTALLED_OID_FUNC_FLAG 0x1

#define CERT_KEY_PROV_INFO_PROP_ID 2

#define CMSG_OID_IMPORT_ENCRYPT_KEY_FUNC "CryptMsgDllImportEncryptKey"
#define CMSG_OID_EXPORT_ENCRYPT_KEY_FUNC "CryptMsgDllExportEncryptKey"

#define NTE_BAD_HASH ((DWORD)0x80090002L)
#define NTE_BAD_SIGNATURE ((DWORD)0x80090006L)
#define NTE_BAD_HASH_STATE ((DWORD)0x8009000CL)
#define NTE_BAD_PUBLIC_KEY ((DWORD)0x80090015L)
#define NTE_BAD_DATA ((DWORD)0x80090005L)
#define NTE_BAD_KEY ((DWORD)0x80090003L)
#define NTE_BAD_LEN ((DWORD)0x80090004L)
#define NTE_BAD_UID ((DWORD)0x80090001L)
#define NTE_BAD_ALGID ((DWORD)0x80090008L)
#define NTE_BAD_FLAGS ((DWORD)0x80090009L)
#define NTE_BAD_TYPE ((DWORD)0x8009000AL)
#define NTE_BAD_KEYSET ((DWORD)0x80090016L)
#define NTE_NO_KEY ((DWORD)0x8009000DL)
#define NTE_NO_MEMORY ((DWORD)0x8009000EL)
#define NTE_BAD_KEYSET_PARAM ((DWORD)0x8009001FL)
#define NTE_PROV_TYPE_NOT_DEF ((DWORD)0x80090017L)
#define NTE_FAIL ((DWORD)0x80090020L)
#define NTE_BAD_KEY_STATE ((DWORD)0x8009000BL)
#define NTE_BAD_VER ((DWORD)0x80090007L)
#define E_INVALIDARG ((DWORD)0x80070057L)
#define CRYPT_E_ASN1_EOD ((DWORD)0x80093102L)
#define CRYPT_E_NOT_FOUND ((DWORD)0x80092004L)
#define CRYPT_E_ASN1_CORRUPT ((DWORD)0x80093103L)
#define CRYPT_E_ASN1_BADTAG ((DWORD)0x8009310BL)
#define CRYPT_E_UNKNOWN_ALGO ((DWORD)0x80091002L)

typedef struct _CRYPT_ALGORITHM_IDENTIFIER {
  LPSTR pszObjId;
  CRYPT_OBJID_BLOB Parameters;
} CRYPT_ALGORITHM_IDENTIFIER, *PCRYPT_ALGORITHM_IDENTIFIER;

typedef struct _CERT_PUBLIC_KEY_INFO {
  CRYPT_ALGORITHM_IDENTIFIER Algorithm;
  CRYPT_BIT_BLOB PublicKey;
} CERT_PUBLIC_KEY_INFO, *PCERT_PUBLIC_KEY_INFO;

typedef struct _CERT_EXTENSION {
  LPSTR pszObjId;
  BOOL fCritical;
  CRYPT_OBJID_BLOB Value;
} CERT_EXTENSION, *PCERT_EXTENSION;

typedef struct _CERT_INFO {
  DWORD dwVersion;
  CRYPT_INTEGER_BLOB SerialNumber;
  CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
  CERT_NAME_BLOB Issuer;
  FILETIME NotBefore;
  FILETIME NotAfter;
  CERT_NAME_BLOB Subject;
  CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
  CRYPT_BIT_BLOB IssuerUniqueId;
  CRYPT_BIT_BLOB SubjectUniqueId;
  DWORD cExtension;
  PCERT_EXTENSION rgExtension;
} CERT_INFO, *PCERT_INFO;

typedef struct _CERT_CONTEXT {
  DWORD dwCertEncodingType;
  BYTE* pbCertEncoded;
  DWORD cbCertEncoded;
  PCERT_INFO pCertInfo;
  HCERTSTORE hCertStore;
} CERT_CONTEXT, *PCERT_CONTEXT;
typedef const CERT_CONTEXT* PCCERT_CONTEXT;

typedef struct _CRYPT_KEY_PROV_PARAM {
  DWORD dwParam;
  BYTE* pbData;
  DWORD cbData;
  DWORD dwFlags;
} CRYPT_KEY_PROV_PARAM, *PCRYPT_KEY_PROV_PARAM;

typedef wchar_t WCHAR;
typedef WCHAR* LPWSTR;
typedef const WCHAR* LPCWSTR;

// On POSIX the container name is the path of the private key file.
typedef struct _CRYPT_KEY_PROV_INFO {
  LPWSTR pwszContainerName;
  LPWSTR pwszProvName;
  DWORD dwProvType;
  DWORD dwFlags;
  DWORD cProvParam;
  PCRYPT_KEY_PROV_PARAM rgProvParam;
  DWORD dwKeySpec;
} CRYPT_KEY_PROV_INFO, *PCRYPT_KEY_PROV_INFO;

typedef BOOL(WINAPI* PFN_CMSG_IMPORT_ENCRYPT_KEY)(HCRYPTPROV hCryptProv, DWORD dwKeySpec,
                                                  PCRYPT_ALGORITHM_IDENTIFIER paiEncrypt,
                                                  PCRYPT_ALGORITHM_IDENTIFIER paiPubKey, PBYTE pbEncodedKey,
                                                  DWORD cbEncodedKey, HCRYPTKEY* phEncryptKey);
typedef BOOL(WINAPI* PFN_CMSG_EXPORT_ENCRYPT_KEY)(HCRYPTPROV hCryptProv, HCRYPTKEY hEncryptKey,
                                                  PCERT_PUBLIC_KEY_INFO pPublicKeyInfo, PBYTE pbData,
                                                  PDWORD pcbData);

#ifdef __cplusplus
extern "C" {
#endif

PLATFORM_API BOOL CryptAcquireContextA(HCRYPTPROV* prov, LPCSTR container, LPCSTR provider, DWORD provType,
                                       DWORD flags);
// The container as it comes back from CERT_KEY_PROV_INFO_PROP_ID; the path is
// passed on in UTF-8.
PLATFORM_API BOOL CryptAcquireContextW(HCRYPTPROV* prov, LPCWSTR container, LPCWSTR provider, DWORD provType,
                                       DWORD flags);
PLATFORM_API BOOL CryptReleaseContext(HCRYPTPROV prov, DWORD flags);
PLATFORM_API BOOL CryptGenRandom(HCRYPTPROV prov, DWORD length, BYTE* buffer);
PLATFORM_API BOOL CryptGenKey(HCRYPTPROV prov, ALG_ID algId, DWORD flags, HCRYPTKEY* key);
PLATFORM_API BOOL CryptImportKey(HCRYPTPROV prov, const BYTE* data, DWORD dataLength, HCRYPTKEY pubKey,
                                 DWORD flags, HCRYPTKEY* key);
PLATFORM_API BOOL CryptExportKey(HCRYPTKEY key, HCRYPTKEY exchangeKey, DWORD blobType, DWORD flags,
                                 BYTE* data, DWORD* dataLength);
PLATFORM_API BOOL CryptDestroyKey(HCRYPTKEY key);
PLATFORM_API BOOL CryptDuplicateKey(HCRYPTKEY key, DWORD* reserved, DWORD flags, HCRYPTKEY* newKey);
PLATFORM_API BOOL CryptDecrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD flags, BYTE* data,
                               DWORD* dataLength);
PLATFORM_API BOOL CryptEncrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD flags, BYTE* data,
                               DWORD* dataLength, DWORD bufferLength);
PLATFORM_API BOOL CryptGetKeyParam(HCRYPTKEY key, DWORD param, BYTE* data, DWORD* dataLength, DWORD flags);
PLATFORM_API BOOL CryptSetKeyParam(HCRYPTKEY key, DWORD param, const BYTE* data, DWORD flags);

PLATFORM_API BOOL CryptCreateHash(HCRYPTPROV prov, ALG_ID algId, HCRYPTKEY key, DWORD flags,
                                  HCRYPTHASH* hash);
PLATFORM_API BOOL CryptHashData(HCRYPTHASH hash, const BYTE* data, DWORD dataLength, DWORD flags);
PLATFORM_API BOOL CryptGetHashParam(HCRYPTHASH hash, DWORD param, BYTE* data, DWORD* dataLength, DWORD flags);
PLATFORM_API BOOL CryptSetHashParam(HCRYPTHASH hash, DWORD param, const BYTE* data, DWORD flags);
PLATFORM_API BOOL CryptDestroyHash(HCRYPTHASH hash);

PLATFORM_API BOOL CryptImportPublicKeyInfo(HCRYPTPROV prov, DWORD encodingType, PCERT_PUBLIC_KEY_INFO info,
                                           HCRYPTKEY* key);
PLATFORM_API BOOL CryptExportPublicKeyInfo(HCRYPTPROV prov, DWORD keySpec, DWORD encodingType,
                                           PCERT_PUBLIC_KEY_INFO info, DWORD* infoLength);
PLATFORM_API BOOL CryptGetUserKey(HCRYPTPROV prov, DWORD keySpec, HCRYPTKEY* key);
PLATFORM_API BOOL CryptVerifySignatureA(HCRYPTHASH hash, const BYTE* signature, DWORD signatureLength,
                                        HCRYPTKEY pubKey, LPCSTR description, DWORD flags);
PLATFORM_API BOOL CryptSignHashA(HCRYPTHASH hash, DWORD keySpec, LPCSTR description, DWORD flags,
                                 BYTE* signature, DWORD* signatureLength);

PLATFORM_API PCCERT_CONTEXT CertCreateCertificateContext(DWORD encodingType, const BYTE* encoded,
                                                         DWORD encodedLength);
PLATFORM_API PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT context);
PLATFORM_API BOOL CertFreeCertificateContext(PCCERT_CONTEXT context);
PLATFORM_API BOOL CertSetCertificateContextProperty(PCCERT_CONTEXT context, DWORD propId, DWORD flags,
                                                    const void* data);
PLATFORM_API BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT context, DWORD propId, void* data,
                                                    DWORD* dataLength);

PLATFORM_API HCRYPTOIDFUNCSET CryptInitOIDFunctionSet(LPCSTR funcName, DWORD flags);
PLATFORM_API BOOL CryptInstallOIDFunctionAddress(HMODULE module, DWORD encodingType, LPCSTR funcName,
                                                 DWORD funcCount, const void* funcEntries, DWORD flags);
PLATFORM_API BOOL CryptGetOIDFunctionAddress(HCRYPTOIDFUNCSET funcSet, DWORD encodingType, LPCSTR oid,
                                             DWORD flags, void** funcAddr, HCRYPTOIDFUNCADDR* funcAddrHandle);
PLATFORM_API BOOL CryptFreeOIDFunctionAddress(HCRYPTOIDFUNCADDR funcAddrHandle, DWORD flags);

#ifdef __cplusplus
}
#endif

typedef struct _CRYPT_OID_FUNC_ENTRY {
  LPCSTR pszOID;
  void* pvFuncAddr;
} CRYPT_OID_FUNC_ENTRY, *PCRYPT_OID_FUNC_ENTRY;

#endif
