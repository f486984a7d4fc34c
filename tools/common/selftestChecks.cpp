#include "tools/common/selftestChecks.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "common/format.h"

namespace tools::selftest {
namespace {

using Figures = std::vector<std::pair<std::string, double>>;

// How far a rate may be from the model's: what timers and a few late frames explain, and what a user sees.
constexpr double kGoodRate = 0.03, kUsableRate = 0.15;
constexpr double kFewMissed = 0.01;
// Detectors of this kind work between these temperatures, with some room on either side.
constexpr double kColdestC = -45.0, kWarmestC = 90.0;
constexpr double kCalmKPerS = 0.5;       // an enclosed detector warms by some kelvin in ten minutes
constexpr double kSlackMs = 100.0;       // by which a blocking call may be late
constexpr double kBusySlackMs = 1000.0;  // the same on a machine that is far too busy
constexpr double kSlowTransferMs = 100;  // registers answer in one or two milliseconds
constexpr double kSeenChange = 3.0;      // times what changes by itself: a shutter that moved
constexpr double kGone = 0.5;            // of structure or motion may be left behind a closed shutter
constexpr double kFeaturelessMk = 300;   // spread of a picture that may look like a shutter
constexpr double kFlattened = 0.7;       // of the spread may be left by a shutter run

const char* const kDoctor = "run 'ombrix doctor'";
const char* const kReplug = "unplug the camera, wait 5 s and plug it in again; try another cable or port";

Check ok(std::string name, std::string text, Figures figures = {}) {
  return {std::move(name), Result::Ok, std::move(text), "", std::move(figures)};
}
Check warn(std::string name, std::string text, std::string remedy, Figures figures = {}) {
  return {std::move(name), Result::Warn, std::move(text), std::move(remedy), std::move(figures)};
}
Check fail(std::string name, std::string text, std::string remedy, Figures figures = {}) {
  return {std::move(name), Result::Fail, std::move(text), std::move(remedy), std::move(figures)};
}
Check skip(std::string name, std::string why) {
  return {std::move(name), Result::Skipped, std::move(why), "", {}};
}

/// Why a check was not reached.
std::string whyNot(const Evidence& e) {
  if (!e.openError.empty()) return "the camera was not opened";
  return e.ended.empty() ? "not reached" : e.ended;
}

Check checkOpen(const Evidence& e) {
  if (!e.openError.empty() && e.openError == e.ended && !e.timeUp) return skip("open", e.ended);
  if (!e.openError.empty()) return fail("open", e.openError, kDoctor);
  return ok("open", format("{:s}, {:d} x {:d}, in {:.2f} s", e.name, e.width, e.height, e.openSeconds),
            {{"seconds", e.openSeconds}});
}

Check checkConnection(const Evidence& e) {
  if (!e.openError.empty()) return skip("connection", whyNot(e));
  if (e.lost) {
    return fail("connection", format("lost {:.1f} s after the start", e.lostAfterSeconds), kReplug,
                {{"lostAfterSeconds", e.lostAfterSeconds}});
  }
  if (e.timeUp) return fail("connection", "too slow: " + e.ended, kReplug);
  return ok("connection", "held to the end");
}

Check checkRegisters(const Evidence& e) {
  if (!e.registers) return skip("registers", whyNot(e));
  const RegisterRecord& r = *e.registers;
  const Figures figures = {{"asked", r.asked},
                           {"same", r.same},
                           {"silent", r.silent},
                           {"medianMs", r.medianMs},
                           {"longestMs", r.longestMs}};
  if (e.serialNumber == 0)
    return fail("registers", "no serial number could be read", std::string(kReplug) + "; " + kDoctor,
                figures);
  if (r.silent > 0)
    return fail("registers", format("{:d} of {:d} read-outs without an answer", r.silent, r.asked), kReplug,
                figures);
  if (r.same < r.asked) {
    return fail("registers",
                format("{:d} of {:d} read-outs differ from those at opening", r.asked - r.same, r.asked),
                kReplug, figures);
  }
  const std::string text = format("{:d} read-outs answered, {:.2f} ms a register, serial number {:d}",
                                  r.asked, r.medianMs, e.serialNumber);
  if (r.longestMs > kSlowTransferMs) {
    return warn("registers", format("{:s}, but one took {:.0f} ms", text, r.longestMs),
                "close other programs that use the camera", figures);
  }
  return ok("registers", text, figures);
}

Check checkFrames(const Evidence& e) {
  if (!e.openError.empty()) return skip("frames", whyNot(e));
  std::uint64_t outOfOrder = 0, missed = 0;
  for (std::size_t i = 1; i < e.frames.size(); ++i) {
    const FrameRecord& before = e.frames[i - 1];
    const FrameRecord& now = e.frames[i];
    if (now.number <= before.number || now.sinceLast != now.number - before.number) {
      ++outOfOrder;
    } else {
      missed += now.sinceLast - 1;
    }
  }
  const auto got = static_cast<double>(e.frames.size());
  const Figures figures = {{"frames", got},
                           {"outOfOrder", static_cast<double>(outOfOrder)},
                           {"missed", static_cast<double>(missed)}};
  if (e.silent) {
    return fail("frames", format("{:s}, {:d} before", e.ended, e.frames.size()),
                std::string(kReplug) + "; " + kDoctor, figures);
  }
  if (!e.framesComplete) return skip("frames", whyNot(e));
  if (outOfOrder > 0) {
    return fail("frames", format("{:d} of {:d} out of order", outOfOrder, e.frames.size()),
                "report this with the output of --json", figures);
  }
  const std::string text = format("{:d} in order, {:d} missed", e.frames.size(), missed);
  if (static_cast<double>(missed) > kFewMissed * (got + static_cast<double>(missed)))
    return warn("frames", text, "the machine does not keep up: close other programs", figures);
  return ok("frames", text, figures);
}

Check checkSamples(const Evidence& e) {
  if (e.frames.empty()) return skip("samples", whyNot(e));
  const double damaged = static_cast<double>(e.damagedSamples);
  const double total = damaged + static_cast<double>(e.frames.back().number);
  const std::string text = format("{:d} of {:.0f} damaged", e.damagedSamples, total);
  const Figures figures = {{"damaged", damaged}, {"total", total}};
  if (e.damagedSamples == 0) return ok("samples", text, figures);
  const char* const remedy = "use a shorter cable, and a port of the computer's own instead of a hub";
  return damaged > kFewMissed * total ? fail("samples", text, remedy, figures)
                                      : warn("samples", text, remedy, figures);
}

Check checkRate(const Evidence& e) {
  if (!e.framesComplete || e.frames.size() < 2) return skip("rate", whyNot(e));
  const FrameRecord &first = e.frames.front(), &last = e.frames.back();
  const double seconds = last.seconds - first.seconds;
  const double hz =
      seconds > 0.0 ? (static_cast<double>(last.number) - static_cast<double>(first.number)) / seconds : 0.0;
  const double off = e.nominalHz > 0.0 ? std::fabs(hz / e.nominalHz - 1.0) : 1.0;
  const std::string text = format("{:.2f} Hz, nominally {:.0f}", hz, e.nominalHz);
  const Figures figures = {{"hz", hz}, {"nominalHz", e.nominalHz}};
  const char* const remedy =
      "close programs that keep the machine busy, and give the camera a USB port of its own";
  if (off <= kGoodRate) return ok("rate", text, figures);
  return off <= kUsableRate ? warn("rate", text, remedy, figures) : fail("rate", text, remedy, figures);
}

Check checkPicture(const Evidence& e) {
  if (!e.framesComplete || e.frames.empty()) return skip("picture", whyNot(e));
  unsigned low = ~0U, high = 0;
  std::set<std::uint32_t> different;
  for (const FrameRecord& frame : e.frames) {
    low = std::min(low, frame.min);
    high = std::max(high, frame.max);
    different.insert(frame.digest);
  }
  const Figures figures = {
      {"lowest", low}, {"highest", high}, {"different", static_cast<double>(different.size())}};
  const bool even =
      std::all_of(e.frames.begin(), e.frames.end(), [](const FrameRecord& f) { return f.min == f.max; });
  if (even) return fail("picture", format("nothing in it: every level is {:d}", high), kReplug, figures);
  const std::string text =
      format("levels {:d} to {:d}, {:d} different pictures", low, high, different.size());
  // Every fourth delivery repeats a picture; of the others each has its own noise.
  if (2 * different.size() < e.frames.size())
    return warn("picture", text, "unless the scene is a recording, the camera stands still: plug it in again",
                figures);
  return ok("picture", text, figures);
}

Check checkColour(const Evidence& e) {
  if (e.colourFramesAsked == 0) return skip("colour", whyNot(e));
  const Figures figures = {{"frames", e.colourFrames}};
  const std::string text = format("{:d} of {:d} colour frames", e.colourFrames, e.colourFramesAsked);
  if (e.colourFrames == e.colourFramesAsked) return ok("colour", text, figures);
  if (!e.ended.empty()) return skip("colour", whyNot(e));
  return fail("colour", text, "end frame dumps: none are coloured meanwhile", figures);
}

Check checkMetadata(const Evidence& e) {
  if (!e.framesComplete || e.frames.empty()) return skip("metadata", whyNot(e));
  std::size_t serials = 0, histograms = 0;
  for (const FrameRecord& frame : e.frames) {
    serials += frame.serialNumber != e.serialNumber ? 1 : 0;
    histograms += frame.histogramMatches ? 0 : 1;
  }
  const Figures figures = {{"wrongSerials", static_cast<double>(serials)},
                           {"wrongHistograms", static_cast<double>(histograms)}};
  const char* const remedy = "report this with the output of --json";
  if (serials > 0)
    return fail("metadata", format("{:d} frames of another serial number", serials), remedy, figures);
  if (histograms > 0)
    return fail("metadata", format("{:d} histograms that do not count their frame", histograms), remedy,
                figures);
  return ok("metadata", format("serial number and histogram right in {:d} frames", e.frames.size()), figures);
}

Check checkTemperature(const Evidence& e) {
  if (!e.framesComplete || e.frames.size() < 2) return skip("temperature", whyNot(e));
  const FrameRecord &first = e.frames.front(), &last = e.frames.back();
  double low = 1e9, high = -1e9;
  bool finite = true;
  for (const FrameRecord& frame : e.frames) {
    const double celsius = static_cast<double>(frame.sensorK) - 273.15;
    finite = finite && std::isfinite(celsius);
    low = std::min(low, celsius);
    high = std::max(high, celsius);
  }
  if (!finite) return fail("temperature", "no finite number", kReplug);
  const double slope = (high - low) / std::max(last.seconds - first.seconds, 1.0);
  const Figures figures = {{"lowestC", low}, {"highestC", high}, {"kelvinPerSecond", slope}};
  const std::string text = format("detector {:.2f} to {:.2f} C", low, high);
  if (low < kColdestC || high > kWarmestC)
    return fail("temperature", text + ", which is none", kReplug, figures);
  if (slope > kCalmKPerS)
    return warn("temperature", format("{:s}, {:.1f} K in a second", text, slope),
                "let the camera warm up for 10 minutes", figures);
  return ok("temperature", text, figures);
}

Check checkFile(const std::string& name, const FileFinding& finding, const std::string& absent, bool needed,
                const char* remedy) {
  switch (finding.state) {
    case FileFinding::State::Good:
      return ok(name, finding.text);
    case FileFinding::State::Odd:
      return warn(name, format("{:s}: {:s}", finding.path, finding.text), remedy);
    case FileFinding::State::Bad:
      return fail(name, format("{:s}: {:s}", finding.path, finding.text), remedy);
    case FileFinding::State::Absent:
      break;
  }
  const std::string text = format("{:s}; there is no {:s}", absent, finding.path);
  return needed ? warn(name, text, remedy) : skip(name, text);
}

void checkCalibration(const Evidence& e, std::vector<Check>& checks) {
  const char* const names[] = {"file-defects", "file-shutter", "file-tables", "file-polynomials",
                               "file-levels"};
  if (!e.calibration) {
    for (const char* name : names) checks.push_back(skip(name, whyNot(e)));
    return;
  }
  using State = FileFinding::State;
  const char* const replace =
      "put the file that came with this camera there, or name its directory with --data";
  const CalibrationAudit& c = *e.calibration;
  const bool flat = c.tables.state != State::Absent || c.polynomials.state != State::Absent;
  checks.push_back(checkFile(names[0], c.defects, "defective pixels are not repaired", true, replace));
  checks.push_back(checkFile(names[1], c.manualTable, "no shutter run yet", false,
                             "delete it, and make a new one with 'ombrix calibrate'"));
  checks.push_back(checkFile(names[2], c.tables,
                             flat ? "polynomials instead" : "no temperatures, and fixed pattern", !flat,
                             replace));
  checks.push_back(checkFile(names[3], c.polynomials, flat ? "tables instead" : "none", false, replace));
  checks.push_back(checkFile(names[4], c.thermographic, "temperatures far from 25 and 50 C are less exact",
                             flat, replace));
}

Check checkShutter(const Evidence& e) {
  if (e.openError.empty() && !e.hasShutter) return skip("shutter", "this model has none");
  if (!e.shutter) return skip("shutter", whyNot(e));
  const ShutterRecord& s = *e.shutter;
  const Figures figures = {
      {"openSpread", s.openSpread}, {"openNoise", s.openNoise}, {"drift", s.drift}, {"change", s.change},
      {"noise", s.noise},           {"before", s.before},       {"after", s.after}};
  const std::string text =
      format("spread {:.1f} {:s} before, {:.1f} {:s} after a run", s.before, s.unit, s.after, s.unit);
  const bool moved = s.before <= kGone * s.openSpread || s.noise <= kGone * s.openNoise ||
                     s.change >= kSeenChange * std::max(s.drift, s.noise);
  if (!moved) {
    const std::string same = format(
        "the picture is the same behind the closed shutter (changed by {:.1f} {:s})", s.change, s.unit);
    const char* const remedy =
        "point the camera at something warm and run this again; if nothing changes, listen for the click";
    if (s.unit == "mK" && s.openSpread < kFeaturelessMk) {
      return warn("shutter", same + ", but there is nothing to be seen in front of it", remedy, figures);
    }
    return fail("shutter", same, remedy, figures);
  }
  if (!s.table)
    return fail("shutter", "the run gave no table", "run 'ombrix calibrate --verbose 1'", figures);
  const bool flatAlready = s.before < 2.0 * s.noise;
  if (flatAlready && s.after < 3.0 * s.noise)
    return ok("shutter", text + ": flat without it already", figures);
  if (s.after > kFlattened * s.before)
    return fail("shutter", text,
                "keep the camera still and let it warm up for 10 minutes, then run this again", figures);
  return ok("shutter", text, figures);
}

Check checkLatency(const Evidence& e) {
  std::vector<double> values;
  for (const FrameRecord& frame : e.frames) {
    if (frame.handOverMs) values.push_back(*frame.handOverMs);
  }
  if (!e.framesComplete || values.empty() || !(e.nominalHz > 0.0)) return skip("latency", whyNot(e));
  const double median = quantile(values, 0.5), high = quantile(values, 0.99), period = 1000.0 / e.nominalHz;
  const Figures figures = {
      {"medianMs", median}, {"percentile99Ms", high}, {"frames", static_cast<double>(values.size())}};
  const std::string text = format("hand-over {:.2f} ms median, {:.2f} ms 99 %", median, high);
  if (median > period || high > 3.0 * period)
    return warn("latency", text, "the machine is busy: close other programs", figures);
  return ok("latency", text, figures);
}

Check checkTimeouts(const Evidence& e) {
  if (e.waits.empty()) return skip("time-outs", whyNot(e));
  double late = -1e9;
  const WaitRecord* worst = nullptr;
  for (const WaitRecord& wait : e.waits) {
    if (wait.tookMs - wait.askedMs <= late) continue;
    late = wait.tookMs - wait.askedMs;
    worst = &wait;
  }
  const Figures figures = {{"calls", static_cast<double>(e.waits.size())}, {"latestMs", late}};
  if (late > kSlackMs) {
    const std::string text = format("{:s} frame asked for within {:d} ms came back after {:.0f} ms",
                                    worst->colour ? "colour" : "thermal", worst->askedMs, worst->tookMs);
    if (late <= kBusySlackMs)
      return warn("time-outs", text, "the machine is busy: close other programs", figures);
    return fail("time-outs", text, "report this with the output of --json", figures);
  }
  return ok("time-outs", format("{:d} calls, {:.1f} ms late at most", e.waits.size(), std::max(late, 0.0)),
            figures);
}

}  // namespace

const char* word(Result result) {
  switch (result) {
    case Result::Ok:
      return "ok";
    case Result::Warn:
      return "warn";
    case Result::Fail:
      return "FAIL";
    case Result::Skipped:
      break;
  }
  return "skipped";
}

double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0.0;
  std::sort(values.begin(), values.end());
  const double rank = std::ceil(share * static_cast<double>(values.size())) - 1.0;
  const double last = static_cast<double>(values.size() - 1);
  return values[static_cast<std::size_t>(std::clamp(rank, 0.0, last))];
}

std::vector<Check> judge(const Evidence& evidence) {
  std::vector<Check> checks = {checkOpen(evidence),    checkConnection(evidence), checkFrames(evidence),
                               checkSamples(evidence), checkRate(evidence),       checkPicture(evidence),
                               checkColour(evidence),  checkMetadata(evidence),   checkTemperature(evidence),
                               checkLatency(evidence), checkTimeouts(evidence),   checkRegisters(evidence),
                               checkShutter(evidence)};
  checkCalibration(evidence, checks);
  return checks;
}

std::string line(const Check& check) {
  if (check.result == Result::Skipped)
    return format("{:<7}  {:<16}  ({:s})", word(check.result), check.name, check.text);
  const std::string remedy = check.remedy.empty() ? "" : " -> " + check.remedy;
  return format("{:<7}  {:<16}  {:s}{:s}", std::string(word(check.result)), check.name, check.text, remedy);
}

}  // namespace tools::selftest
