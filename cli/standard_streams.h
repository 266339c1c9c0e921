// Standard input and output as the tool uses them: streams of bytes, and
// pipes whose reader may leave early.
#ifndef CMSKIT_CLI_STANDARD_STREAMS_H
#define CMSKIT_CLI_STANDARD_STREAMS_H

#include <cstdio>

namespace cmskit_cli {

// Platforms that translate line ends switch the stream to binary.
void UseBinaryMode(FILE* stream);

// A reader that goes away (`cmskit detach m.p7s - | head`) makes the next
// write fail with an error the tool reports, rather than end the process
// before it has removed its temporary files.
void ReportBrokenPipes();

}  // namespace cmskit_cli

#endif
