// Scenarios of the simulator, as a file's text and as a short one. Those that name a file are left out: what
// they do depends on the machine. Pictures have their own target.
#include "acquisition/backends/simulated/scenario.h"
#include "fuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const bool asFile = provider.ConsumeBool();
  const auto bytes = fuzzing::rest(provider);
  const std::string text(fuzzing::textOf(bytes));
  if (text.find("file:") != std::string::npos || text.find("shutter") != std::string::npos ||
      text.find_first_of("/.=;,") == std::string::npos) {
    return -1;
  }
  simulation::Scenario scenario;
  simulation::ScenarioError error;
  const bool read = asFile ? simulation::parseScenarioFile(text, "", scenario, error)
                           : simulation::readScenario(text, scenario, error);
  fuzzing::require(read ? !scenario.cameras.empty() && scenario.cameras.size() <= 16
                        : scenario.cameras.empty() && !error.reason.empty());
  for (const auto& camera : scenario.cameras) {
    fuzzing::require(camera.model != nullptr && camera.buffers >= 1 && camera.buffers <= 64);
    simulation::FaultState faults;
    for (const auto& fault : camera.faults) faults.apply(fault);
  }
  return 0;
}
