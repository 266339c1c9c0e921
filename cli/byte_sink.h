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
  // A file the library may write the whole result into itself, instead of
  // handing the bytes over through Write; null when the sink must see them.
  // Once handed out, the sink takes no Write.
  virtual const char* HandOverFile() { return nullptr; }
};

}  // namespace cmskit_cli

#endif
