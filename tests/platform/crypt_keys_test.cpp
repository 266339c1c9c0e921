// Session keys against OpenSSL's own command line: ciphertexts from
// `openssl enc` decrypt in one call and streamed, padding and handle errors
// give the Windows codes, and parameters follow the size-query protocol.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "crypt_test_support.h"

namespace cmskit {
namespace crypt_test {
namespace {

struct CipherCase {
  const char* name;
  ALG_ID algId;
  const char* encOptions;
  size_t keyBytes;
  size_t ivBytes;
};

const CipherCase kCiphers[] = {
    {"aes128", CALG_AES_128, "-aes-128-cbc", 16, 16},
    {"aes192", CALG_AES_192, "-aes-192-cbc", 24, 16},
    {"aes256", CALG_AES_256, "-aes-256-cbc", 32, 16},
    {"des3", CALG_3DES, "-des-ede3-cbc", 24, 8},
    {"rc2", CALG_RC2, "-rc2-cbc -provider legacy -provider default", 16, 8},
};

Bytes PlainTextBlob(ALG_ID algId, const Bytes& key) {
  BLOBHEADER header = {PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, algId};
  const DWORD size = static_cast<DWORD>(key.size());
  Bytes blob(sizeof(header) + sizeof(size) + key.size());
  std::memcpy(blob.data(), &header, sizeof(header));
  std::memcpy(blob.data() + sizeof(header), &size, sizeof(size));
  if (!key.empty()) std::memcpy(blob.data() + sizeof(header) + sizeof(size), key.data(), key.size());
  return blob;
}

class KeysTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(CryptAcquireContextA(&prov_.handle, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT));
  }

  DWORD Import(ALG_ID algId, const Bytes& key, HCRYPTKEY* handle) {
    const Bytes blob = PlainTextBlob(algId, key);
    return CryptImportKey(prov_.handle, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, handle)
               ? 0
               : GetLastError();
  }

  // A key with its IV set; fails the test on the way if the import fails.
  void MakeKey(const CipherCase& cipher, const Bytes& key, const Bytes& iv, KeyHandle* handle) {
    ASSERT_EQ(0u, Import(cipher.algId, key, &handle->handle)) << cipher.name;
    ASSERT_TRUE(CryptSetKeyParam(handle->handle, KP_IV, iv.data(), 0));
  }

  // `openssl enc` of `plain` with the given key and IV.
  Bytes OpenSslEncrypt(const CipherCase& cipher, const Bytes& key, const Bytes& iv, const Bytes& plain) {
    WriteBytes(dir_.File("plain"), plain);
    const std::string command = std::string("openssl enc -e ") + cipher.encOptions + " -K " + Hex(key) +
                                " -iv " + Hex(iv) + " -in " + dir_.File("plain") + " -out " +
                                dir_.File("cipher");
    EXPECT_TRUE(Shell(command)) << command;
    return ReadBytes(dir_.File("cipher"));
  }

  ProvHandle prov_;
  ScratchDir dir_;
};

TEST_F(KeysTest, OpenSslAgreesBothWaysInOneCallAndStreamed) {
  if (!HaveOpenSsl()) GTEST_SKIP() << "the openssl command is not available";
  for (const CipherCase& cipher : kCiphers) {
    const Bytes key = PatternBytes(cipher.keyBytes, 1), iv = PatternBytes(cipher.ivBytes, 2);
    for (size_t size : {size_t{0}, size_t{1}, size_t{1000}, size_t{4095}, size_t{8192}, size_t{10000}}) {
      SCOPED_TRACE(std::string(cipher.name) + " " + std::to_string(size));
      const Bytes plain = PatternBytes(size, 3);
      const Bytes encrypted = OpenSslEncrypt(cipher, key, iv, plain);
      KeyHandle handle;
      MakeKey(cipher, key, iv, &handle);
      Bytes whole = encrypted;
      DWORD length = static_cast<DWORD>(whole.size());
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
      EXPECT_EQ((size / cipher.ivBytes + 1) * cipher.ivBytes, needed);
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

TEST_F(KeysTest, BadPaddingAndPartialBlocksAreBadData) {
  const Bytes iv(16, 0);
  KeyHandle handle;
  MakeKey(kCiphers[0], PatternBytes(16, 7), iv, &handle);
  // Last plaintext block as it is encrypted (no padding added) and whether a
  // final decryption accepts it as padded.
  const struct {
    const char* what;
    Bytes tail;
    bool good;
    DWORD plainLength;
  } kCases[] = {
      {"pad byte 0", {0x00}, false, 0},
      {"pad longer than a block", {0x11}, false, 0},
      {"pad bytes differ", {0x01, 0x02}, false, 0},
      {"one byte of padding", {0x01}, true, 15},
      {"a whole block of padding", Bytes(16, 0x10), true, 0},
  };
  for (const auto& item : kCases) {
    Bytes block = PatternBytes(16, 8);
    std::copy(item.tail.begin(), item.tail.end(), block.end() - static_cast<long>(item.tail.size()));
    DWORD length = 16;
    ASSERT_TRUE(CryptSetKeyParam(handle.handle, KP_IV, iv.data(), 0));
    ASSERT_TRUE(CryptEncrypt(handle.handle, 0, FALSE, 0, block.data(), &length, 16));
    ASSERT_TRUE(CryptSetKeyParam(handle.handle, KP_IV, iv.data(), 0));
    EXPECT_EQ(item.good, CryptDecrypt(handle.handle, 0, TRUE, 0, block.data(), &length) != FALSE)
        << item.what;
    if (item.good) {
      EXPECT_EQ(item.plainLength, length) << item.what;
    } else {
      EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), GetLastError()) << item.what;
      EXPECT_EQ(16u, length) << item.what;  // untouched on failure
    }
  }
  Bytes data(16);
  DWORD length = 15;
  EXPECT_FALSE(CryptDecrypt(handle.handle, 0, FALSE, 0, data.data(), &length));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), GetLastError());
  length = 0;  // a final call must carry the padded block
  EXPECT_FALSE(CryptDecrypt(handle.handle, 0, TRUE, 0, data.data(), &length));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), GetLastError());
}

TEST_F(KeysTest, NonFinalCallsKeepEveryBlock) {
  // As on Windows, nothing is held back: a stream that never ends with a
  // final call keeps its padding block.
  const Bytes key = PatternBytes(16, 10), iv = PatternBytes(16, 11), plain = PatternBytes(32, 12);
  KeyHandle handle;
  MakeKey(kCiphers[0], key, iv, &handle);
  Bytes buffer = plain;
  buffer.resize(48);
  DWORD length = 32;
  ASSERT_TRUE(CryptEncrypt(handle.handle, 0, TRUE, 0, buffer.data(), &length, 48));
  ASSERT_EQ(48u, length);
  ASSERT_TRUE(CryptSetKeyParam(handle.handle, KP_IV, iv.data(), 0));
  length = 48;
  ASSERT_TRUE(CryptDecrypt(handle.handle, 0, FALSE, 0, buffer.data(), &length));
  ASSERT_EQ(48u, length);
  EXPECT_EQ(plain, Bytes(buffer.begin(), buffer.begin() + 32));
  EXPECT_EQ(Bytes(16, 16), Bytes(buffer.begin() + 32, buffer.end()));
}

TEST_F(KeysTest, ParametersFollowTheSizeQueryProtocol) {
  KeyHandle handle;
  const Bytes iv = PatternBytes(16, 13);
  MakeKey(kCiphers[0], PatternBytes(16, 14), iv, &handle);
  DWORD length = 0;
  ASSERT_TRUE(CryptGetKeyParam(handle.handle, KP_IV, nullptr, &length, 0));
  EXPECT_EQ(16u, length);
  Bytes out(16);
  length = 15;
  EXPECT_FALSE(CryptGetKeyParam(handle.handle, KP_IV, out.data(), &length, 0));
  EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), GetLastError());
  EXPECT_EQ(16u, length);
  ASSERT_TRUE(CryptGetKeyParam(handle.handle, KP_IV, out.data(), &length, 0));
  EXPECT_EQ(iv, out);

  const struct {
    DWORD param;
    DWORD expected;
  } kDwords[] = {{KP_ALGID, CALG_AES_128}, {KP_KEYLEN, 128}, {KP_BLOCKLEN, 128}, {KP_MODE, CRYPT_MODE_CBC}};
  for (const auto& item : kDwords) {
    DWORD value = 0;
    length = sizeof(value);
    ASSERT_TRUE(CryptGetKeyParam(handle.handle, item.param, reinterpret_cast<BYTE*>(&value), &length, 0));
    EXPECT_EQ(item.expected, value) << item.param;
  }
  // The GOST parameters belong to GOST keys only; the parameter set is read only.
  const DWORD one = 1;
  for (DWORD param : {DWORD{KP_MIXMODE}, DWORD{KP_CIPHEROID}, DWORD{KP_EFFECTIVE_KEYLEN}}) {
    length = 0;
    EXPECT_FALSE(CryptGetKeyParam(handle.handle, param, nullptr, &length, 0));
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_TYPE), GetLastError());
    EXPECT_FALSE(CryptSetKeyParam(handle.handle, param, reinterpret_cast<const BYTE*>(&one), 0));
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_TYPE), GetLastError());
  }
}

TEST_F(KeysTest, PlainTextBlobsAreChecked) {
  Bytes blob = PlainTextBlob(CALG_AES_128, PatternBytes(16, 15));
  const struct {
    const char* what;
    size_t offset;
    BYTE value;
    DWORD error;
  } kCases[] = {
      {"blob type", 0, 7, NTE_BAD_TYPE},
      {"version", 1, 3, NTE_BAD_VER},
      {"algorithm", 4, 0x99, NTE_BAD_ALGID},
      {"key size beyond the blob", 8, 17, NTE_BAD_DATA},
      {"key size wrong for AES-128", 8, 15, NTE_BAD_LEN},
  };
  for (const auto& item : kCases) {
    Bytes broken = blob;
    broken[item.offset] = item.value;
    HCRYPTKEY key = 0;
    EXPECT_FALSE(CryptImportKey(prov_.handle, broken.data(), static_cast<DWORD>(broken.size()), 0, 0, &key))
        << item.what;
    EXPECT_EQ(item.error, GetLastError()) << item.what;
  }
  HCRYPTKEY key = 0;
  EXPECT_FALSE(CryptImportKey(prov_.handle, blob.data(), 11, 0, 0, &key));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), GetLastError());
}

TEST_F(KeysTest, StaleAndForeignHandlesAreRefused) {
  HCRYPTKEY key = 0;
  ASSERT_EQ(0u, Import(CALG_3DES, PatternBytes(24, 16), &key));
  HCRYPTKEY copy = 0;
  ASSERT_TRUE(CryptDuplicateKey(key, nullptr, 0, &copy));
  EXPECT_NE(key, copy);
  ASSERT_TRUE(CryptDestroyKey(key));
  BYTE data[8] = {};
  DWORD length = 8;
  const HCRYPTKEY foreign[] = {key, 0, 1, 0x1234, prov_.handle, ~HCRYPTKEY{0}};
  for (HCRYPTKEY handle : foreign) {
    EXPECT_FALSE(CryptDecrypt(handle, 0, FALSE, 0, data, &length)) << handle;
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
    EXPECT_FALSE(CryptDestroyKey(handle));
    EXPECT_FALSE(CryptGetKeyParam(handle, KP_IV, nullptr, &length, 0));
  }
  // The duplicate lives on.
  length = 8;
  EXPECT_TRUE(CryptDecrypt(copy, 0, FALSE, 0, data, &length));
  EXPECT_TRUE(CryptDestroyKey(copy));
  const Bytes blob = PlainTextBlob(CALG_AES_128, PatternBytes(16, 17));
  EXPECT_FALSE(
      CryptImportKey(0x5056000000000001ULL + 999, blob.data(), static_cast<DWORD>(blob.size()), 0, 0, &key));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
}

}  // namespace
}  // namespace crypt_test
}  // namespace cmskit
