#include "support/LogCapture.h"

#include <algorithm>

#include "common/mutex.h"

struct LogCapture::Collected {
  Mutex mutex{LockRank::logSink};
  std::vector<std::string> lines GUARDED_BY(mutex);
};

std::string withoutColours(std::string_view text) {
  std::string plain;
  while (!text.empty()) {
    const std::size_t escape = std::min(text.find("\033["), text.size());
    plain += text.substr(0, escape);
    text.remove_prefix(escape);
    const std::size_t end = text.find('m');
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return plain;
}

LogCapture::LogCapture(logger::verbosityLevel level, Colours colours)
    : collected(std::make_shared<Collected>()) {
  logger::resetForTesting();
  logger::setConsoleSink([sink = collected, colours](std::string_view line) {
    if (line.ends_with('\n')) line.remove_suffix(1);
    std::string text = colours == Colours::strip ? withoutColours(line) : std::string(line);
    MutexLock lock(sink->mutex);
    sink->lines.push_back(std::move(text));
  });
  logger::init(level, "", false, true);
  clear();
}

LogCapture::~LogCapture() {
  logger::resetForTesting();
  logger::setConsoleSink({});
}

std::vector<std::string> LogCapture::lines() const {
  MutexLock lock(collected->mutex);
  return collected->lines;
}

std::size_t LogCapture::count(std::string_view text) const {
  MutexLock lock(collected->mutex);
  return static_cast<std::size_t>(
      std::count_if(collected->lines.begin(), collected->lines.end(),
                    [text](const std::string& line) { return line.find(text) != std::string::npos; }));
}

std::string LogCapture::text() const {
  std::string joined;
  for (const std::string& line : lines()) joined += line + '\n';
  return joined;
}

void LogCapture::clear() {
  MutexLock lock(collected->mutex);
  collected->lines.clear();
}
