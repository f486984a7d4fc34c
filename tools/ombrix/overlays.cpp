#include "tools/ombrix/overlays.h"

#include <algorithm>

#include "tools/ombrix/commands.h"

namespace tools {
namespace {

constexpr const char* kAll = "all";
constexpr const char* kPositions = "positions";  // printed, not drawn: no part of "all"

struct Overlay {
  const char* word;
  const char* parameter;
};

constexpr Overlay kOverlays[] = {
    {"target", "displayTarget"},  {"histogram", "displayHistogram"},   {"colorbar", "displayColorBar"},
    {"size", "displayImageSize"}, {"fpa", "displaySensorTemperature"}, {"minmax", "displayMinMax"},
    {"rate", "displayFrameRate"}, {"serial", "displaySensorSerial"},
};

bool has(const std::vector<std::string>& words, const char* word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

}  // namespace

CLI::Option* addOverlays(CLI::App& command, std::vector<std::string>& words) {
  std::vector<std::string> known = {kAll, kPositions};
  for (const Overlay& overlay : kOverlays) known.emplace_back(overlay.word);
  CLI::Validator validator = CLI::IsMember(known);
  return command
      .add_option("--overlay", words,
                  "draw on the frames, separated by commas: target, histogram, colorbar, size, fpa, minmax, "
                  "rate, serial, or all; positions prints those of minmax")
      ->delimiter(',')
      ->check(validator.description(""))
      ->type_name("LIST");
}

void requireSilence(const std::vector<std::string>& words) {
  if (!has(words, kPositions)) return;
  throw CommandFailure("--overlay: positions would be printed between the lines of --json", kExitUsage);
}

void applyOverlays(const std::vector<std::string>& words, OmbrixSDK& sdk) {
  for (const Overlay& overlay : kOverlays) {
    if (has(words, kAll) || has(words, overlay.word)) sdk.parseCoreParameter(overlay.parameter);
  }
  if (!has(words, kPositions)) return;
  for (const char* parameter : {"displayMinMax", "printMinMaxPos"}) sdk.parseCoreParameter(parameter);
}

}  // namespace tools
