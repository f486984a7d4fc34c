// Writes the calibration files of simulated cameras, as a calibration bench would for real ones.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "acquisition/backends/simulated/calibrationSet.h"
#include "acquisition/backends/simulated/scenario.h"
#include "common/format.h"
#include "core/logger.h"
#include "ombrix/version.h"
#include "tools/common/arguments.h"
#include "tools/common/session.h"

namespace {

struct Options {
  std::string scenario, directory;
  bool polynomial = false, polynomialText = false, noTables = false, verbose = false;
};

int writeSets(const Options& options) {
  simulation::Scenario scenario;
  simulation::ScenarioError error;
  if (!simulation::readScenario(options.scenario, scenario, error)) {
    const std::string place = error.line == 0 ? "" : format(", line {:d}", error.line);
    std::fprintf(stderr, "ombrix-calibration-set: %s%s: %s\n", error.file.c_str(), place.c_str(),
                 error.reason.c_str());
    return 2;
  }
  simulation::CalibrationSetOptions set;
  set.tables = !options.noTables;
  if (options.polynomial) set.polynomial = simulation::PolynomialFiles::CubicBinary;
  if (options.polynomialText) set.polynomial = simulation::PolynomialFiles::QuadraticText;
  for (const auto& camera : scenario.cameras) {
    if (!simulation::writeCalibrationSet(camera, options.directory, set)) return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Writes the calibration files of simulated cameras into a data directory.",
               "ombrix-calibration-set");
  app.set_version_flag("--version", "ombrix-calibration-set (ombrix) " OMBRIX_VERSION);
  app.footer("Exit codes: 0 done, 1 a file cannot be written, 2 wrong arguments.");
  app.add_option("SCENARIO", options.scenario, "the cameras: a scenario's text or file, such as bramble6")
      ->required();
  app.add_option("DIR", options.directory, "data directory for the files; made when missing")->required();
  auto* polynomial =
      app.add_flag("--polynomial", options.polynomial, "polynomials as well: cubic model, binary files");
  app.add_flag("--polynomial-text", options.polynomialText,
               "polynomials as well: quadratic-offset model, text files (large)")
      ->excludes(polynomial);
  app.add_flag("--no-tables", options.noTables, "leave out the flat-field tables");
  app.add_flag("--verbose", options.verbose, "a line per file");
  try {
    app.parse(tools::reversedArguments(argc, argv));
  } catch (const CLI::ParseError& failure) {
    const bool usage = failure.get_exit_code() != 0;
    if (usage) std::fprintf(stderr, "ombrix-calibration-set: %s\n", failure.what());
    return usage ? 2 : app.exit(failure);
  }
  tools::logToStandardError();
  logger::init(options.verbose ? logger::verbosityInfo : logger::verbosityErrors, "", true, true);
  return writeSets(options);
}
