// Hash objects: published digests, streaming, the finished state and errors.
#include "crypt_test_support.h"

namespace cmskit::test {
namespace {

class HashTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, prov_)); }
  ProviderHandle prov_;
};

TEST_F(HashTest, PublishedDigests) {
  const cmskit_testing::Table table("crypt/digests.txt");
  for (const cmskit_testing::Row& row : table.Rows()) {
    const ALG_ID algId = static_cast<ALG_ID>(std::stoul(row[0], nullptr, 16));
    const Bytes data = table.Octets(row[1]), digest = Hex(row[2]);
    if ((algId == CALG_GR3411 || algId == CALG_GR3411_2012_256 || algId == CALG_GR3411_2012_512) &&
        !HaveGost())
      continue;
    SCOPED_TRACE(row.where);
    HashHandle hash(HashOf(prov_.handle, algId, data));
    ASSERT_NE(0u, hash.handle);
    EXPECT_EQ(digest, HashValue(hash.handle));
    DWORD value = 0, length = sizeof(value);
    ASSERT_TRUE(CryptGetHashParam(hash.handle, HP_ALGID, reinterpret_cast<BYTE*>(&value), &length, 0));
    EXPECT_EQ(algId, value);
    ASSERT_TRUE(CryptGetHashParam(hash.handle, HP_HASHSIZE, reinterpret_cast<BYTE*>(&value), &length, 0));
    EXPECT_EQ(digest.size(), value);
    // Fed in uneven pieces, the digest is the same.
    HashHandle pieces(HashOf(prov_.handle, algId, Bytes()));
    size_t at = 0;
    for (size_t piece = 1; at < data.size(); at += piece, piece = piece * 3 + 1) {
      const size_t size = std::min(piece, data.size() - at);
      ASSERT_TRUE(CryptHashData(pieces.handle, data.data() + at, static_cast<DWORD>(size), 0));
    }
    EXPECT_EQ(digest, HashValue(pieces.handle));
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
  EXPECT_TRUE(
      FailsWith(CryptGetHashParam(hash.handle, HP_HASHVAL, value.data(), &length, 0), ERROR_MORE_DATA));
  EXPECT_EQ(32u, length);
  HashHandle twice(HashOf(prov_.handle, CALG_SHA_256, Cat({data, data})));
  const Bytes expected = HashValue(twice.handle);
  EXPECT_EQ(expected, HashValue(hash.handle));
  // A value read (or set) ends the hash.
  EXPECT_TRUE(FailsWith(CryptHashData(hash.handle, data.data(), 1, 0), NTE_BAD_HASH_STATE));
  EXPECT_FALSE(CryptHashData(hash.handle, nullptr, 0, 0));
  HashHandle set(HashOf(prov_.handle, CALG_SHA_256, data));
  ASSERT_TRUE(CryptSetHashParam(set.handle, HP_HASHVAL, expected.data(), 0));
  EXPECT_EQ(expected, HashValue(set.handle));
  EXPECT_TRUE(FailsWith(CryptHashData(set.handle, data.data(), 1, 0), NTE_BAD_HASH_STATE));
}

TEST_F(HashTest, ErrorsHaveWindowsCodes) {
  HCRYPTHASH hash = 0;
  const std::tuple<HCRYPTPROV, ALG_ID, HCRYPTKEY, DWORD, DWORD> kCreate[] = {
      {prov_.handle, 0x8099, 0, 0, NTE_BAD_ALGID},
      {prov_.handle, CALG_AES_128, 0, 0, NTE_BAD_ALGID},
      {prov_.handle, CALG_SHA1, 5, 0, NTE_BAD_KEY},
      {prov_.handle, CALG_SHA1, 0, 1, NTE_BAD_FLAGS},
      {prov_.handle + 99, CALG_SHA1, 0, 0, ERROR_INVALID_PARAMETER}};
  for (const auto& [prov, algId, key, flags, error] : kCreate)
    EXPECT_TRUE(FailsWith(CryptCreateHash(prov, algId, key, flags, &hash), error)) << algId;
  EXPECT_FALSE(CryptCreateHash(prov_.handle, CALG_SHA1, 0, 0, nullptr));
  ASSERT_TRUE(CryptCreateHash(prov_.handle, CALG_SHA1, 0, 0, &hash));
  BYTE byte = 0;
  DWORD length = 1;
  EXPECT_TRUE(FailsWith(CryptHashData(hash, &byte, 1, 1), NTE_BAD_FLAGS));
  EXPECT_TRUE(FailsWith(CryptHashData(hash, nullptr, 1, 0), ERROR_INVALID_PARAMETER));
  EXPECT_TRUE(FailsWith(CryptGetHashParam(hash, 3, &byte, &length, 0), NTE_BAD_TYPE));
  EXPECT_TRUE(FailsWith(CryptSetHashParam(hash, HP_ALGID, &byte, 0), NTE_BAD_TYPE));
  ASSERT_TRUE(CryptDestroyHash(hash));
  for (HCRYPTHASH stale : {hash, HCRYPTHASH{0}, HCRYPTHASH{prov_.handle}}) {
    EXPECT_TRUE(FailsWith(CryptHashData(stale, &byte, 1, 0), ERROR_INVALID_PARAMETER));
    EXPECT_FALSE(CryptGetHashParam(stale, HP_HASHVAL, nullptr, &length, 0));
    EXPECT_TRUE(FailsWith(CryptDestroyHash(stale), ERROR_INVALID_PARAMETER));
  }
}

}  // namespace
}  // namespace cmskit::test
