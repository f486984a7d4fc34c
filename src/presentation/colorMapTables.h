#pragma once

/// One colour map of the catalogue that is a table: 256 rows of red, green and blue between 0 and 1, from low
/// to high values. The name is stored in place so that the tables need no relocation when the library loads.
struct LiteralColorMap {
  char name[16];
  float channels[256 * 3];  ///< r, g, b of entry 0, then of entry 1, ...
};

/// The maps 1 to 43 of the catalogue, map 1 first.
inline constexpr int kLiteralColorMapCount = 43;
extern const LiteralColorMap kLiteralColorMaps[kLiteralColorMapCount];
