// Usage mistakes that only the file arguments together show: standard input
// can be read once, standard output can carry one result, and two results
// cannot replace the same file.
#ifndef CMSKIT_CLI_ARGUMENT_CHECKS_H
#define CMSKIT_CLI_ARGUMENT_CHECKS_H

#include <string>
#include <vector>

namespace cmskit_cli {

// Throws UsageError; empty arguments (options not given) are left out.
void CheckFileArguments(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs);

}  // namespace cmskit_cli

#endif
