// Where the bytes of a result go, block by block. Write throws
// OperationError when the bytes cannot be kept.
#ifndef CMSKIT_CLI_BYTE_SINK_H
#define CMSKIT_CLI_BYTE_SINK_H

#include <cstddef>
#include <cstdint>

namespace cmskit_cli {

class ByteSink {
 public:
  virtual ~ByteSink() = default;
  virtual void Write(const uint8_t* data, size_t size) = 0;
};

}  // namespace cmskit_cli

#endif
