// Reads a signed message file and lists its signers.
// Usage: example_list_signers MESSAGE.p7s
#include <cmskit/cmskit.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s MESSAGE\n", argv[0]);
    return 2;
  }
  cmskit::CTOOFile file(argv[1], "rb");
  cmskit::SignData message;
  int error = 0;
  if (!file.IsOpen() || message.ReadObject(file, 0, &error) == 0 || error != 0) {
    std::fprintf(stderr, "cannot read %s: 0x%08X\n", argv[1], static_cast<unsigned>(error));
    return 1;
  }
  std::printf("%zu certificate(s), %zu signer(s)\n", message.certificates.size(), message.signerInfos.size());
  for (const cmskit::IdentObj& encoded : message.signerInfos) {
    cmskit::MessageSignerInfo signer;
    signer.ReadData(encoded.pbData, encoded.cbData, &error);
    const FILETIME when = signer.GetSigningData(&error);
    SYSTEMTIME st = {};
    FileTimeToSystemTime(&when, &st);
    std::printf("signer: serial of %u bytes, digest %.*s, signed %04u-%02u-%02u %02u:%02u\n",
                static_cast<unsigned>(signer.serialNumber.cbData),
                static_cast<int>(signer.digestAlgorithm.id.cbData),
                reinterpret_cast<const char*>(signer.digestAlgorithm.id.pbData), st.wYear, st.wMonth, st.wDay,
                st.wHour, st.wMinute);
  }
  return 0;
}
