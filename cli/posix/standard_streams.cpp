// POSIX streams never translate line ends.
#include "../standard_streams.h"

#include <csignal>

namespace cmskit_cli {

void UseBinaryMode(FILE* /*stream*/) {}

void ReportBrokenPipes() { std::signal(SIGPIPE, SIG_IGN); }

}  // namespace cmskit_cli
