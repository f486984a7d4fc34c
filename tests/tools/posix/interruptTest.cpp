#include <gtest/gtest.h>

#include "tools/posix/runningProgram.h"

TEST(Interrupt, CtrlCEndsAStreamCleanly) {
  RunningOmbrix program({"stream", "--json", "--simulate", "bramble6"});
  ASSERT_NE(program.readLine(), "");
  EXPECT_EQ(program.interrupt(), 0);
}

TEST(Interrupt, CtrlCEndsASelftestWithWhatWasReached) {
  RunningOmbrix program({"selftest", "--seconds", "3000", "--simulate", "marlow3"});
  EXPECT_EQ(program.readLine(), "camera 0: Marlow 3\n");
  EXPECT_EQ(program.interrupt(), 1);
}
