// Scenarios of the simulator, as a file, a file's text and a short one. The one file that they may name is
// ours: what others do depends on the machine.
#include "acquisition/backends/simulated/scenario.h"
#include "memoryFile.h"

namespace {

/// Whether a name of another file than ours follows `word` anywhere, or a folder.
bool namesOthers(std::string_view text, std::string_view word) {
  for (std::size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at)) {
    at += word.size();
    const std::string_view name = text.substr(at, text.find_first_of(";\n", at) - at);
    if (name != "99" && name != "/proc/self/fd/99") return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const bool asFile = provider.ConsumeBool();
  const auto bytes = fuzzing::rest(provider);
  const std::string text(fuzzing::textOf(bytes));
  if (namesOthers(text, "file:") || namesOthers(text, "shutter=") ||
      text.find_first_of("/.=;,") == std::string::npos) {
    return -1;
  }
  // Of 2 x 2 pixels, or no picture at all but the scenario itself.
  static constexpr std::uint8_t kPicture[] = "P5 2 2 256\n\0\1\0\2\0\3\0\4";
  const bool ownFile = asFile && fuzzing::isOneIn(16, bytes);
  const std::string& path = fuzzing::MemoryFile::of(
      ownFile ? std::span<const std::uint8_t>(bytes) : std::span(kPicture).first(std::size(kPicture) - 1));
  simulation::Scenario scenario;
  simulation::ScenarioError error;
  const bool read = asFile && !ownFile
                        ? simulation::parseScenarioFile(text, fuzzing::MemoryFile::folder, scenario, error)
                        : simulation::readScenario(ownFile ? path : text, scenario, error);
  fuzzing::require(read ? !scenario.cameras.empty() && scenario.cameras.size() <= 16
                        : scenario.cameras.empty() && !error.reason.empty());
  for (const auto& camera : scenario.cameras) {
    fuzzing::require(camera.model != nullptr && camera.buffers >= 1 && camera.buffers <= 64);
    simulation::FaultState faults;
    for (const auto& fault : camera.faults) faults.apply(fault);
    simulation::FaultState::take(faults.shortSamples);
  }
  simulation::makeCameraSpec(std::string_view(text).substr(0, text.find(';')));
  return 0;
}
