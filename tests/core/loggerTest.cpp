#include "core/logger.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <map>
#include <random>
#include <regex>
#include <sstream>
#include <thread>

#include "platform/system.h"
#include "support/LogCapture.h"
#include "support/allocationCounter.h"
#include "support/scratchFiles.h"

namespace {

namespace fs = std::filesystem;
using Sections = std::map<std::string, std::string>;

/// A fresh logger whose console lines end in `console`, and a directory for its files.
class LoggerTest : public testing::Test {
 protected:
  LoggerTest() {
    fs::remove_all(directory);
    fs::create_directories(directory);
    restart();
  }
  ~LoggerTest() override {
    logger::resetForTesting();
    logger::setConsoleSink({});
    fs::remove_all(directory);
  }
  void restart() {
    logger::resetForTesting();
    console.clear();
    logger::setConsoleSink([this](std::string_view line) { console += line; });
  }
  void init(int level) {
    logger::init(static_cast<logger::verbosityLevel>(level), directory.generic_string(), false, false);
  }

  /// `text` as the golden file writes it.
  std::string comparable(std::string text) const {
    text = std::regex_replace(text, std::regex("\033"), "\\033");
    text = std::regex_replace(text, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)"), "STAMP");
    return std::regex_replace(text, std::regex(directory.generic_string()), "DIR");
  }
  const fs::path directory =
      fs::temp_directory_path() / ("loggerTest." + std::to_string(std::random_device()()));
  std::string console;
};

void callEveryPrinter() {
  const LogContext member{"load", "bool Table::load(int)"};
  const LogContext free{"save", "bool save(const std::string &)"};
  logger::error("broken", member);
  logger::warning("doubtful", free);
  logger::info("news", member);
  logger::success("good news", free);
  logger::debug("detail", member);
  logger::trace("bytes", free);
}

Sections readGolden() {
  std::ifstream file(OMBRIX_SOURCE_DIR "/tests/golden/logger_lines.txt");
  Sections sections;
  std::string line, section;
  while (std::getline(file, line)) {
    if (line.starts_with('[')) {
      section = line.substr(1, line.size() - 2);
    } else if (!section.empty() && !line.empty()) {
      sections[section] += line + '\n';
    }
  }
  return sections;
}

TEST_F(LoggerTest, EveryLineAtEveryLevelIsTheOneWrittenDown) {
  Sections printed;
  callEveryPrinter();
  printed["uninitialized console"] = comparable(console);
  for (int level = 0; level <= 3; ++level) {
    restart();  // first: files that are open cannot be removed everywhere
    fs::remove_all(directory);
    fs::create_directories(directory);
    init(level);
    callEveryPrinter();
    const std::string prefix = std::to_string(level) + ' ';
    printed[prefix + "console"] = comparable(console);
    for (const auto& file : fs::directory_iterator(directory))
      printed[prefix + '/' + file.path().filename().string()] = comparable(fileContents(file.path()));
  }
  const Sections golden = readGolden();
  ASSERT_EQ(golden.size(), 15u);
  EXPECT_EQ(printed, golden);
}

TEST_F(LoggerTest, WithoutADirectoryThereAreNoFiles) {
  logger::init(logger::verbosityDebug, "", false, false);
  callEveryPrinter();
  EXPECT_EQ(console.find(".log"), std::string::npos) << console;
  std::ofstream own(directory / "own.log", std::ios::binary);
  logger::write(own, {"then", "nothing"});
  EXPECT_EQ(fileContents(directory / "own.log"), "");
}

TEST_F(LoggerTest, LinesGoToTheSinkOrElseToStandardOutput) {
  logger::init(logger::verbosityErrors, "", false, false);
  testing::internal::CaptureStdout();
  logger::error("for the sink", LOG_HERE);
  logger::setConsoleSink({});
  logger::error("for all", LOG_HERE);
  EXPECT_EQ(withoutColours(testing::internal::GetCapturedStdout()), " ● for all\n");
  EXPECT_EQ(withoutColours(console), " ● for the sink\n");
}

TEST_F(LoggerTest, ASecondInitIsRefusedAndChangesNothing) {
  logger::init(logger::verbosityErrors, "", false, false);
  init(3);
  EXPECT_EQ(withoutColours(console), " ● Logger has already been initialized\n");
  EXPECT_FALSE(logger::enabled(logger::verbosityWarnings));
  EXPECT_TRUE(fs::is_empty(directory));
}

TEST_F(LoggerTest, ABrokenFileIsReportedOnceOnStandardError) {
  fs::create_directory(directory / "error.log");
  std::error_code noLinks;
  fs::create_symlink("/dev/full", directory / "warning.log", noLinks);
  testing::internal::CaptureStderr();
  init(1);
  for (int i = 0; i < 3; ++i) {
    logger::error("broken", LOG_HERE);
    logger::warning("doubtful", LOG_HERE);
  }
  std::ofstream failed(directory / "own.log", std::ios::binary);
  failed.setstate(std::ios::failbit);
  logger::write(failed, {"then", "lost"});
  logger::write(failed, {"then", "kept"});
  const std::string full = noLinks ? "" : "Writing error on i/o operation\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "File-based streambuffer is uninitialized\n" + full + "Logical error on i/o operation\n");
  EXPECT_EQ(comparable(console).find("\\033[0;38;5;242m ● \\033[0;0m\\033[0;49;31mError while opening "
                                     "\\033[0;38;5;178m'DIR/error.log'\\033[0;49;31m log file\\033[0;0m\n"),
            0u);
  EXPECT_EQ(withoutColours(fileContents(directory / "own.log")), "then kept\n");
}

TEST_F(LoggerTest, TheStampIsLocalTimeOrUtc) {
  const auto zone = platform::environmentVariable("TZ");
  platform::setEnvironmentVariable("TZ", "XYZ-05:30");
  tzset();
  for (const bool localTime : {false, true}) {
    restart();
    logger::init(logger::verbosityErrors, directory.generic_string(), false, localTime);
    const std::time_t before = std::time(nullptr);
    logger::error("now", LOG_HERE);
    const std::time_t after = std::time(nullptr);
    std::tm parts{};
    std::istringstream(withoutColours(fileContents(directory / "error.log"))) >>
        std::get_time(&parts, "%Y-%m-%d %T");
    const std::chrono::year_month_day day(std::chrono::year(parts.tm_year + 1900) / (parts.tm_mon + 1) /
                                          parts.tm_mday);
    const std::int64_t days = std::chrono::sys_days(day).time_since_epoch().count();
    const std::int64_t seconds = (parts.tm_hour * 60 + parts.tm_min) * 60 + parts.tm_sec;
    const std::int64_t stamp = days * 86400 + seconds - (localTime ? 5 * 3600 + 30 * 60 : 0);
    EXPECT_LE(before, stamp);
    EXPECT_LE(stamp, after);
  }
  platform::setEnvironmentVariable("TZ", zone);
  tzset();
}

#if !OMBRIX_SANITIZED
TEST_F(LoggerTest, SilentPrintersAllocateNothing) {
  logger::init(logger::verbosityErrors, "", false, false);
  const std::uint64_t before = allocationCount();
  for (int i = 0; i < 100; ++i)
    logger::debug("a text that is longer than any small string would be", LOG_HERE);
  EXPECT_EQ(allocationCount(), before);
}
#endif

TEST_F(LoggerTest, LinesOfManyThreadsNeverInterleave) {
  init(0);
  std::vector<std::thread> threads;
  for (const char letter : {'a', 'b', 'c', 'd'})
    threads.emplace_back([letter] {
      for (int i = 0; i < 100; ++i) logger::error(std::string(300, letter), LOG_HERE);
    });
  for (std::thread& thread : threads) thread.join();
  for (const std::string& text : {console, fileContents(directory / "error.log")}) {
    std::istringstream lines(withoutColours(text));
    std::string line;
    int count = 0;
    for (; std::getline(lines, line); ++count)
      ASSERT_TRUE(line.ends_with(std::string(300, line.back())) && line.size() < 330) << line;
    EXPECT_EQ(count, 400);
  }
}

TEST_F(LoggerTest, AFailingSinkIsNotTheCallersFault) {
  logger::init(logger::verbosityErrors, "", false, false);
  logger::setConsoleSink([](std::string_view) { throw 1; });
  EXPECT_NO_THROW(logger::error("x", LOG_HERE));
}

}  // namespace
