#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/posix/runningProgram.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(Terminal, ShowsColoursAndProgressThatNoLinesCross) {
  EXPECT_THAT(runOnTerminal({"list", "--verbose", "2", "--simulate", "marlow3"}), HasSubstr("\033[0;49;32m"));
  // Long enough for a progress line, which begins after a second.
  const std::vector<std::string> stream = {"stream", "--count", "80", "--simulate", "marlow3"};
  EXPECT_THAT(runOnTerminal(stream), AllOf(HasSubstr("  min "), Not(HasSubstr(" of 80 frames"))));
  EXPECT_THAT(runOnTerminal(stream, "/dev/null"), HasSubstr(" of 80 frames"));
}
