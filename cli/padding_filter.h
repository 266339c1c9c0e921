// Passes decrypted bytes on, holding back the last cipher block; Finish()
// checks the PKCS #7 padding there and passes on only what comes before it.
// With a block size of 0 every byte passes straight through.
#ifndef CMSKIT_CLI_PADDING_FILTER_H
#define CMSKIT_CLI_PADDING_FILTER_H

#include <string>
#include <vector>

#include "byte_sink.h"

namespace cmskit_cli {

class PaddingFilter : public ByteSink {
 public:
  // `what` opens the message of a bad padding ("cannot decrypt m.p7m").
  PaddingFilter(ByteSink& next, size_t blockBytes, std::string what);

  void Write(const uint8_t* data, size_t size) override;
  // Passing every byte through, the filter lets the library write straight
  // into its sink's file.
  const char* HandOverFile() override { return block_ == 0 ? next_.HandOverFile() : nullptr; }
  // Throws OperationError (bad data) when the bytes do not end in a valid
  // padding of whole blocks.
  void Finish();

 private:
  ByteSink& next_;
  size_t block_;
  std::string what_;
  std::vector<uint8_t> tail_;
  uint64_t total_ = 0;
};

}  // namespace cmskit_cli

#endif
