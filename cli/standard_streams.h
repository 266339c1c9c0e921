// Standard input and output carry bytes, not text: on platforms that
// translate line ends they are switched to binary before use.
#ifndef CMSKIT_CLI_STANDARD_STREAMS_H
#define CMSKIT_CLI_STANDARD_STREAMS_H

#include <cstdio>

namespace cmskit_cli {

void UseBinaryMode(FILE* stream);

}  // namespace cmskit_cli

#endif
