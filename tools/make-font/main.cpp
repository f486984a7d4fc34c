// Makes the bitmap fonts of the overlays from any font that FreeType reads.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <string>

#include "ombrix/version.h"
#include "tools/common/imageFiles.h"
#include "tools/make-font/glyphSheet.h"

namespace {

int run(int argc, char** argv) {
  tools::SheetPlan plan;
  std::string out;
  CLI::App app("Makes a bitmap font (.bff) from a TrueType or OpenType font.", "ombrix-make-font");
  app.set_version_flag("--version", "ombrix-make-font (ombrix) " OMBRIX_VERSION);
  app.footer("Exit codes: 0 done, 1 a file cannot be read or written, 2 wrong arguments.");
  app.add_option("font", plan.font, "the font's file")->required();
  app.add_option("out", out, "the file to write; the SDK looks for fonts/NAME.bff")->required();
  app.add_option("--size", plan.size, "of the em square, pixels")
      ->check(CLI::Range(4, 128))
      ->capture_default_str();
  app.add_option("--first", plan.first, "first character code (ISO 8859-1)")
      ->check(CLI::Range(0, 255))
      ->capture_default_str();
  app.add_option("--last", plan.last, "last character code")
      ->check(CLI::Range(0, 255))
      ->capture_default_str();
  try {
    app.parse(argc, argv);
    if (plan.last < plan.first) throw CLI::ValidationError("--last: below --first");
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    std::fprintf(stderr, "ombrix-make-font: %s\n", error.what());
    return 2;
  }
  const auto bytes = tools::fontFileBytes(tools::renderSheet(plan));
  const std::string error = tools::writeFile(out, bytes.data(), bytes.size());
  if (!error.empty()) throw std::runtime_error(error);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ombrix-make-font: %s\n", error.what());
    return 1;
  }
}
