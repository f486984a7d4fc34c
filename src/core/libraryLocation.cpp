#include "core/libraryLocation.h"

#if __has_include(<dlfcn.h>)
#include <dlfcn.h>
#endif

#include <exception>
#include <filesystem>

namespace {

namespace files = std::filesystem;

/// The file that holds this function.
files::path ownFile() {
#if __has_include(<dlfcn.h>)
  Dl_info info{};
  // Of a program the loader knows only the word that started it, which need not be a path.
  if (dladdr(reinterpret_cast<const void*>(&libraryDirectory), &info) != 0 && info.dli_fname != nullptr) {
    const files::path name = info.dli_fname;
    if (name.has_parent_path()) return name;
  }
#endif
  return "/proc/self/exe";
}

}  // namespace

std::string libraryDirectory() {
  try {
    std::error_code failure;
    const files::path file = files::canonical(ownFile(), failure);
    return failure ? std::string() : file.parent_path().string();
  } catch (const std::exception&) {  // no memory, or a name that the system cannot express
    return {};
  }
}
