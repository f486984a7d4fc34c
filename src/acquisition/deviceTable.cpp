#include "acquisition/deviceTable.h"

#include <array>

namespace {

constexpr const char* kUsbPath = "/dev/bus/usb";

USBDeviceDesc row(std::uint32_t vid, std::uint32_t pid, const char* match, const char* model,
                  const char* sensor, float frameRate, std::uint16_t width, std::uint16_t height,
                  dataTypeEnum dataType, linkTypeEnum linkType, bool tableFlag) {
  return {vid,    pid,       kUsbPath, match,  "",       {0, 0, 0}, model,
          sensor, frameRate, width,    height, dataType, linkType,  tableFlag};
}

const std::array<USBDeviceDesc, 6>& builtInRows() {
  static const std::array<USBDeviceDesc, 6> rows{
      row(0x5c2b, 0x96eb, "", "Bramble 6", "Velt640D", 60.0f, 640, 480, dataTypeThermal, linkTypeUVC, true),
      row(0x5c2b, 0x96ea, "", "Marlow 3", "Quor320", 60.0f, 320, 240, dataTypeThermal, linkTypeUVC, false),
      row(0x5c2b, 0x96ec, "", "Hollis 12", "Velt1280", 30.0f, 1280, 1024, dataTypeThermal, linkTypeUVC, true),
      row(0x0483, 0x5740, "Velt Core", "Velt Core", "Velt320", 60.0f, 320, 240, dataTypeThermal, linkTypeCore,
          false),
      row(0x16d0, 0x0ed4, "", "R2 BOARD FFC M12", "IMX290", 30.0f, 1920, 1080, dataTypeVisible, linkTypeUVC,
          false),
      row(0x16d0, 0x0ed2, "", "R1 MICRO M12", "AR0330", 30.0f, 1920, 1080, dataTypeVisible, linkTypeUVC,
          false),
  };
  return rows;
}

std::span<const USBDeviceDesc> replacement;

}  // namespace

std::span<const USBDeviceDesc> deviceTable() { return replacement.empty() ? builtInRows() : replacement; }

void setDeviceTableForTesting(std::span<const USBDeviceDesc> rows) { replacement = rows; }
