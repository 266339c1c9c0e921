// A private folder in the system's temporary folder, made with a name no
// other process holds (creation fails on an existing name, so two tools in
// one pipeline never share one) and removed with its contents when the
// object goes.
#ifndef CMSKIT_CLI_TEMP_FOLDER_H
#define CMSKIT_CLI_TEMP_FOLDER_H

#include <string>

namespace cmskit_cli {

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // `name` inside the folder.
  std::string File(const std::string& name) const;

 private:
  std::string path_;
};

// A name no file in `folder` has, from `stem` and random letters: for a
// temporary file that is renamed or removed afterwards.
std::string UnusedName(const std::string& folder, const std::string& stem);

}  // namespace cmskit_cli

#endif
