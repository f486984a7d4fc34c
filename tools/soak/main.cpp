// Looks for hangs, leaks and races: many short lives of the SDK under faults, or one long one.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "tools/common/arguments.h"
#include "tools/soak/soak.h"
#include "tools/soak/storm.h"

namespace {

int run(int argc, char** argv) {
  soak::StormOptions storm;
  soak::SoakOptions lasting;
  std::uint64_t seed = 1;
  std::string cameras = storm.smallCameras ? "small" : "mixed";
  CLI::App app(
      "Runs simulated cameras under faults and watches for hangs, leaks and cameras that stop for good.",
      "ombrix-soak");
  app.footer("Exit codes: 0 nothing found, 1 something found, 2 wrong arguments; a call that hangs aborts.");
  auto* cycles = app.add_option("--storm", storm.cycles, "random lives of the SDK, so many")
                     ->check(CLI::Range(1, 1000000));
  app.add_option("--minutes", lasting.minutes, "one long run instead")
      ->check(CLI::Range(0.05, 100000.0))
      ->excludes(cycles)
      ->capture_default_str();
  app.add_option("--seed", seed, "of everything chosen at random")->capture_default_str();
  app.add_option("--first", storm.first, "number of the storm's first cycle")
      ->needs(cycles)
      ->capture_default_str();
  app.add_option("--cameras", cameras, "of the storm: small (320 x 240 only) or mixed")
      ->check(CLI::IsMember({"small", "mixed"}))
      ->needs(cycles)
      ->capture_default_str();
  try {
    app.parse(tools::reversedArguments(argc, argv));
  } catch (const CLI::ParseError& failure) {
    if (failure.get_exit_code() == 0) return app.exit(failure);
    std::fprintf(stderr, "ombrix-soak: %s\n", failure.what());
    return 2;
  }
  storm.seed = lasting.seed = seed;
  storm.smallCameras = cameras == "small";
  return (cycles->count() > 0 ? soak::runStorm(storm) : soak::runSoak(lasting)) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // each line at once, into a file as well
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ombrix-soak: %s\n", error.what());
    return 1;
  }
}
