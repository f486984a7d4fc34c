#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ombrix/Ombrix.h"

namespace tools {

/// The switches and values of a camera that an option may set; what was not asked for stays as opened.
struct Controls {
  std::optional<bool> flatField, defects, shutterless, radiometric, destriping;
  std::optional<float> temporal;
  std::optional<float> rate;  ///< processed frames per second
  std::optional<int> mapping;
  std::vector<float> bounds;  ///< low, high; empty: as opened
  std::optional<int> runFrames;
  std::optional<bool> shutterClosed;
  std::optional<bool> freeRun;
  bool trigger = false;  ///< one software trigger before every frame

  // State without an exported setter.
  std::optional<float> rotationDegrees, zoom;
  std::optional<int> interpolation;
  bool levelCompensation = false;
  bool noSpatialFilter = false;
  bool rowDestriping = false;
  bool negate = false;
  std::optional<int> fileUnder;   ///< degrees Celsius of the folder; automatic calibrations go there
  std::vector<float> bandLimits;  ///< low, high, millikelvin per level
};

void addControls(CLI::App& command, Controls& controls);
/// Sets them on an opened camera, the shutter run last (it blocks until its end).
void applyControls(const Controls& controls, int index, Ombrix& camera);

/// Temperature step of a level of the camera's radiometric picture.
double kelvinPerLevel(int index);
/// Whether the camera can close a shutter of its own.
bool hasShutter(int index);

}  // namespace tools
