#include "argument_checks.h"

#include <algorithm>

#include "cli_error.h"
#include "path_kind.h"

namespace cmskit_cli {

void CheckFileArguments(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs) {
  if (std::count(inputs.begin(), inputs.end(), "-") > 1)
    throw UsageError("standard input (-) can be read only once");
  for (size_t i = 0; i < outputs.size(); ++i) {
    for (size_t j = i + 1; j < outputs.size(); ++j) {
      if (outputs[i].empty() || outputs[j].empty() || !SamePath(outputs[i], outputs[j])) continue;
      if (outputs[i] == "-") throw UsageError("standard output (-) can take only one of the results");
      throw UsageError("two results cannot both replace " + outputs[i]);
    }
  }
}

}  // namespace cmskit_cli
