#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <nlohmann/json.hpp>
#include <thread>

#include "acquisition/transport/UVCConnection.h"
#include "common/format.h"
#include "common/mutex.h"
#include "core/logger.h"
#include "tools/common/progressLine.h"
#include "tools/common/selftestChecks.h"
#include "tools/common/session.h"
#include "tools/ombrix/SelftestRun.h"
#include "tools/ombrix/commands.h"

namespace tools {
namespace {

using nlohmann::ordered_json;
using selftest::Check;
using selftest::Result;

constexpr auto kSlice = std::chrono::milliseconds(50);
/// For all but watching frames. A camera that answers takes a tenth of it, but on a machine that is far too
/// busy.
constexpr auto kPatience = std::chrono::seconds(120);
/// After which a run that is to end is no longer allowed to exchange anything with the camera. Until then it
/// opens the shutter again.
constexpr auto kGrace = std::chrono::seconds(3);

/// The library's errors, kept instead of shown: the checks tell it better, and time-outs are part of them.
class KeptErrors {
 public:
  explicit KeptErrors(bool keep) : keeping(keep) {
    if (!keeping) return;
    logger::setConsoleSink([this](std::string_view line) {
      MutexLock lock(mutex);
      if (lines.size() < kMost) lines.push_back(textOf(line));
    });
  }
  ~KeptErrors() {
    if (keeping) logToStandardError();
  }
  KeptErrors(const KeptErrors&) = delete;
  KeptErrors& operator=(const KeptErrors&) = delete;

  /// What was logged before the error of that text, as one line.
  std::string before(const std::string& last) {
    MutexLock lock(mutex);
    const auto end = std::find(lines.begin(), lines.end(), last);
    if (end == lines.end()) return {};
    std::string text;
    for (auto at = lines.begin(); at != end; ++at) {
      if (at->rfind("Error while", 0) == 0) continue;  // files; no camera fails for want of one
      text += (text.empty() ? "" : "; ") + *at;
    }
    return text;
  }

 private:
  static constexpr std::size_t kMost = 64;

  static std::string textOf(std::string_view line) {
    std::string text = withoutColours(std::string(line));
    const std::string bullet = " ● ";
    if (text.rfind(bullet, 0) == 0) text.erase(0, bullet.size());
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
  }

  const bool keeping;
  Mutex mutex{LockRank::logSink};
  std::vector<std::string> lines GUARDED_BY(mutex);
};

/// Runs it on a thread of its own, so that it ends in time whatever the camera does. False when time was up.
bool collect(SelftestRun& run, int seconds) {
  Mutex mutex;
  std::condition_variable condition;
  bool done = false;
  bool inTime = true;
  std::thread worker([&] {
    run.run();
    MutexLock lock(mutex);
    done = true;
    condition.notify_all();
  });
  {
    const ProgressLine progress([&] { return run.step(); });
    const auto now = [] { return std::chrono::steady_clock::now(); };
    const auto deadline = now() + kPatience + std::chrono::seconds(seconds);
    auto end = std::chrono::steady_clock::time_point::max();  // of the grace
    // Without the lock but for the wait: locks of this rank do not nest.
    const auto finished = [&] {
      MutexLock lock(mutex);
      if (!done) condition.wait_for(lock.native(), kSlice);
      return done;
    };
    while (!finished()) {
      if (end == std::chrono::steady_clock::time_point::max() && (interrupted() || now() > deadline)) {
        inTime = interrupted();
        run.cancel(inTime ? std::string("interrupted")
                          : format("not done within {:d} s", kPatience.count() + seconds));
        end = now() + kGrace;
      }
      if (now() > end) UVCConnection::refuseTransfers(true);
    }
  }
  worker.join();
  UVCConnection::refuseTransfers(false);
  return inTime;
}

struct Totals {
  int ok = 0, warn = 0, fail = 0, skipped = 0;
  std::string failed;  ///< names
};

Totals totalsOf(const std::vector<Check>& checks) {
  Totals totals;
  for (const Check& check : checks) {
    int& count = check.result == Result::Ok     ? totals.ok
                 : check.result == Result::Warn ? totals.warn
                 : check.result == Result::Fail ? totals.fail
                                                : totals.skipped;
    ++count;
    if (check.result == Result::Fail) totals.failed += (totals.failed.empty() ? "" : ", ") + check.name;
  }
  return totals;
}

double rounded(double value) { return std::round(value * 1000.0) / 1000.0 + 0.0; }

ordered_json toJson(const std::vector<Check>& checks, const Totals& totals,
                    const selftest::Evidence& evidence) {
  ordered_json list = ordered_json::array();
  for (const Check& check : checks) {
    ordered_json figures = ordered_json::object();
    for (const auto& [name, value] : check.figures) figures[name] = rounded(value);
    list.push_back({{"name", check.name},
                    {"result", selftest::word(check.result)},
                    {"text", check.text},
                    {"remedy", check.remedy},
                    {"figures", figures}});
  }
  return {{"model", evidence.name},
          {"serialNumber", evidence.serialNumber},
          {"passed", totals.fail == 0},
          {"checks", list},
          {"ok", totals.ok},
          {"warn", totals.warn},
          {"fail", totals.fail},
          {"skipped", totals.skipped}};
}

}  // namespace

void selftestCamera(const Options& options, OmbrixSDK& sdk) {
  requireCamera(sdk, options.camera);
  if (!options.json)
    printLine(format("camera {:d}: {:s}", options.camera, sdk.getDeviceName(options.camera)));
  KeptErrors errors(options.verbosity == 0);
  SelftestRun run(options);
  const bool inTime = collect(run, options.seconds);
  selftest::Evidence& evidence = run.evidence();
  evidence.timeUp = !inTime;
  if (!evidence.openError.empty()) {
    if (const auto cause = errors.before(evidence.openError); !cause.empty())
      evidence.openError += " (" + cause + ")";
  }

  const auto checks = selftest::judge(evidence);
  const Totals totals = totalsOf(checks);
  if (options.json) {
    printLine(toJson(checks, totals, evidence).dump(-1, ' ', false, ordered_json::error_handler_t::replace));
  } else {
    for (const Check& check : checks) printLine(selftest::line(check));
    printLine(format("{:d} checks: {:d} ok, {:d} warn, {:d} FAIL, {:d} skipped", checks.size(), totals.ok,
                     totals.warn, totals.fail, totals.skipped));
  }
  if (totals.fail > 0) throw CommandFailure(format("selftest failed: {:s}", totals.failed));
  if (interrupted()) throw CommandFailure("interrupted");
}

}  // namespace tools
