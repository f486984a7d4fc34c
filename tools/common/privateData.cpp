#include "tools/common/privateData.h"

#include <cstdint>
#include <random>

#include "common/filePath.h"
#include "common/format.h"
#include "tools/common/session.h"

namespace tools {

namespace fs = std::filesystem;

PrivateData::PrivateData(const std::string& original) {
  std::random_device random;
  const auto number = std::uint64_t{random()} << 32 | random();
  directory = fs::temp_directory_path() / format("ombrix-{:016x}", number);
  fs::create_directory(directory);
  expectNoShutterTable(path());
  if (original.empty()) return;
  try {
    for (const auto& entry : fs::directory_iterator(filePath(original))) {
      if (entry.path().filename() == "ffc") continue;
      const fs::path place = directory / entry.path().filename();
      std::error_code refused;  // on systems where links are a privilege
      fs::create_symlink(fs::absolute(entry.path()), place, refused);
      if (refused) fs::copy(entry.path(), place, fs::copy_options::recursive);
    }
  } catch (...) {
    std::error_code ignored;
    fs::remove_all(directory, ignored);
    throw;
  }
}

PrivateData::~PrivateData() {
  std::error_code ignored;
  fs::remove_all(directory, ignored);  // links, not what they lead to
}

}  // namespace tools
