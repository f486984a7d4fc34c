// Register transfers that fail: while a camera is opened, and one command at a time.

#include <array>
#include <map>

#include "acquisition/backends/simulated/SimulatedPlatform.h"
#include "acquisition/registers/CameraRegisters.h"
#include "acquisition/registers/parameterBlock.h"
#include "acquisition/transport/UVCConnection.h"
#include "common/format.h"
#include "faults/FaultSession.h"

namespace {

/// What a camera lacks when the transfer fails that opening makes with a register.
enum Loss { everything, number, sensor, part, nothing };

const std::map<std::string, Loss> kOpening = {
    {"W01 0120", everything},
    {"W13 0201", everything},
    {"W13 0202", everything},
    {"W13 0203", everything},
    {"W13 0204", everything},
    {"W13 0205", everything},
    {"W13 0601", everything},
    {"W13 010B", everything},
    {"R13 0003", number},
    {"R13 0004", number},
    {"R12 0000", number},
    {"R12 0001", number},
    {"R12 0002", number},
    {"R12 0003", number},
    {"R13 060C", sensor},
    {"R13 060D", sensor},
    {"R13 060E", sensor},
    {"R12 004C", sensor},
    {"R12 004D", sensor},
    {"R12 004B", sensor},
    {"R12 004F", sensor},
    {"R12 0050", sensor},
    {"R12 005B", sensor},
    {"R12 0099", sensor},
    {"R12 0040", sensor},
    {"W00 0005", nothing},
    // Flash: the part number, then the serial text, for which the number stands in.
    {"W01 0301", part},
    {"W01 0302", part},
    {"W01 0303", part},
    {"W01 0304", part},
    {"W01 0305", part}};

/// A command to an open camera of the simulator: what it sends, and whether it tells that all went through.
struct Operation {
  const char* model;
  std::vector<std::string> commands;
  std::function<bool(CameraRegisters&)> run;
};

using R = CameraRegisters;
const Operation kOperations[] = {
    {"marlow3", {"W13 060C 12AB"}, [](R& r) { return r.setCurrentGSK(0x12AB); }},
    {"marlow3", {"W13 060D 0C0D"}, [](R& r) { return r.setCurrentGFID(0x0C0D); }},
    {"marlow3", {"W13 060E FF01"}, [](R& r) { return r.setCurrentTINT(0xFF01); }},
    {"bramble6", {"W12 004C 0012", "W12 004D 00AB"}, [](R& r) { return r.setGSK(0x12AB); }},
    {"bramble6", {"W12 004B 0C0D"}, [](R& r) { return r.setGFID(0x0C0D); }},
    {"bramble6", {"W12 004F 00FF", "W12 0050 0001"}, [](R& r) { return r.setIntegrationTime(0xFF01); }},
    {"bramble6", {"W12 0040 0007"}, [](R& r) { return r.setImageGain(7); }},
    {"bramble6", {"W01 0020 0001"}, [](R& r) { return r.setShutter(true); }},
    {"bramble6", {"W01 0021 0001"}, [](R& r) { return r.setShutter(false); }},
    {"hollis12", {"W02 0032 0001"}, [](R& r) { return r.setShutter(true); }},
    {"hollis12", {"W02 0031 0001"}, [](R& r) { return r.setShutter(false); }},
    {"hollis12", {"R12 0040 0000"}, [](R& r) { return r.sendCommand("R12 0040 0000", "GAIN_IMAGE") != 0; }},
};

/// A camera without an SDK around it.
struct Bench {
  explicit Bench(const std::string& model) : platform(simulation::makeSimulatedPlatform(model + ";step=on")) {
    transport::installVideoPlatform(platform);
    EXPECT_TRUE(UVCConnection::init());
    EXPECT_TRUE(acquisition.setUSBDevice(UVCConnection::describeDevice(0), 0, 0));
  }
  ~Bench() {
    acquisition.releaseAcquisition();
    UVCConnection::shutdown();
    EXPECT_EQ(platform->startCount(), 0);
    transport::installVideoPlatform(nullptr);
  }
  bool open() {
    if (!acquisition.initAcquisition()) return false;
    acquisition.readIdentity();
    return true;
  }
  CameraRegisters& registers() { return acquisition.device.connection->registers(); }
  std::vector<simulation::TransferRecord> transfers() const { return platform->camera(0).transfers(); }
  void failTransfer(std::size_t next) {
    EXPECT_EQ(platform->camera(0).apply(format("register:{:d}:EPIPE", next)), "");
  }
  std::size_t failures() const { return log.count("ks_control->KsProperty(...) failed (error code -32)"); }

  LogCapture log{logger::verbosityInfo};
  std::shared_ptr<simulation::SimulatedPlatform> platform;
  imageAcquisition acquisition{"nowhere", true};
};

/// Lets each transfer of the operation fail once.
void failEach(Bench& bench, const std::function<bool(CameraRegisters&)>& run) {
  const std::size_t before = bench.transfers().size();
  EXPECT_TRUE(run(bench.registers()));
  const std::size_t count = bench.transfers().size() - before;
  for (std::size_t failing = 1; failing <= count; ++failing) {
    bench.log.clear();
    bench.failTransfer(failing);
    const std::size_t start = bench.transfers().size();
    EXPECT_FALSE(run(bench.registers())) << failing;
    EXPECT_EQ(bench.failures(), 1u);
    EXPECT_EQ(bench.transfers().size(), start + failing) << "the rest is not sent";
    EXPECT_TRUE(run(bench.registers()));
  }
}

}  // namespace

TEST(FaultMatrix, EveryRegisterHasARow) {
  std::set<std::string> rows;
  for (const auto& [name, loss] : kOpening) rows.insert(name);
  for (const Operation& operation : kOperations) {
    for (const std::string& command : operation.commands) rows.insert(command.substr(0, 8));
  }
  expectRows(inSources("", R"re("([RW][0-9]{2} [0-9A-F]{4}) )re"), rows);
}

TEST(FaultMatrix, EveryTransferOfOpeningFailsOnce) {
  for (const auto& [model, name] : {std::pair<std::string, std::string>{"marlow3", "Marlow 3"},
                                    {"bramble6", "Bramble 6"},
                                    {"hollis12", "Hollis 12"}}) {
    std::vector<std::string> touched;  // the register of each transfer of the clean run
    for (std::size_t failing = 0; failing <= touched.size(); ++failing) {
      Bench bench(model);
      if (failing > 0) bench.failTransfer(failing);
      const bool opens = bench.open();
      Loss loss = nothing;
      if (failing == 0) {
        for (const auto& transfer : bench.transfers())
          touched.push_back(transfer.set ? transfer.text.substr(0, 8) : touched.back());
        ASSERT_GT(touched.size(), 40u);
      } else {
        const std::string& failed = touched[failing - 1];
        SCOPED_TRACE(name + ", " + failed);
        ASSERT_TRUE(kOpening.count(failed)) << "no row";
        loss = kOpening.at(failed);
        if (loss == part && failing > touched.size() - 11)
          loss = nothing;  // the last eleven: the serial text
        EXPECT_EQ(bench.failures(), 1u);
      }
      const deviceInfo& device = bench.acquisition.device;
      EXPECT_EQ(opens, loss != everything) << failing;
      EXPECT_EQ(bench.acquisition.getErrorText(), opens ? "none" : "Unable to connect to " + name + "!");
      EXPECT_EQ(device.serialNumber, opens && loss != number ? 466001359u : 0u) << failing;
      EXPECT_EQ(device.sensorRegisters[0] != 0, opens && loss != sensor) << failing;
      EXPECT_EQ(device.partNumber.empty(), !opens || loss == part) << failing;
      EXPECT_EQ(device.serialText, opens ? "466001359" : "");
      if (!opens) {
        EXPECT_TRUE(bench.acquisition.releaseAcquisition() && bench.open());
      }
      EXPECT_TRUE(bench.registers().writeCoreConfiguration(0));
    }
  }
}

TEST(FaultMatrix, EveryTransferOfACommandFailsOnce) {
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(operation.commands[0]);
    Bench bench(operation.model);
    ASSERT_TRUE(bench.open());
    const std::size_t before = bench.transfers().size();
    EXPECT_TRUE(operation.run(bench.registers()));
    std::vector<std::string> sent;
    const auto transfers = bench.transfers();
    for (std::size_t i = before; i < transfers.size(); ++i) {
      if (transfers[i].set) sent.push_back(transfers[i].text);
    }
    EXPECT_EQ(sent, operation.commands);
    failEach(bench, operation.run);
  }
  Bench bench("bramble6");
  ASSERT_TRUE(bench.open());
  for (const auto& table : {registers::parameterValues(), registers::parameterArrays()}) {
    for (const registers::Parameter& parameter : table) {
      SCOPED_TRACE(parameter.name);
      std::array<std::uint8_t, 64> block{};
      const auto bytes = std::span(block).first(std::min<std::size_t>(parameter.sizeBytes, block.size()));
      failEach(bench, [&](R& r) { return r.readFlash(false, parameter.address, bytes); });
    }
  }
}
