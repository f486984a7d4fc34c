#include <atomic>
#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>
#include <thread>

#include "acquisition/imageAcquisition.h"
#include "acquisition/transport/UVCConnection.h"
#include "common/format.h"
#include "ombrix/Ombrix.h"
#include "tools/common/progressLine.h"
#include "tools/common/session.h"
#include "tools/ombrix/commands.h"

namespace tools {
namespace {

constexpr auto kTemperatureTimeout = std::chrono::seconds(1);

std::string readParameterBlock(int camera, bool dump) {
  const auto entry = OmbrixSDK::mConnectedDevices.find(camera);
  auto* acquisition =
      entry == OmbrixSDK::mConnectedDevices.end() ? nullptr : static_cast<imageAcquisition*>(entry->second);
  if (acquisition == nullptr || !acquisition->device.connection) {
    throw CommandFailure(format("camera {} has no connection to read from", camera));
  }
  std::string text;
  std::atomic<std::size_t> done{0};
  const ProgressLine progress(
      [&] { return format("reading the camera's flash: {} KiB shown", done.load() / 1024); });
  const bool complete =
      acquisition->device.connection->registers().getParameters(dump, [&](std::string_view piece) {
        text += piece;
        done = text.size();
      });
  if (!complete) throw CommandFailure(format("camera {}: the parameter block could not be read", camera));
  return withoutColours(text);
}

/// The temperature comes with the first frames; null when none came.
nlohmann::ordered_json sensorTemperatureC(Ombrix& camera) {
  if (!awaitFrame([&](int ms) { return camera.getRawFrame(nullptr, nullptr, ms); })) return nullptr;
  const auto deadline = std::chrono::steady_clock::now() + kTemperatureTimeout;
  while (!interrupted() && std::chrono::steady_clock::now() < deadline) {
    const float celsius = camera.getSensorTemperature();
    if (celsius > -273.0f) return std::round(static_cast<double>(celsius) * 100.0) / 100.0;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return nullptr;
}

nlohmann::ordered_json describe(const Options& options, OmbrixSDK& sdk, Ombrix& camera) {
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  camera.getImageSize(width, height);
  unsigned short integration = 0, gfid = 0, gsk = 0, gain = 0;
  camera.getSensorSettings(integration, gfid, gsk, gain);
  const USBDeviceDesc model = UVCConnection::describeDevice(options.camera);
  return {{"index", options.camera},
          {"name", sdk.getDeviceName(options.camera)},
          {"model", model.modelName},
          {"sensor", model.sensor},
          {"partNumber", camera.getPartNumber()},
          {"serialNumber", camera.getSerialNumber()},
          {"width", width},
          {"height", height},
          {"frameRate", camera.getDeviceFrameRate()},
          {"integrationTime", integration},
          {"gfid", gfid},
          {"gsk", gsk},
          {"gain", gain},
          {"sensorTemperatureC", sensorTemperatureC(camera)}};
}

/// "name: value" lines as an object.
nlohmann::ordered_json parseParameters(const std::string& text) {
  nlohmann::ordered_json result = nlohmann::ordered_json::object();
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    const std::string line = text.substr(start, end - start);
    const std::size_t colon = line.find(": ");
    if (colon != std::string::npos) result[line.substr(0, colon)] = line.substr(colon + 2);
    start = end + 1;
  }
  return result;
}

}  // namespace

void showCamera(const Options& options, OmbrixSDK& sdk) {
  const auto handle = openCamera(options, sdk);
  Ombrix& camera = *handle;
  nlohmann::ordered_json info = describe(options, sdk, camera);
  const std::string parameters = options.parameters ? readParameterBlock(options.camera, options.dump) : "";
  if (interrupted()) throw CommandFailure("interrupted");
  if (options.json) {
    if (options.parameters) info["parameters"] = parseParameters(parameters);
    return printLine(info.dump());
  }
  for (const auto& [key, value] : info.items()) {
    printLine(format("{:<20}{}", key, value.is_string() ? value.get<std::string>() : value.dump()));
  }
  if (!parameters.empty()) printLine(parameters.substr(0, parameters.find_last_not_of('\n') + 1));
}

}  // namespace tools
