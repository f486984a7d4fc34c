#include "tools/common/privateData.h"

#include "common/filePath.h"
#include "tools/common/session.h"

namespace tools {

namespace fs = std::filesystem;

PrivateData::PrivateData(const std::string& original) : directory(fs::temp_directory_path(), "ombrix-") {
  fs::create_directory(directory.path());
  expectNoShutterTable(path());
  if (original.empty()) return;
  for (const auto& entry : fs::directory_iterator(filePath(original))) {
    if (entry.path().filename() == "ffc") continue;
    const fs::path place = directory.path() / entry.path().filename();
    std::error_code refused;  // on systems where links are a privilege
    fs::create_symlink(fs::absolute(entry.path()), place, refused);
    if (refused) fs::copy(entry.path(), place, fs::copy_options::recursive);
  }
}

}  // namespace tools
