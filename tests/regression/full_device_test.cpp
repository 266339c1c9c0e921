// A full disk must fail every writer, however small the output: the last
// buffered octets are pushed out and checked before success is reported.
#include <gtest/gtest.h>

#include "common/sign_data_util.h"

namespace cmskit_testing {
namespace {

TEST(FullDevice, EveryWriterFails) {
  const std::string full = "/dev/full";
  if (PLATFORM_PATH_SEPARATOR != '/' || !cmskit::FileExists(full.c_str())) GTEST_SKIP() << "needs /dev/full";
  TempDir dir;
  const std::string source = dir.Path("source.bin");
  WriteBytes(source, Text("a small content"));

  cmskit::SignData message;
  ASSERT_TRUE(message.AttachData(MemoryContent(Text("a small content")), nullptr));
  {
    cmskit::CTOOFile file(full.c_str(), "wb");
    EXPECT_EQ(message.WriteObject(file, 0xFFFFFFFF), 0u);
    EXPECT_EQ(message.WriteObject64(file, UINT64_MAX), 0u);
  }
  cmskit::ToSignStruct out = FileTarget(full);
  EXPECT_FALSE(message.DetachData(out, nullptr));

  cmskit::EnvelopedData enveloped;
  enveloped.recipientInfos.emplace_back();
  enveloped.recipientInfos.back().subjectKeyIdentifier = Obj(Text("id"));
  enveloped.encryptedContentInfo.encryptedContent = Obj(Text("sixteen octets!!"));
  {
    cmskit::CTOOFile file(full.c_str(), "wb");
    int error = 0;
    EXPECT_EQ(enveloped.WriteObject(file, &error), 0u);
    EXPECT_NE(error, 0);
    EXPECT_EQ(enveloped.encryptedContentInfo.WriteObject(file), 0u);
  }
  EXPECT_FALSE(cmskit::Base64FileEncode(source.c_str(), full.c_str()));
  const std::string text = dir.Path("text.b64");
  WriteBytes(text, Text("YSBzbWFsbCBjb250ZW50"));
  EXPECT_FALSE(cmskit::Base64FileDecode(text.c_str(), full.c_str()));
}

}  // namespace
}  // namespace cmskit_testing
