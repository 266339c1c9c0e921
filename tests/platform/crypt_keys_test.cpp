// Session keys against OpenSSL's own command line.
#include <bitset>

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
      ASSERT_TRUE(CryptDecrypt(handle.handle, 0, TRUE, 0, whole.data(), &length));
      EXPECT_EQ(plain, Bytes(whole.begin(), whole.begin() + length));
      Bytes streamed, streamedOut;  // the final call started the key again from its IV
      ASSERT_TRUE(DecryptPieces(handle.handle, encrypted, 4096, &streamed));
      EXPECT_EQ(plain, streamed);
      ASSERT_TRUE(EncryptPieces(handle.handle, plain, 4096, &streamedOut));
      EXPECT_EQ(encrypted, streamedOut);
      // Encrypting: the size query, a buffer one byte short, then the bytes.
      length = static_cast<DWORD>(size);
      ASSERT_TRUE(CryptEncrypt(handle.handle, 0, TRUE, 0, nullptr, &length, 0));
      const DWORD needed = length;
      EXPECT_EQ(encrypted.size(), needed);
      Bytes buffer = plain;
      buffer.resize(needed);
      length = static_cast<DWORD>(size);
      EXPECT_TRUE(FailsWith(CryptEncrypt(handle.handle, 0, TRUE, 0, buffer.data(), &length, needed - 1),
                            ERROR_MORE_DATA));
      EXPECT_EQ(needed, length);
      length = static_cast<DWORD>(size);
      ASSERT_TRUE(CryptEncrypt(handle.handle, 0, TRUE, 0, buffer.data(), &length, needed));
      EXPECT_EQ(encrypted, buffer);
    }
  }
}

TEST_F(KeysTest, FinalCallsCheckThePadding) {
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
    EXPECT_TRUE(FailsWith(CryptDecrypt(handle.handle, 0, size == 0, 0, data.data(), &length), NTE_BAD_DATA));
  }
}

TEST_F(KeysTest, ParametersFollowTheSizeQueryProtocol) {
  const Bytes iv = Pattern(16, 13);
  KeyHandle handle(MakeKey(CALG_AES_128, Pattern(16, 14), iv));
  Bytes out(16);
  DWORD length = 15;
  EXPECT_TRUE(FailsWith(CryptGetKeyParam(handle.handle, KP_IV, out.data(), &length, 0), ERROR_MORE_DATA));
  EXPECT_EQ(16u, length);
  EXPECT_EQ(iv, KeyParam(handle.handle));
  const DWORD kDwords[][2] = {
      {KP_ALGID, CALG_AES_128}, {KP_KEYLEN, 128}, {KP_BLOCKLEN, 128}, {KP_MODE, CRYPT_MODE_CBC}};
  for (const auto& item : kDwords)
    EXPECT_EQ(Bytes(reinterpret_cast<const BYTE*>(&item[1]), reinterpret_cast<const BYTE*>(&item[1] + 1)),
              KeyParam(handle.handle, item[0]));
  // The GOST parameters belong to GOST keys only.
  const DWORD one = 1;
  for (DWORD param : {DWORD{KP_MIXMODE}, DWORD{KP_CIPHEROID}, DWORD{KP_EFFECTIVE_KEYLEN}}) {
    EXPECT_TRUE(FailsWith(CryptGetKeyParam(handle.handle, param, nullptr, &length, 0), NTE_BAD_TYPE));
    EXPECT_TRUE(FailsWith(CryptSetKeyParam(handle.handle, param, reinterpret_cast<const BYTE*>(&one), 0),
                          NTE_BAD_TYPE));
  }
}

// Fresh keys, streamed through CryptEncrypt, decrypt with openssl enc.
TEST_F(KeysTest, GeneratedKeysEncryptInPiecesForOpenssl) {
  if (!HaveOpenSsl()) GTEST_SKIP() << "the openssl command is not available";
  const std::tuple<ALG_ID, const char*, size_t, size_t, const char*> kCiphers[] = {
      {CALG_AES_256, "-aes-256-cbc", 32, 16, ""},
      {CALG_3DES, "-des-ede3-cbc", 24, 8, ""},
      {CALG_G28147, "-engine gost -gost89", 32, 8, ""},                   // CryptoPro A
      {CALG_G28147, "-engine gost -gost89", 32, 8, "1.2.643.2.2.31.2"}};  // CryptoPro B
  const Bytes plain = Pattern(10000, 21);
  WriteBytes(dir_.Path("plain"), plain);
  for (const auto& [algId, encOptions, keyBytes, ivBytes, paramSet] : kCiphers) {
    if (algId == CALG_G28147 && !HaveGost()) continue;
    SCOPED_TRACE(std::string(encOptions) + " " + paramSet);
    KeyHandle key;
    ASSERT_TRUE(CryptGenKey(prov_.handle, algId, CRYPT_EXPORTABLE, &key.handle));
    const Bytes blob = ExportBlob(key.handle, 0, PLAINTEXTKEYBLOB);
    ASSERT_EQ(12 + keyBytes, blob.size());
    EXPECT_EQ(Bytes({PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, 0, BYTE(algId), BYTE(algId >> 8), 0, 0}),
              Bytes(blob.begin(), blob.begin() + 8));
    const Bytes keyValue(blob.begin() + 12, blob.end());
    for (size_t b = 0; algId == CALG_3DES && b < keyValue.size(); ++b)
      EXPECT_EQ(1u, std::bitset<8>(keyValue[b]).count() % 2) << "DES keys have odd parity";
    const Bytes iv = Pattern(ivBytes, 22);
    ASSERT_TRUE(CryptSetKeyParam(key.handle, KP_IV, iv.data(), 0));
    // The engine's own default parameter set is not CryptoPro A: name it.
    std::string environment;
    if (algId == CALG_G28147) {
      const DWORD mix = CRYPT_PROMIX_MODE;
      ASSERT_TRUE(CryptSetKeyParam(key.handle, KP_MIXMODE, reinterpret_cast<const BYTE*>(&mix), 0));
      environment = "CRYPT_PARAMS=id-Gost28147-89-CryptoPro-A-ParamSet ";
      if (*paramSet) {
        ASSERT_TRUE(CryptSetKeyParam(key.handle, KP_CIPHEROID, reinterpret_cast<const BYTE*>(paramSet), 0));
        EXPECT_EQ(std::string(paramSet) + '\0', Text(Obj(KeyParam(key.handle, KP_CIPHEROID))));
        environment = "CRYPT_PARAMS=id-Gost28147-89-CryptoPro-B-ParamSet ";
      }
    }
    Bytes encrypted;
    ASSERT_TRUE(EncryptPieces(key.handle, plain, 4096, &encrypted));
    WriteBytes(dir_.Path("cipher"), encrypted);
    ASSERT_TRUE(Shell(environment + "openssl enc -d " + encOptions + " -K " + HexArg(keyValue) + " -iv " +
                      HexArg(iv) + " -in " + dir_.Path("cipher") + " -out " + dir_.Path("decrypted")));
    EXPECT_EQ(plain, ReadBytes(dir_.Path("decrypted")));
  }
}

TEST_F(KeysTest, GeneratedAndExportedKeysFailWithWindowsCodes) {
  const std::tuple<HCRYPTPROV, ALG_ID, DWORD, DWORD> kGenerate[] = {
      {prov_.handle, CALG_SHA1, 0, NTE_BAD_ALGID},
      {prov_.handle, AT_KEYEXCHANGE, 0, NTE_BAD_ALGID},
      {prov_.handle, CALG_AES_128, 0x100, NTE_BAD_FLAGS},
      {prov_.handle, CALG_AES_128, 192 << 16, NTE_BAD_FLAGS},
      {prov_.handle, CALG_AES_128, 127 << 16, NTE_BAD_FLAGS},
      {prov_.handle + 1000, CALG_AES_128, 0, ERROR_INVALID_PARAMETER}};
  HCRYPTKEY key = 0;
  for (const auto& [prov, algId, flags, error] : kGenerate)
    EXPECT_TRUE(FailsWith(CryptGenKey(prov, algId, flags, &key), error)) << algId << " " << flags;
  KeyHandle rc2, fixed, secret;
  ASSERT_TRUE(CryptGenKey(prov_.handle, CALG_RC2, CRYPT_EXPORTABLE | (40 << 16), &rc2.handle));
  EXPECT_EQ(5u, PlainKeyBytes(rc2.handle).size());
  // An imported key exports as it came, when it may.
  const Bytes blob = PlainKeyBlob(CALG_AES_192, Pattern(24, 23));
  ASSERT_TRUE(CryptImportKey(prov_.handle, blob.data(), Size(blob), 0, CRYPT_EXPORTABLE, &fixed.handle));
  EXPECT_EQ(blob, ExportBlob(fixed.handle, 0, PLAINTEXTKEYBLOB));
  ASSERT_TRUE(CryptGenKey(prov_.handle, CALG_AES_128, 0, &secret.handle));
  const std::tuple<HCRYPTKEY, HCRYPTKEY, DWORD, DWORD, DWORD> kExport[] = {
      {secret.handle, 0, PLAINTEXTKEYBLOB, 0, NTE_BAD_KEY_STATE},
      {fixed.handle, 0, 6, 0, NTE_BAD_TYPE},  // PUBLICKEYBLOB
      {fixed.handle, 0, PLAINTEXTKEYBLOB, 1, NTE_BAD_FLAGS},
      {fixed.handle, secret.handle, PLAINTEXTKEYBLOB, 0, NTE_BAD_KEY},
      {fixed.handle, 0, SIMPLEBLOB, 0, NTE_BAD_KEY},
      {fixed.handle, secret.handle, SIMPLEBLOB, 0, NTE_BAD_KEY},
      {fixed.handle, secret.handle + 1000, SIMPLEBLOB, 0, ERROR_INVALID_PARAMETER}};
  DWORD length = 0;
  for (const auto& [exported, exchange, blobType, flags, error] : kExport)
    EXPECT_TRUE(FailsWith(CryptExportKey(exported, exchange, blobType, flags, nullptr, &length), error));
  if (!HaveGost()) return;
  KeyHandle gost;
  ASSERT_TRUE(CryptGenKey(prov_.handle, CALG_G28147, 0, &gost.handle));
  EXPECT_EQ(std::string("1.2.643.2.2.31.1", 17), Text(Obj(KeyParam(gost.handle, KP_CIPHEROID))));
  for (const char* paramSet : {"1.2.643.2.2.31.9", "1.2.643", ""})
    EXPECT_TRUE(
        FailsWith(CryptSetKeyParam(gost.handle, KP_CIPHEROID, reinterpret_cast<const BYTE*>(paramSet), 0),
                  NTE_BAD_DATA));
}

TEST_F(KeysTest, PlainTextBlobsAreChecked) {
  const Bytes blob = PlainKeyBlob(CALG_AES_128, Pattern(16, 15));
  HCRYPTKEY key = 0;
  const std::tuple<size_t, BYTE, DWORD> kCases[] = {{0, 7, NTE_BAD_TYPE},     {1, 3, NTE_BAD_VER},
                                                    {4, 0x99, NTE_BAD_ALGID}, {8, 17, NTE_BAD_DATA},
                                                    {8, 15, NTE_BAD_LEN},     {12, 0, NTE_BAD_DATA}};
  for (const auto& [offset, value, error] : kCases) {
    Bytes broken = blob;
    broken[offset] = value;
    if (offset == 12) broken.resize(11);
    EXPECT_TRUE(FailsWith(CryptImportKey(prov_.handle, broken.data(), Size(broken), 0, 0, &key), error))
        << offset;
  }
  EXPECT_TRUE(FailsWith(CryptImportKey(0x5056000000000001ULL + 999, blob.data(), Size(blob), 0, 0, &key),
                        ERROR_INVALID_PARAMETER));
}

TEST_F(KeysTest, StaleAndForeignHandlesAreRefused) {
  const HCRYPTKEY key = ImportPlainKey(prov_.handle, CALG_3DES, Pattern(24, 16));
  HCRYPTKEY copy = 0;
  ASSERT_TRUE(CryptDuplicateKey(key, nullptr, 0, &copy));
  ASSERT_TRUE(CryptDestroyKey(key));
  BYTE data[8] = {};
  DWORD length = 8;
  for (HCRYPTKEY handle : {key, HCRYPTKEY{0}, HCRYPTKEY{0x1234}, HCRYPTKEY{prov_.handle}, ~HCRYPTKEY{0}}) {
    EXPECT_TRUE(FailsWith(CryptDecrypt(handle, 0, FALSE, 0, data, &length), ERROR_INVALID_PARAMETER));
    EXPECT_FALSE(CryptDestroyKey(handle));
    EXPECT_FALSE(CryptGetKeyParam(handle, KP_IV, nullptr, &length, 0));
  }
  EXPECT_TRUE(CryptDecrypt(copy, 0, FALSE, 0, data, &length));  // the duplicate lives on
  EXPECT_TRUE(CryptDestroyKey(copy));
}

}  // namespace
}  // namespace cmskit::test
