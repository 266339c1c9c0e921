// What a message holds, as JSON; `info` prints it as text or as JSON.
#ifndef CMSKIT_CLI_DESCRIBE_H
#define CMSKIT_CLI_DESCRIBE_H

#include <cmskit/cmskit.h>

#include <nlohmann/json.hpp>
#include <string>

namespace cmskit_cli {

nlohmann::ordered_json DescribeSigned(const cmskit::SignData& message);
nlohmann::ordered_json DescribeEnveloped(const cmskit::EnvelopedData& message);
// The same description laid out for a person.
std::string RenderText(const nlohmann::ordered_json& description);

}  // namespace cmskit_cli

#endif
