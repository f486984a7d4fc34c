// Plugs simulated cameras into this machine's kernel, where any program finds them as USB cameras.

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
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
#include "ombrix/version.h"
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
    complain(
        format("{:s}{:s}: {:s}", error.file.empty() ? options.scenario : error.file, place, error.reason));
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

/// What ends the program.
struct Endings {
  const sigset_t& signals;
  const int signal;    ///< descriptor that becomes readable at a signal
  const int deserted;  ///< the same once no camera is left
};

/// Returns at an ending. Until then every line on standard input is a frame period for stepped cameras; for
/// others it is left alone, since a program in the background is stopped for reading the terminal.
void waitForEnd(const std::vector<std::unique_ptr<PluggedCamera>>& cameras, const Endings& endings) {
  const bool stepped =
      std::any_of(cameras.begin(), cameras.end(), [](const auto& camera) { return camera->stepped(); });
  pollfd sources[] = {
      {endings.signal, POLLIN, 0}, {endings.deserted, POLLIN, 0}, {stepped ? STDIN_FILENO : -1, POLLIN, 0}};
  for (;;) {
    if (poll(sources, 3, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (sources[0].revents != 0) {
      signalfd_siginfo taken;  // or it would end the program where signals are let through again
      static_cast<void>(!read(endings.signal, &taken, sizeof taken));
      return;
    }
    if (sources[1].revents != 0) return;
    if (sources[2].revents == 0) continue;
    char characters[64];
    const auto count = read(STDIN_FILENO, characters, sizeof characters);
    if (count <= 0) sources[2].fd = -1;  // nobody steps any more
    for (ssize_t i = 0; i < count; ++i) {
      if (characters[i] != '\n') continue;
      for (const auto& camera : cameras) camera->step();
    }
  }
}

/// Serves every camera on a thread of its own until a signal comes or none of them is left.
int serve(const std::vector<std::unique_ptr<PluggedCamera>>& cameras, const Endings& endings) {
  std::atomic<std::size_t> left = cameras.size();
  std::atomic<bool> failed = false;
  std::vector<std::thread> threads;
  for (const auto& camera : cameras) {
    threads.emplace_back([&] {
      if (!camera->run()) failed = true;
      if (--left == 0) eventfd_write(endings.deserted, 1);
    });
  }
  waitForEnd(cameras, endings);
  // A camera may be in the middle of a slow answer; whoever cannot wait for that presses Ctrl-C again.
  pthread_sigmask(SIG_UNBLOCK, &endings.signals, nullptr);
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
  std::signal(SIGPIPE, SIG_IGN);  // cameras outlive the reader of what is printed
  const Endings endings{signals, signalfd(-1, &signals, SFD_CLOEXEC), eventfd(0, EFD_CLOEXEC)};
  if (endings.signal < 0 || endings.deserted < 0) {
    complain("no descriptors left to wait for signals with");
    return kExitFailure;
  }

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
  const int code = serve(cameras, endings);
  const bool written = options.transfers.empty() || writeTransfers(cameras, options.transfers);
  return written ? code : kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Plugs simulated cameras into this machine's kernel as USB cameras.", "ombrix-virtual-camera");
  app.set_version_flag("--version", "ombrix-virtual-camera (ombrix) " OMBRIX_VERSION);
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
