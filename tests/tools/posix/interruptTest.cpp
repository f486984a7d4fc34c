#include <gtest/gtest.h>

#include <filesystem>

#include "platform/system.h"
#include "support/scratchFiles.h"
#include "tools/posix/runningProgram.h"

namespace {

/// Where the program makes its temporary directories.
class Interrupt : public testing::Test {
 protected:
  Interrupt() { platform::setEnvironmentVariable("TMPDIR", folder.path("")); }
  ~Interrupt() override { platform::setEnvironmentVariable("TMPDIR", usual); }
  bool clean() const { return std::filesystem::is_empty(folder.path("")); }

 private:
  const std::string usual = std::filesystem::temp_directory_path().string();
  const ScratchFolder folder;
};

}  // namespace

TEST_F(Interrupt, CtrlCEndsAStreamCleanly) {
  RunningOmbrix endless({"stream", "--json", "--simulate", "bramble6"});
  ASSERT_NE(endless.readLine(), "");
  EXPECT_EQ(endless.interrupt(), 0);
  RunningOmbrix counted({"stream", "--count", "1000000", "--simulate", "bramble6"});
  ASSERT_NE(counted.readLine(), "");
  EXPECT_EQ(counted.interrupt(), 1);  // that many frames it has not shown
}

TEST_F(Interrupt, CtrlCEndsASelftestWithWhatWasReached) {
  RunningOmbrix program({"selftest", "--seconds", "3000", "--simulate", "marlow3"});
  EXPECT_EQ(program.readLine(), "camera 0: Marlow 3\n");
  EXPECT_EQ(program.interrupt(), 1);
}

// What takes so long that the alarm clock would end the program first.
TEST_F(Interrupt, CtrlCEndsLongSteps) {
  const struct {
    std::vector<std::string> arguments;
    const char* begun;
  } cases[] = {
      {{"calibrate", "--frames", "60000", "--simulate", "marlow3"}, "shutter run: "},
      {{"stream", "--run-ffc", "60000", "--count", "1", "--simulate", "marlow3"}, "shutter run: "},
      {{"info", "--verbose", "2", "--simulate", "bramble6;fault=slow-register:5000:1000"},
       "devices detected"},
  };
  for (const auto& test : cases) {
    RunningOmbrix program(test.arguments, true);
    ASSERT_TRUE(program.readUntil(test.begun));
    EXPECT_EQ(program.interrupt(), 1) << test.arguments.front();
    EXPECT_TRUE(clean()) << test.arguments.front();
  }
}

TEST_F(Interrupt, AReaderThatGoesAwayEndsItQuietly) {
  RunningOmbrix program({"stream", "--run-ffc", "1", "--simulate", "marlow3"});
  ASSERT_NE(program.readLine(), "");
  EXPECT_FALSE(clean());  // its data directory
  EXPECT_EQ(program.hangUp(), 0);
  EXPECT_TRUE(clean());
}
