// The subcommands of the cmskit tool. Each throws OperationError on failure.
#ifndef CMSKIT_CLI_COMMANDS_H
#define CMSKIT_CLI_COMMANDS_H

#include <string>
#include <vector>

namespace cmskit_cli {

void CommandType(const std::vector<std::string>& files);
void CommandInfo(const std::string& file, bool json);
void CommandDetach(const std::string& input, const std::string& contentOut, const std::string& messageOut);
void CommandAttach(const std::string& detached, const std::string& content, const std::string& output);
void CommandDecrypt(const std::string& input, const std::string& certificate, const std::string& key,
                    const std::string& output);
void CommandBase64(const std::string& direction, const std::string& input, const std::string& output);
void CommandRewrite(const std::string& input, const std::string& output);

}  // namespace cmskit_cli

#endif
