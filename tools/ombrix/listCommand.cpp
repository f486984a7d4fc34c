#include <cstdio>
#include <nlohmann/json.hpp>

#include "acquisition/transport/UVCConnection.h"
#include "common/format.h"
#include "tools/ombrix/commands.h"

namespace tools {

void listCameras(const Options& options, OmbrixSDK& sdk) {
  nlohmann::ordered_json cameras = nlohmann::ordered_json::array();
  for (int index = 0; index < sdk.getDeviceCount(); ++index) {
    const std::string name = sdk.getDeviceName(index);
    const USBDeviceDesc model = UVCConnection::describeDevice(index);
    if (options.json) {
      cameras.push_back({{"index", index},
                         {"name", name},
                         {"model", model.modelName},
                         {"vendorId", model.vid},
                         {"productId", model.pid},
                         {"width", model.width},
                         {"height", model.height},
                         {"frameRate", model.frameRate}});
    } else {
      printLine(format("{}  {}  {} ({:04x}:{:04x})  {} x {}  {} Hz", index, name, model.modelName, model.vid,
                       model.pid, model.width, model.height, model.frameRate));
    }
  }
  if (options.json) printLine(cameras.dump());
  if (sdk.getDeviceCount() == 0) std::fprintf(stderr, "ombrix: %s\n", kNoCamera);
}

}  // namespace tools
