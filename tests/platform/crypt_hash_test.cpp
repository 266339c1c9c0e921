// Hash objects: published digests, streaming, the finished state and errors.
#include "crypt_test_support.h"

namespace cmskit::test {
namespace {

class HashTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, prov_)); }
  ProviderHandle prov_;
};

bool IsGost(ALG_ID algId) {
  return algId == CALG_GR3411 || algId == CALG_GR3411_2012_256 || algId == CALG_GR3411_2012_512;
}

// RFC 1321, FIPS 180-2, the GOST R 34.11-94 values for the CryptoPro
// parameter set, and RFC 6986 (its M1 and M2, digests as output bytes).
TEST_F(HashTest, PublishedDigests) {
  const std::string m1 = "012345678901234567890123456789012345678901234567890123456789012";
  const std::string m2 =
      Text(Obj(Hex("d1e520e2e5f2f0e82c20d1f2f0e8e1eee6e820e2edf3f6e82c20e2e5fef2fa20f120eceef0ff20f1f2f0e5ebe"
                   "0ece820ede020f5f0e0"
                   "e1f0fbff20efebfaeafb20c8e3eef0e5e2fb")));
  const std::tuple<ALG_ID, std::string, const char*> kVectors[] = {
      {CALG_MD5, "", "d41d8cd98f00b204e9800998ecf8427e"},
      {CALG_MD5, "abc", "900150983cd24fb0d6963f7d28e17f72"},
      {CALG_SHA1, "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {CALG_SHA_256, "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {CALG_SHA_384, "abc",
       "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7"},
      {CALG_SHA_512, "abc",
       "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd454d4"
       "423643c"
       "e80e2a9ac94fa54ca49f"},
      {CALG_GR3411, "abc", "b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c"},
      {CALG_GR3411, "message digest", "bc6041dd2aa401ebfa6e9886734174febdb4729aa972d60f549ac39b29721ba0"},
      {CALG_GR3411, "Suppose the original message has length = 50 bytes",
       "c3730c5cbccacf915ac292676f21e8bd4ef75331d9405e5f1a61dc3130a65011"},
      {CALG_GR3411_2012_256, m1, "9d151eefd8590b89daa6ba6cb74af9275dd051026bb149a452fd84e5e57b5500"},
      {CALG_GR3411_2012_256, m2, "9dd2fe4e90409e5da87f53976d7405b0c0cac628fc669a741d50063c557e8f50"},
      {CALG_GR3411_2012_512, m1,
       "1b54d01a4af5b9d5cc3d86d68d285462b19abc2475222f35c085122be4ba1ffa00ad30f8767b3a82384c6574f024c311e2a48"
       "13"
       "32b08ef7f41797891c1646f48"},
      {CALG_GR3411_2012_512, m2,
       "1e88e62226bfca6f9994f1f2d51569e0daf8475a3b0fe61a5300eee46d961376035fe83549ada2b8620fcd7c496ce5b33f0cb"
       "9d"
       "ddc2b6460143b03dabac9fb28"},
  };
  for (const auto& [algId, message, digest] : kVectors) {
    if (IsGost(algId) && !HaveGost()) continue;
    SCOPED_TRACE(std::to_string(algId) + " " + message);
    const Bytes data(message.begin(), message.end());
    HashHandle hash(HashOf(prov_.handle, algId, data));
    ASSERT_NE(0u, hash.handle) << std::hex << GetLastError();
    EXPECT_EQ(Hex(digest), HashValue(hash.handle));
    // HP_ALGID and HP_HASHSIZE as DWORDs.
    DWORD value = 0, length = sizeof(value);
    ASSERT_TRUE(CryptGetHashParam(hash.handle, HP_ALGID, reinterpret_cast<BYTE*>(&value), &length, 0));
    EXPECT_EQ(algId, value);
    ASSERT_TRUE(CryptGetHashParam(hash.handle, HP_HASHSIZE, reinterpret_cast<BYTE*>(&value), &length, 0));
    EXPECT_EQ(Hex(digest).size(), value);
    // Fed in uneven pieces, and duplicated half way, the digest is the same.
    HashHandle pieces(HashOf(prov_.handle, algId, Bytes())), copy;
    size_t at = 0;
    for (size_t piece = 1; at < data.size(); at += piece, piece = piece * 3 + 1) {
      const size_t size = std::min(piece, data.size() - at);
      ASSERT_TRUE(CryptHashData(pieces.handle, data.data() + at, static_cast<DWORD>(size), 0));
      if (!copy.handle) {
        ASSERT_TRUE(CryptDuplicateHash(pieces.handle, nullptr, 0, &copy.handle));
      }
    }
    EXPECT_EQ(Hex(digest), HashValue(pieces.handle));
    if (copy.handle && data.size() > 1) {
      EXPECT_TRUE(CryptHashData(copy.handle, data.data() + 1, Size(data) - 1, 0));
      EXPECT_EQ(Hex(digest), HashValue(copy.handle));
    }
  }
}

TEST_F(HashTest, SizeQueriesAndTheFinishedState) {
  const Bytes data = Pattern(1000, 3);
  HashHandle hash(HashOf(prov_.handle, CALG_SHA_256, data));
  DWORD length = 0;
  // Asking for the size does not finish the hash.
  ASSERT_TRUE(CryptGetHashParam(hash.handle, HP_HASHVAL, nullptr, &length, 0));
  EXPECT_EQ(32u, length);
  ASSERT_TRUE(CryptHashData(hash.handle, data.data(), Size(data), 0));
  Bytes value(32);
  length = 31;
  EXPECT_FALSE(CryptGetHashParam(hash.handle, HP_HASHVAL, value.data(), &length, 0));
  EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), GetLastError());
  EXPECT_EQ(32u, length);
  HashHandle twice(HashOf(prov_.handle, CALG_SHA_256, Cat({data, data})));
  const Bytes expected = HashValue(twice.handle);
  EXPECT_EQ(expected, HashValue(hash.handle));
  // A value read (or set) ends the hash.
  EXPECT_FALSE(CryptHashData(hash.handle, data.data(), 1, 0));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_HASH_STATE), GetLastError());
  EXPECT_FALSE(CryptHashData(hash.handle, nullptr, 0, 0));
  HashHandle copy;
  ASSERT_TRUE(CryptDuplicateHash(hash.handle, nullptr, 0, &copy.handle));
  EXPECT_EQ(expected, HashValue(copy.handle));
  HashHandle set(HashOf(prov_.handle, CALG_SHA_256, data));
  ASSERT_TRUE(CryptSetHashParam(set.handle, HP_HASHVAL, expected.data(), 0));
  EXPECT_EQ(expected, HashValue(set.handle));
  EXPECT_FALSE(CryptHashData(set.handle, data.data(), 1, 0));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_HASH_STATE), GetLastError());
}

TEST_F(HashTest, ErrorsHaveWindowsCodes) {
  HCRYPTHASH hash = 0;
  const std::tuple<HCRYPTPROV, ALG_ID, HCRYPTKEY, DWORD, DWORD> kCreate[] = {
      {prov_.handle, 0x8099, 0, 0, NTE_BAD_ALGID},
      {prov_.handle, CALG_AES_128, 0, 0, NTE_BAD_ALGID},
      {prov_.handle, CALG_SHA1, 5, 0, NTE_BAD_KEY},
      {prov_.handle, CALG_SHA1, 0, 1, NTE_BAD_FLAGS},
      {prov_.handle + 99, CALG_SHA1, 0, 0, ERROR_INVALID_PARAMETER}};
  for (const auto& [prov, algId, key, flags, error] : kCreate) {
    EXPECT_FALSE(CryptCreateHash(prov, algId, key, flags, &hash)) << algId;
    EXPECT_EQ(error, GetLastError()) << algId;
  }
  EXPECT_FALSE(CryptCreateHash(prov_.handle, CALG_SHA1, 0, 0, nullptr));
  ASSERT_TRUE(CryptCreateHash(prov_.handle, CALG_SHA1, 0, 0, &hash));
  BYTE byte = 0;
  DWORD length = 1;
  EXPECT_FALSE(CryptHashData(hash, &byte, 1, 1));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_FLAGS), GetLastError());
  EXPECT_FALSE(CryptHashData(hash, nullptr, 1, 0));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
  EXPECT_FALSE(CryptGetHashParam(hash, 3, &byte, &length, 0));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_TYPE), GetLastError());
  EXPECT_FALSE(CryptSetHashParam(hash, HP_ALGID, &byte, 0));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_TYPE), GetLastError());
  ASSERT_TRUE(CryptDestroyHash(hash));
  for (HCRYPTHASH stale : {hash, HCRYPTHASH{0}, HCRYPTHASH{prov_.handle}}) {
    EXPECT_FALSE(CryptHashData(stale, &byte, 1, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
    EXPECT_FALSE(CryptGetHashParam(stale, HP_HASHVAL, nullptr, &length, 0));
    EXPECT_FALSE(CryptDestroyHash(stale));
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
  }
}

}  // namespace
}  // namespace cmskit::test
