// How a camera of each model is connected, configured and released.

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "acquisition/imageAcquisition.h"
#include "acquisition/registers/CameraRegisters.h"
#include "acquisition/transport/UVCConnection.h"
#include "common/format.h"
#include "core/logger.h"
#include "core/settings.h"

namespace {

using CommandList = std::vector<std::pair<std::string, std::string>>;

/// Raw video data, and every correction of the camera's own off: the SDK does them itself.
CommandList startUpCommands(bool bypassSensorSetup) {
  CommandList list{{"W01 0120 0001", "Video data Mode"}};
  if (bypassSensorSetup) return list;
  list.insert(list.end(), {{"W13 0201 0000", "CORR_SHUTTERLESS"},
                           {"W13 0202 0000", "CORR_BPR"},
                           {"W13 0203 0000", "CORR_FLARE"},
                           {"W13 0204 0000", "CORR_TONE_MAPPING"},
                           {"W13 0205 0000", "CORR_DENOISING"},
                           {"W13 0601 0000", "AGC_EN"},
                           {"W13 010B 0000", "SETTINGS_AGC_EN"}});
  return list;
}

bool isBoardCamera(const std::string& model) {
  return model == "StarVis-UVC" || model == "R2 BOARD FFC M12" || model == "R1 MICRO M12";
}

}  // namespace

bool imageAcquisition::initAcquisition() {
  if (!isBound() || !connectToDevice()) {
    if (isBound()) recordError("Unable to connect to %s!");
    errorFlag = true;
    return false;
  }
  processing.lastProcessedFrame = ~std::uint64_t{0};
  connected = true;
  return true;
}

bool imageAcquisition::connectToDevice() {
  if (device.linkType != linkTypeUVC) return true;
  const std::string& model = device.modelName;
  if (model == "Bramble 6") return connectWithSensorRegisters(usesPlaceholder());
  if (device.sensor == "Quor320") return connectWithStartUpList(usesPlaceholder());
  if (model == "USB3-Q7" || model == "Hollis 12") return connectWithSensorRegisters(usesPlaceholder());
  if (isBoardCamera(model)) return connectBoardCamera();
  errorFlag = true;
  return false;
}

bool imageAcquisition::usesPlaceholder() const {
  const settings& options = settings::current();
  if (device.modelName == "Bramble 6") return options.BrambleV4L2;
  if (device.sensor == "Quor320") return options.MarlowV4L2;
  if (device.modelName == "USB3-Q7" || device.modelName == "Hollis 12") return options.HollisV4L2;
  return false;
}

bool imageAcquisition::openConnection(bool placeholder) {
  device.connection = std::make_unique<UVCConnection>(device.modelName.c_str(), UVCBackendEnum{});
  if (placeholder) return device.connection->connectUVC(std::string("Ombrix"), 0, 0);
  return device.connection->connectUVC(static_cast<int>(descriptor.vid), static_cast<int>(descriptor.pid),
                                       listIndex, static_cast<dataTypeEnum>(device.dataType));
}

bool imageAcquisition::connectWithSensorRegisters(bool placeholder) {
  device.sensorRegisters = {};
  if (!openConnection(placeholder)) return false;
  readSerialNumber();
  device.connection->registers().readSensorConfiguration(device.sensorRegisters);
  return true;
}

bool imageAcquisition::connectWithStartUpList(bool placeholder) {
  device.sensorRegisters = {};
  const CommandList list = startUpCommands(settings::current().bypassSensorSetup);
  if (!openConnection(placeholder) || !device.connection->registers().sendList(list)) {
    errorFlag = true;
    return false;
  }
  readSerialNumber();
  device.connection->registers().readCurrentAGC(device.sensorRegisters);
  return true;
}

bool imageAcquisition::connectBoardCamera() {
  if (!openConnection(false)) return false;
  device.deviceString = device.connection->deviceString();
  return true;
}

void imageAcquisition::readSerialNumber() {
  if (device.serialNumber != 0) return;
  // Through unsigned 32 bits: a serial above 2^31 must not be sign-extended.
  device.serialNumber = static_cast<std::uint32_t>(device.connection->registers().readSerialNumber());
}

void imageAcquisition::readIdentity() {
  if (!device.connection || device.dataType != dataTypeThermal) return;
  CameraRegisters& registers = device.connection->registers();
  registers.writeCoreConfiguration(0);
  logger::info("\033[0;37mRetrieving core configuration", LOG_HERE);
  device.partNumber = registers.readPartNumber();
  device.serialText = registers.readSerialText();
  if (device.serialText.empty() && device.serialNumber != 0)
    device.serialText = format("{:d}", device.serialNumber);
}

void imageAcquisition::moveShutter(bool close) {
  // Only where opening succeeded: nobody could open the shutter of a half-opened camera again.
  if (ready && device.connection) device.connection->registers().setShutter(close);
}

bool imageAcquisition::releaseAcquisition() {
  logger::debug("", LOG_HERE);
  if (streaming) stopAcquisition();
  return releaseDevice();
}

bool imageAcquisition::releaseDevice() {
  if (device.linkType != linkTypeUVC) return true;
  device.connection.reset();
  device.sensorRegisters = {};
  temperatureFilter = {};
  return true;
}
