#include "tools/common/privateData.h"

#include <cstdint>
#include <random>

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
    for (const auto& entry : fs::directory_iterator(original)) {
      if (entry.path().filename() == "ffc") continue;
      fs::create_symlink(fs::absolute(entry.path()), directory / entry.path().filename());
    }
  } catch (...) {
    std::error_code ignored;
    fs::remove_all(directory, ignored);
    throw;
  }
}

PrivateData::~PrivateData() {
  std::error_code ignored;
  fs::remove_all(directory, ignored);  // the links, not what they lead to
}

}  // namespace tools
