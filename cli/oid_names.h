#ifndef CMSKIT_CLI_OID_NAMES_H
#define CMSKIT_CLI_OID_NAMES_H

#include <string>

namespace cmskit_cli {
// A readable name for a well-known object identifier, or the dotted text.
std::string OidName(const std::string& dotted);
}  // namespace cmskit_cli

#endif
