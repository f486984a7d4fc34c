#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "common/rgb.h"

/// A picture with overlays, of a made-up camera whose every figure is fixed.
struct OverlayScene {
  const char* name;
  std::uint16_t width;
  std::uint16_t height;
  std::vector<const char*> parameters;  ///< as the application sets them
  float degrees = 0.0f;
  int preset = 0;
  float zoom = 1.0f;
  float emissivity = 1.0f;
  int mappingMode = 2;
  bool radiometric = true;
  bool calibrating = false;
};

std::span<const OverlayScene> overlayScenes();

/// Runs one frame of blocks through the pipeline and colours it, overlays included.
std::vector<rgb_24b> paintScene(const OverlayScene& scene);
