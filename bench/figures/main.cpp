// What running cameras cost: processor time, hand-over times, cameras per core, memory, start. The cameras'
// pictures are stored beforehand, so that nothing but the SDK's own work counts. Prints one JSON object.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "bench/figures/measurements.h"
#include "tools/common/session.h"

namespace {

void measure(const std::string& name, double seconds, nlohmann::json& figures) {
  using bench::Setup;
  if (name == "live") bench::measureLive(figures, seconds, Setup::Linear);
  if (name == "live-default") bench::measureLive(figures, seconds, Setup::Default);
  if (name == "cameras") bench::measureCameras(figures, seconds, Setup::Linear);
  if (name == "cameras-default") bench::measureCameras(figures, seconds, Setup::Default);
  if (name == "pool") bench::measurePool(figures, seconds);
  if (name == "memory") bench::measureMemory(figures, seconds);
  if (name == "start") bench::measureStart(figures);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Measures what running cameras cost.", "ombrix-figures");
  std::vector<std::string> names;
  double seconds = 4.0;
  app.add_option("what", names, "what to measure")
      ->required()
      ->check(
          CLI::IsMember({"live", "live-default", "cameras", "cameras-default", "pool", "memory", "start"}));
  app.add_option("--seconds", seconds, "how long each stream is watched")->check(CLI::Range(0.05, 600.0));
  CLI11_PARSE(app, argc, argv);
  // Standard output is the report's. The SDK starts once per measurement; that the logger is there is no
  // news.
  tools::logToStandardError();
  tools::leaveOutOfLog("already been initialized");
  try {
    nlohmann::json report;
    for (const std::string& name : names) measure(name, seconds, report["figures"]);
    std::printf("%s\n", report.dump(1).c_str());
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "ombrix-figures: %s\n", failure.what());
    return 1;
  }
}
