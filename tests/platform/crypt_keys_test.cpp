// Session keys against OpenSSL's own command line.
#include "crypt_test_support.h"

namespace cmskit::test {
namespace {

class KeysTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, prov_)); }
  // A key with its IV set.
  HCRYPTKEY MakeKey(ALG_ID algId, const Bytes& key, const Bytes& iv) {
    const HCRYPTKEY handle = ImportPlainKey(prov_.handle, algId, key);
    EXPECT_TRUE(handle && CryptSetKeyParam(handle, KP_IV, iv.data(), 0)) << algId;
    return handle;
  }
  ProviderHandle prov_;
  TempDir dir_;
};

TEST_F(KeysTest, OpenSslAgreesBothWaysInOneCallAndStreamed) {
  if (!HaveOpenSsl()) GTEST_SKIP() << "the openssl command is not available";
  const struct {
    ALG_ID algId;
    const char* encOptions;
    size_t keyBytes, ivBytes;
  } kCiphers[] = {{CALG_AES_128, "-aes-128-cbc", 16, 16},
                  {CALG_AES_192, "-aes-192-cbc", 24, 16},
                  {CALG_AES_256, "-aes-256-cbc", 32, 16},
                  {CALG_3DES, "-des-ede3-cbc", 24, 8},
                  {CALG_RC2, "-rc2-cbc -provider legacy -provider default", 16, 8}};
  for (const auto& cipher : kCiphers) {
    const Bytes key = Pattern(cipher.keyBytes, 1), iv = Pattern(cipher.ivBytes, 2);
    for (size_t size : {0, 1, 4095, 10000}) {
      SCOPED_TRACE(std::string(cipher.encOptions) + " " + std::to_string(size));
      const Bytes plain = Pattern(size, 3);
      WriteBytes(dir_.Path("plain"), plain);
      ASSERT_TRUE(Shell(std::string("openssl enc -e ") + cipher.encOptions + " -K " + HexArg(key) + " -iv " +
                        HexArg(iv) + " -in " + dir_.Path("plain") + " -out " + dir_.Path("cipher")));
      const Bytes encrypted = ReadBytes(dir_.Path("cipher"));
      KeyHandle handle(MakeKey(cipher.algId, key, iv));
      Bytes whole = encrypted;
      DWORD length = Size(whole);
      ASSERT_TRUE(CryptDecrypt(handle.handle, 0, TRUE, 0, whole.data(), &length))
          << std::hex << GetLastError();
      EXPECT_EQ(plain, Bytes(whole.begin(), whole.begin() + length));
      // The final call started the key again from its IV.
      Bytes streamed;
      ASSERT_TRUE(DecryptPieces(handle.handle, encrypted, 4096, &streamed)) << std::hex << GetLastError();
      EXPECT_EQ(plain, streamed);
      // Encrypting: the size query, a buffer one byte short, then the bytes.
      length = static_cast<DWORD>(size);
      ASSERT_TRUE(CryptEncrypt(handle.handle, 0, TRUE, 0, nullptr, &length, 0));
      const DWORD needed = length;
      EXPECT_EQ(encrypted.size(), needed);
      Bytes buffer = plain;
      buffer.resize(needed);
      length = static_cast<DWORD>(size);
      EXPECT_FALSE(CryptEncrypt(handle.handle, 0, TRUE, 0, buffer.data(), &length, needed - 1));
      EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), GetLastError());
      EXPECT_EQ(needed, length);
      length = static_cast<DWORD>(size);
      ASSERT_TRUE(CryptEncrypt(handle.handle, 0, TRUE, 0, buffer.data(), &length, needed));
      EXPECT_EQ(encrypted, buffer);
    }
  }
}

TEST_F(KeysTest, FinalCallsCheckThePaddingNonFinalCallsKeepEveryBlock) {
  const Bytes iv(16, 0);
  KeyHandle handle(MakeKey(CALG_AES_128, Pattern(16, 7), iv));
  // The last plaintext block as it is encrypted (no padding added) and the
  // plaintext length a final decryption leaves, -1: refused as badly padded.
  const struct {
    Bytes tail;
    int plainLength;
  } kCases[] = {{{0x00}, -1}, {{0x11}, -1}, {{0x01, 0x02}, -1}, {{0x01}, 15}, {Bytes(16, 0x10), 0}};
  for (const auto& item : kCases) {
    Bytes block = Cat({Pattern(16 - item.tail.size(), 8), item.tail});
    DWORD length = 16;
    ASSERT_TRUE(CryptSetKeyParam(handle.handle, KP_IV, iv.data(), 0));
    ASSERT_TRUE(CryptEncrypt(handle.handle, 0, FALSE, 0, block.data(), &length, 16));
    ASSERT_TRUE(CryptSetKeyParam(handle.handle, KP_IV, iv.data(), 0));
    EXPECT_EQ(item.plainLength >= 0, CryptDecrypt(handle.handle, 0, TRUE, 0, block.data(), &length) != FALSE);
    EXPECT_EQ(item.plainLength >= 0 ? static_cast<DWORD>(item.plainLength) : 16u,
              length);  // untouched on failure
    EXPECT_EQ(item.plainLength < 0 ? static_cast<DWORD>(NTE_BAD_DATA) : GetLastError(), GetLastError());
  }
  Bytes data(48);
  for (DWORD size : {15u, 0u}) {  // a partial block; a final call without its padded block
    DWORD length = size;
    EXPECT_FALSE(CryptDecrypt(handle.handle, 0, size == 0, 0, data.data(), &length));
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), GetLastError());
  }
  // As on Windows nothing is held back: a stream that never ends with a final
  // call keeps its padding block.
  const Bytes plain = Pattern(32, 12);
  data = Cat({plain, Bytes(16)});
  DWORD length = 32;
  ASSERT_TRUE(CryptSetKeyParam(handle.handle, KP_IV, iv.data(), 0));
  ASSERT_TRUE(CryptEncrypt(handle.handle, 0, TRUE, 0, data.data(), &length, 48));
  ASSERT_TRUE(CryptSetKeyParam(handle.handle, KP_IV, iv.data(), 0));
  ASSERT_TRUE(CryptDecrypt(handle.handle, 0, FALSE, 0, data.data(), &length));
  EXPECT_EQ(Cat({plain, Bytes(16, 16)}), data);
}

TEST_F(KeysTest, ParametersFollowTheSizeQueryProtocol) {
  const Bytes iv = Pattern(16, 13);
  KeyHandle handle(MakeKey(CALG_AES_128, Pattern(16, 14), iv));
  Bytes out(16);
  DWORD length = 15;
  EXPECT_FALSE(CryptGetKeyParam(handle.handle, KP_IV, out.data(), &length, 0));
  EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), GetLastError());
  EXPECT_EQ(16u, length);
  EXPECT_EQ(iv, KeyParam(handle.handle));
  const DWORD kDwords[][2] = {
      {KP_ALGID, CALG_AES_128}, {KP_KEYLEN, 128}, {KP_BLOCKLEN, 128}, {KP_MODE, CRYPT_MODE_CBC}};
  for (const auto& item : kDwords) {
    const DWORD& value = item[1];
    EXPECT_EQ(Bytes(reinterpret_cast<const BYTE*>(&value), reinterpret_cast<const BYTE*>(&value + 1)),
              KeyParam(handle.handle, item[0]));
  }
  // The GOST parameters belong to GOST keys only; the parameter set is read only.
  const DWORD one = 1;
  for (DWORD param : {DWORD{KP_MIXMODE}, DWORD{KP_CIPHEROID}, DWORD{KP_EFFECTIVE_KEYLEN}}) {
    EXPECT_FALSE(CryptGetKeyParam(handle.handle, param, nullptr, &length, 0));
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_TYPE), GetLastError());
    EXPECT_FALSE(CryptSetKeyParam(handle.handle, param, reinterpret_cast<const BYTE*>(&one), 0));
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_TYPE), GetLastError());
  }
}

TEST_F(KeysTest, PlainTextBlobsAreChecked) {
  const Bytes blob = PlainKeyBlob(CALG_AES_128, Pattern(16, 15));
  const std::tuple<size_t, BYTE, DWORD> kCases[] = {{0, 7, NTE_BAD_TYPE},     {1, 3, NTE_BAD_VER},
                                                    {4, 0x99, NTE_BAD_ALGID}, {8, 17, NTE_BAD_DATA},
                                                    {8, 15, NTE_BAD_LEN},     {12, 0, NTE_BAD_DATA}};
  for (const auto& [offset, value, error] : kCases) {
    Bytes broken = blob;
    broken[offset] = value;
    if (offset == 12) broken.resize(11);
    HCRYPTKEY key = 0;
    EXPECT_FALSE(CryptImportKey(prov_.handle, broken.data(), Size(broken), 0, 0, &key)) << offset;
    EXPECT_EQ(error, GetLastError()) << offset;
  }
  HCRYPTKEY key = 0;
  EXPECT_FALSE(CryptImportKey(0x5056000000000001ULL + 999, blob.data(), Size(blob), 0, 0, &key));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
}

TEST_F(KeysTest, StaleAndForeignHandlesAreRefused) {
  const HCRYPTKEY key = ImportPlainKey(prov_.handle, CALG_3DES, Pattern(24, 16));
  HCRYPTKEY copy = 0;
  ASSERT_TRUE(CryptDuplicateKey(key, nullptr, 0, &copy));
  ASSERT_TRUE(CryptDestroyKey(key));
  BYTE data[8] = {};
  DWORD length = 8;
  for (HCRYPTKEY handle : {key, HCRYPTKEY{0}, HCRYPTKEY{0x1234}, HCRYPTKEY{prov_.handle}, ~HCRYPTKEY{0}}) {
    EXPECT_FALSE(CryptDecrypt(handle, 0, FALSE, 0, data, &length)) << handle;
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
    EXPECT_FALSE(CryptDestroyKey(handle));
    EXPECT_FALSE(CryptGetKeyParam(handle, KP_IV, nullptr, &length, 0));
  }
  EXPECT_TRUE(CryptDecrypt(copy, 0, FALSE, 0, data, &length));  // the duplicate lives on
  EXPECT_TRUE(CryptDestroyKey(copy));
}

}  // namespace
}  // namespace cmskit::test
