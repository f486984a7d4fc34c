#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "acquisition/backends/simulated/optics.h"
#include "acquisition/backends/simulated/scene.h"

namespace simulation {

/// A room at 293 K: a wall with a gradient, a cold window, a full-height post, bars of small contrast, a
/// slanted edge; a person walks through and a hot tool circles. Only what moved is painted anew, at any frame
/// number.
class RoomScene : public Scene {
 public:
  RoomScene(std::uint32_t width, std::uint32_t height);
  RadianceView at(std::uint64_t frame) override;

 private:
  void paintBackground();
  void fill(const Region& region, double kelvin);
  void ellipse(const Region& box, double kelvin);
  void paintPerson(const Region& box);
  Region personAt(std::uint64_t frame) const;
  Region toolAt(std::uint64_t frame) const;
  void restore(const Region& region);

  std::uint32_t width, height;
  std::vector<float> background;  ///< what does not move, sharp
  std::vector<float> sharp;
  std::vector<float> seen;  ///< through the lens
  Region person, tool;      ///< as painted last
};

}  // namespace simulation
