// Decrypts an enveloped message file (DER) to a file with the recipient's
// certificate (DER) and private key file, as the Linux provider takes them.
// Usage: example_decrypt_file MESSAGE.p7m CERT.der KEY.pem OUT
#include <cmskit/cmskit.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s MESSAGE CERT KEY OUT\n", argv[0]);
    return 2;
  }
  std::ifstream certFile(argv[2], std::ios::binary);
  const std::vector<BYTE> der((std::istreambuf_iterator<char>(certFile)), std::istreambuf_iterator<char>());
  PCCERT_CONTEXT cert =
      CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size()));
  HCRYPTPROV prov = 0;
  if (!cert || !CryptAcquireContextA(&prov, argv[3], nullptr, PROV_RSA_AES, 0)) return 1;
  std::wstring container(argv[3], argv[3] + std::string(argv[3]).size());
  CRYPT_KEY_PROV_INFO info = {};
  info.pwszContainerName = &container[0];
  info.dwProvType = PROV_RSA_AES;
  info.dwKeySpec = AT_KEYEXCHANGE;
  CertSetCertificateContextProperty(cert, CERT_KEY_PROV_INFO_PROP_ID, 0, &info);

  cmskit::CTOOFile in(argv[1], "rb");
  cmskit::EnvelopedData message;
  int error = 0;
  message.ReadObject(in, &error);
  HCRYPTKEY key = 0;
  cmskit::ASNAlgorithmIdentifier algorithm = message.encryptedContentInfo.contentEncryptionAlgorithm;
  bool ok = error == 0 && message.GetEncryptionKey(cert, prov, key, algorithm, &error) == 1 &&
            cmskit::DecryptKeyParam(key, algorithm);
  if (ok) {
    std::string target = argv[4];
    cmskit::ToSignStruct out;
    out.flags = cmskit::ToSignStruct::kInFile;
    out.data = &target[0];
    ok = cmskit::DecryptContent(key, message.encryptedContentInfo, out);
  }
  if (key) CryptDestroyKey(key);
  CryptReleaseContext(prov, 0);
  CertFreeCertificateContext(cert);
  return ok ? 0 : 1;
}
