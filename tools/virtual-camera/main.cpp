// Plugs simulated cameras into this machine's kernel, where any program finds them as USB cameras.

#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/backends/simulated/scenario.h"
#include "common/format.h"
#include "tools/virtual-camera/PluggedCamera.h"
#include "tools/virtual-camera/hostPort.h"

namespace {

using virtualcamera::PluggedCamera;

enum : int { kExitDone = 0, kExitFailure = 1, kExitUsage = 2 };

constexpr unsigned kLastPort = 7;

struct Options {
  std::string scenario = "bramble6";
  std::string attachRoot = virtualcamera::kDefaultAttachRoot;
  std::string transfers;
  std::optional<unsigned> port;
};

void complain(const std::string& text) { std::fprintf(stderr, "ombrix-virtual-camera: %s\n", text.c_str()); }

bool readCameras(const Options& options, simulation::Scenario& scenario) {
  simulation::ScenarioError error;
  if (!simulation::readScenario(options.scenario, scenario, error)) {
    const std::string place = error.line == 0 ? "" : format(", line {:d}", error.line);
    complain(format("{:s}{:s}: {:s}", error.file, place, error.reason));
    return false;
  }
  if (options.port && *options.port + scenario.cameras.size() > kLastPort + 1) {
    complain(format("{:d} cameras do not fit from port {:d} on", scenario.cameras.size(), *options.port));
    return false;
  }
  return true;
}

/// Writes what passed the cameras' extension units, camera by camera.
bool writeTransfers(const std::vector<std::unique_ptr<PluggedCamera>>& cameras, const std::string& path) {
  std::ofstream file(path);
  for (const auto& camera : cameras) {
    for (const auto& line : camera->transferLines()) file << line << '\n';
  }
  file.close();
  if (!file) complain(path + ": cannot be written");
  return !file.fail();
}

/// Returns at a signal. Until then every line on standard input is a frame period for stepped cameras.
void waitForEnd(const std::vector<std::unique_ptr<PluggedCamera>>& cameras, const sigset_t& signals) {
  const int arrived = signalfd(-1, &signals, SFD_CLOEXEC);
  pollfd sources[] = {{arrived, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
  while (poll(sources, 2, -1) >= 0 || errno == EINTR) {
    if (sources[0].revents != 0) break;
    if (sources[1].revents == 0) continue;
    char characters[64];
    const auto count = read(STDIN_FILENO, characters, sizeof characters);
    if (count <= 0) sources[1].fd = -1;  // nobody steps any more
    for (ssize_t i = 0; i < count; ++i) {
      if (characters[i] != '\n') continue;
      for (const auto& camera : cameras) camera->step();
    }
  }
  close(arrived);
}

/// Serves every camera on a thread of its own until a signal comes or none of them is left.
int serve(const std::vector<std::unique_ptr<PluggedCamera>>& cameras, const sigset_t& signals) {
  std::atomic<std::size_t> left = cameras.size();
  std::atomic<bool> failed = false;
  std::vector<std::thread> threads;
  for (const auto& camera : cameras) {
    threads.emplace_back([&] {
      if (!camera->run()) failed = true;
      if (--left == 0) kill(getpid(), SIGTERM);  // wakes the wait below
    });
  }
  waitForEnd(cameras, signals);
  for (const auto& camera : cameras) camera->stop();
  for (auto& thread : threads) thread.join();
  return failed ? kExitFailure : kExitDone;
}

int run(const Options& options) {
  simulation::Scenario scenario;
  if (!readCameras(options, scenario)) return kExitUsage;
  // Blocked before any thread is made, so that only the waiting one takes them.
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  const auto report = [](const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
  };
  std::vector<std::unique_ptr<PluggedCamera>> cameras;
  for (const auto& spec : scenario.cameras) {
    auto port = options.port;
    if (port) *port += static_cast<unsigned>(cameras.size());
    cameras.push_back(std::make_unique<PluggedCamera>(spec, options.attachRoot, port, report));
    const auto reason = cameras.back()->plugIn();
    if (reason.empty()) continue;
    complain(reason);
    return kExitFailure;
  }
  const int code = serve(cameras, signals);
  const bool written = options.transfers.empty() || writeTransfers(cameras, options.transfers);
  return written ? code : kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Plugs simulated cameras into this machine's kernel as USB cameras.", "ombrix-virtual-camera");
  app.set_version_flag("--version", "ombrix " OMBRIX_VERSION);
  app.footer(
      "Needs root and the kernel module vhci-hcd. The cameras stay plugged in until Ctrl-C.\n"
      "With step=on in the scenario, each line on standard input lets a frame period pass.\n"
      "Exit codes: 0 done, 1 a camera cannot be plugged in, 2 wrong arguments.");
  app.add_option("SCENARIO", options.scenario,
                 "the cameras: a scenario's text or file, such as bramble6,marlow3;scene=room")
      ->capture_default_str();
  app.add_option("--port", options.port,
                 "port of the first camera, the others follow (without it: the first free ones)")
      ->check(CLI::Range(0U, kLastPort));
  app.add_option("--transfers", options.transfers,
                 "file for what passed the extension units, written at the end");
  app.add_option("--attach-root", options.attachRoot, "the virtual host controller's directory")
      ->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& failure) {
    const bool usage = failure.get_exit_code() != 0;
    if (usage) complain(failure.what());
    return usage ? kExitUsage : app.exit(failure);
  }
  return run(options);
}
