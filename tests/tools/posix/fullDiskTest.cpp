#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/program.h"

TEST(FullDisk, OfStandardOutputIsAFailure) {
  const Outcome outcome =
      runOmbrix({"stream", "--count", "2", "--json", "--simulate", "bramble6"}, "/dev/full");
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_THAT(outcome.err, testing::HasSubstr("cannot write to standard output: No space left on device"));
}
