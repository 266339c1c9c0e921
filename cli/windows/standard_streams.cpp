// Windows opens standard streams in text mode, which would turn every LF
// byte into CR LF and stop reading at a Ctrl-Z byte.
#include "../standard_streams.h"

#include <fcntl.h>
#include <io.h>

namespace cmskit_cli {

void UseBinaryMode(FILE* stream) { _setmode(_fileno(stream), _O_BINARY); }

// Writes to a closed pipe fail with an error here; there is no signal.
void ReportBrokenPipes() {}

}  // namespace cmskit_cli
