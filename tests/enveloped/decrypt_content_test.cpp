// DecryptContent with AES-128-CBC content made here by the platform.
#include "enveloped/enveloped_test_util.h"

namespace cmskit::test {
namespace {

constexpr DWORD kJunk = 7;  // bytes in front of the message in its file

class DecryptContentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(AcquireVerifyContext(PROV_RSA_AES, prov_)) << GetLastError();
    key_.Reset(ImportPlainKey(prov_.handle, CALG_AES_128, Pattern(16, 1)));
  }
  HCRYPTKEY Ready() {
    ASNAlgorithmIdentifier alg = CbcAlgorithm(kAes128Oid, iv_);
    return DecryptKeyParam(key_.handle, alg) ? key_.handle : 0;
  }
  Bytes Encrypt(const Bytes& plain) { return EncryptCbc(key_.handle, iv_, plain); }
  // With `indefinite` the outer SEQUENCE and the constructed [0] have indefinite lengths.
  Bytes Message(const Bytes& octets, bool constructed, bool indefinite = false) const {
    const Bytes alg = Tlv(0x30, Cat({Hex("06 09 60 86 48 01 65 03 04 01 02"), Tlv(0x04, iv_)}));
    if (!indefinite) return Tlv(0x30, Cat({Octets("$dataOid"), alg, Tlv(constructed ? 0xA0 : 0x80, octets)}));
    return Cat({Hex("30 80"), Octets("$dataOid"), alg, Hex("A0 80"), octets, Hex("00 00 00 00")});
  }
  static EncryptedContentInfo InMemory(const Bytes& message) {
    EncryptedContentInfo eci;
    EXPECT_EQ(message.size(), eci.ReadObject(message.data(), Size(message)));
    return eci;
  }
  EncryptedContentInfo InFile(const Bytes& message) {
    const std::string path = dir_.Path("message" + std::to_string(++files_));
    WriteBytes(path, Cat({Bytes(kJunk, 0xEE), message}));
    CTOOFile file(path.c_str(), "rb");
    EXPECT_EQ(0, file.Seek(kJunk, SEEK_SET));
    EncryptedContentInfo eci;
    // An indefinite SEQUENCE leaves its own end-of-contents octets unread:
    // the file stays right after [0].
    const size_t closing = message[1] == 0x80 ? 2 : 0;
    EXPECT_EQ(message.size() - closing, eci.ReadObject(file));
    EXPECT_EQ(kJunk + message.size() - closing, static_cast<size_t>(file.Tell()));
    EXPECT_EQ(kJunk + message.size() - eci.contentLength - closing, eci.contentOffset);
    return eci;
  }
  // DecryptContent into room for `room` bytes after 3 leading ones; `error` gets the last error.
  Bytes ToMemory(EncryptedContentInfo& eci, size_t room, bool* ok, DWORD* error = nullptr) {
    Bytes buffer(3 + room + 5, 0xCC);
    ToSignStruct out = MemoryOut(buffer, 3, static_cast<DWORD>(room));
    SetLastError(0);
    *ok = DecryptContent(Ready(), eci, out);
    if (error) *error = GetLastError();
    EXPECT_EQ(0xCC, buffer[2]);
    if (*ok) return Written(buffer, out);
    EXPECT_EQ(3 + room, out.end);  // untouched
    return Bytes();
  }
  Bytes ToFile(EncryptedContentInfo& eci, bool* ok) {
    const std::string path = dir_.Path("plain" + std::to_string(++files_));
    ToSignStruct out = FileOut(path);
    *ok = DecryptContent(Ready(), eci, out);
    return ReadBytes(path);
  }

  ProviderHandle prov_;
  KeyHandle key_;
  const Bytes iv_ = Pattern(16, 2);
  TempDir dir_;
  int files_ = 0;
};

TEST_F(DecryptContentTest, PiecesTowardsAFileAreOneNonFinalStream) {
  const Bytes plain = Pattern(10000, 6), cipher = Encrypt(plain);
  const Bytes pieces = Cat({Tlv(0x04, Bytes(cipher.begin(), cipher.begin() + 4096)),
                            Tlv(0x04, Bytes(cipher.begin() + 4096, cipher.begin() + 8192)),
                            Tlv(0x04, Bytes(cipher.begin() + 8192, cipher.end()))});
  for (bool indefinite : {false, true}) {
    SCOPED_TRACE(indefinite);
    const Bytes message = Message(pieces, true, indefinite);
    EncryptedContentInfo file = InFile(message);
    bool ok = false;
    EXPECT_EQ(WithPadding(plain, 16), ToFile(file, &ok));
    EXPECT_TRUE(ok);
    // From memory contentLength is 0: the walk runs into the end of the octets and throws after the last
    // piece.
    EncryptedContentInfo memory = InMemory(message);
    ASSERT_EQ(0u, memory.contentLength);
    const std::string path = dir_.Path("walk");
    ToSignStruct out = FileOut(path);
    ExpectThrowsStatus([&] { DecryptContent(Ready(), memory, out); }, kStatusCorrupt);
    EXPECT_EQ(WithPadding(plain, 16), ReadBytes(path));
    memory.contentLength = memory.encryptedContent.size();  // a clean end
    EXPECT_EQ(WithPadding(plain, 16), ToFile(memory, &ok));
    EXPECT_TRUE(ok);
  }
}

TEST_F(DecryptContentTest, PiecesTowardsMemoryAreEachFinal) {
  const Bytes parts[] = {Pattern(100, 7), Pattern(4096, 8), Pattern(1, 9)};
  const Bytes pieces =
      Cat({Tlv(0x04, Encrypt(parts[0])), Tlv(0x04, Encrypt(parts[1])), Tlv(0x04, Encrypt(parts[2]))});
  const Bytes plain = Cat({parts[0], parts[1], parts[2]});
  for (bool inFile : {false, true}) {
    const Bytes message = Message(pieces, true, inFile);
    EncryptedContentInfo eci = inFile ? InFile(message) : InMemory(message);
    bool ok = false;
    EXPECT_EQ(plain, ToMemory(eci, plain.size(), &ok));
    EXPECT_TRUE(ok);
    DWORD error = 0;  // one byte less and the last piece does not fit
    EXPECT_EQ(Bytes(), ToMemory(eci, plain.size() - 1, &ok, &error));
    EXPECT_EQ(kOutOfRoom, ok ? 0 : error);
  }
}

TEST_F(DecryptContentTest, MalformedPiecesAndMissingBuffersOrFiles) {
  // The second piece claims more octets than there are.
  const Bytes pieces = Cat({Tlv(0x04, Encrypt(Pattern(20, 10))), Hex("04 82 10 00 01 02")});
  EncryptedContentInfo memory = InMemory(Message(pieces, true));
  Bytes buffer(100);
  ToSignStruct out = MemoryOut(buffer, 0, 100);
  ExpectThrowsStatus([&] { DecryptContent(Ready(), memory, out); }, kStatusTruncated);
  EncryptedContentInfo file = InFile(Message(pieces, true));
  const std::string target = dir_.Path("target");
  out = FileOut(target);
  EXPECT_THROW(DecryptContent(Ready(), file, out), XTOOStatus);

  // A partial block: 4096 bytes go through non-final and are written, the final call of one byte is refused.
  const Bytes plain = Pattern(5000, 5), cipher = Encrypt(plain);
  EncryptedContentInfo partial = InFile(Message(Bytes(cipher.begin(), cipher.begin() + 4097), false));
  bool ok = true;
  EXPECT_EQ(Bytes(plain.begin(), plain.begin() + 4096), ToFile(partial, &ok));
  EXPECT_FALSE(ok);
  for (DWORD flags : {DWORD{0}, ToSignStruct::kInFile}) {
    ToSignStruct none;
    none.flags = flags;
    none.end = 1000;
    SetLastError(0);
    EXPECT_FALSE(DecryptContent(Ready(), file, none));
    EXPECT_EQ(kBadArguments, GetLastError());
  }
  // A source file that is gone: the output file was already created.
  file.fileName = dir_.Path("gone").c_str();
  remove(target.c_str());
  out = FileOut(target);
  EXPECT_FALSE(DecryptContent(Ready(), file, out));
  EXPECT_NE(0u, GetLastError());
  EXPECT_TRUE(FileExists(target.c_str()));
  EncryptedContentInfo nameless = file;  // a copy has no file name
  DWORD error = 0;
  ToMemory(nameless, 200, &ok, &error);
  EXPECT_FALSE(ok);
  EXPECT_EQ(kBadArguments, error);
}

}  // namespace
}  // namespace cmskit::test
