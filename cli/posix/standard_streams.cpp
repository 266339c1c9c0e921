// POSIX streams never translate line ends.
#include "../standard_streams.h"

namespace cmskit_cli {

void UseBinaryMode(FILE* /*stream*/) {}

}  // namespace cmskit_cli
