#include "acquisition/backends/simulated/roomScene.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "acquisition/backends/simulated/radiance.h"
#include "common/numerics.h"

namespace simulation {
namespace {

constexpr double kWallK = 293.0, kWallGradientK = 2.0;  // from floor to ceiling
constexpr double kWindowK = 263.0, kPostK = 295.0, kPersonK = 307.0, kToolK = 340.0;
constexpr double kBarContrastK = 0.24, kEdgeK = 298.0;
constexpr std::uint32_t kBarPixels = 4, kBars = 12, kToolPixels = 5;
constexpr std::uint64_t kToolPeriod = 240;  // frames of one round

}  // namespace

RoomScene::RoomScene(std::uint32_t sensorWidth, std::uint32_t sensorHeight)
    : width(sensorWidth), height(sensorHeight), sharp(std::size_t{width} * height), seen(sharp.size()) {
  paintBackground();
  background = sharp;
  blur({sharp.data(), width, height}, {seen.data(), width, height}, {0, 0, width, height});
}

void RoomScene::fill(const Region& region, double kelvin) {
  const auto value = static_cast<float>(radianceOf(kelvin));
  for (std::uint32_t y = region.top; y < region.bottom; ++y) {
    std::fill(&sharp[std::size_t{y} * width] + region.left, &sharp[std::size_t{y} * width] + region.right,
              value);
  }
}

void RoomScene::paintBackground() {
  for (std::uint32_t y = 0; y < height; ++y) {
    fill({0, y, width, y + 1}, kWallK + kWallGradientK * (0.5 - static_cast<double>(y) / height));
  }
  fill({width / 16, height / 8, width / 4, height * 3 / 8}, kWindowK);
  const std::uint32_t post = width * 5 / 8;
  fill({post, 0, post + width / 40, height}, kPostK);
  const std::uint32_t bars = width * 3 / 8;
  for (std::uint32_t bar = 0; bar < kBars; ++bar) {
    const std::uint32_t left = bars + 2 * kBarPixels * bar;
    fill({left, height / 8, std::min(left + kBarPixels, width), height / 4}, kWallK + kBarContrastK);
  }
  // A plate whose left edge leans by one pixel in eleven, as sharpness is measured.
  for (std::uint32_t y = height / 2; y < height * 3 / 4; ++y) {
    fill({width * 3 / 4 + (y - height / 2) / 11, y, width * 15 / 16, y + 1}, kEdgeK);
  }
}

Region RoomScene::personAt(std::uint64_t frame) const {
  const std::uint32_t personWidth = width / 8;
  const std::uint32_t way = width - personWidth;
  const std::uint64_t speed = std::max(1u, width / 320);
  const std::uint64_t step = frame * speed % (2ULL * way);  // there and back
  const auto left = static_cast<std::uint32_t>(step < way ? step : 2ULL * way - step);
  return {left, height * 3 / 8, left + personWidth, height};
}

Region RoomScene::toolAt(std::uint64_t frame) const {
  const double angle = 2.0 * std::numbers::pi * static_cast<double>(frame % kToolPeriod) / kToolPeriod;
  const auto left = truncateToU32(width * (0.84 + 0.08 * std::cos(angle)));
  const auto top = truncateToU32(height * (0.25 + 0.12 * std::sin(angle)));
  return {left, top, left + kToolPixels, top + kToolPixels};
}

void RoomScene::ellipse(const Region& box, double kelvin) {
  const double radiusX = 0.5 * (box.right - box.left), radiusY = 0.5 * (box.bottom - box.top);
  for (std::uint32_t y = box.top; y < box.bottom; ++y) {
    const double dy = (y + 0.5 - box.top) / radiusY - 1.0;
    const double half = radiusX * std::sqrt(std::max(0.0, 1.0 - dy * dy));
    const double middle = box.left + radiusX;
    fill({truncateToU32(middle - half + 0.5), y, truncateToU32(middle + half + 0.5), y + 1}, kelvin);
  }
}

void RoomScene::paintPerson(const Region& box) {
  const std::uint32_t personWidth = box.right - box.left, personHeight = box.bottom - box.top;
  const std::uint32_t neck = box.top + personHeight / 4;
  ellipse({box.left + personWidth / 4, box.top, box.right - personWidth / 4, neck}, kPersonK);
  ellipse({box.left, neck, box.right, neck + personHeight / 2}, kPersonK - 4.0);  // clothes
  fill({box.left, neck + personHeight / 4, box.right, box.bottom}, kPersonK - 4.0);
}

void RoomScene::restore(const Region& region) {
  for (std::uint32_t y = region.top; y < region.bottom; ++y) {
    const std::size_t row = std::size_t{y} * width;
    std::copy(&background[row] + region.left, &background[row] + region.right, &sharp[row] + region.left);
  }
}

RadianceView RoomScene::at(std::uint64_t frame) {
  const Region oldPerson = person, oldTool = tool;
  restore(oldPerson);
  restore(oldTool);
  person = personAt(frame);
  tool = toolAt(frame);
  paintPerson(person);
  fill(tool, kToolK);
  // The person moves by a pixel or two: one rectangle over both places.
  for (const auto& region : {united(oldPerson, person), oldTool, tool}) {
    blur({sharp.data(), width, height}, {seen.data(), width, height},
         grown(region, kBlurReach, width, height));
  }
  return {seen.data(), width};
}

}  // namespace simulation
