#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "calibration/ffcPixelPolyfit.h"

// The text form of polynomial coefficients: a line per pixel, column by column.

namespace calibration {

enum class CoefficientGroup { gain, offset };

/// How a line is written. Every coefficient behind the first has its sign in front, apart from it.
enum class CoefficientLine {
  firstOrder,         ///< "12.5 - 0.25*Tk"
  quadratic,          ///< "12.5 - 0.25*Tk + 1e-05*Tk^2"
  logarithmicGain,    ///< "12.5 - 0.25*Tk + 3.5*Log[Tk]"
  logarithmicOffset,  ///< "3.2*^6 + 0.5*Tk - 1.5*^6*Log[Tk]": first and last in millions
};

/// The second-order line that a formula asks for: logarithmic when it is that one exactly, quadratic
/// otherwise.
CoefficientLine secondOrderLine(CoefficientGroup group, std::string_view formula);

/// The fields of a group in the order of binary files: 3 of the gain, 4 of the offset. Text holds the first 2
/// or 3.
std::span<float ffcPixelPolyfit::*const> binaryFields(CoefficientGroup group);

/// What a line held, as far as it could be read: numbers as written, signs '?' where none was.
struct CoefficientValues {
  std::array<float, 3> number{};
  std::array<char, 2> sign{'?', '?'};
};

/// How far a file was read; after a failure the line at fault.
struct CoefficientProgress {
  std::uint32_t line = 0;  ///< lines read; at fault: its number, counted from 1
  std::uint32_t x = 0;
  std::uint32_t y = 0;
  CoefficientValues values;
};

/// Reads one line without its end; false when it does not match to the letter. Blanks may surround numbers
/// and signs.
bool parseCoefficientLine(std::string_view text, CoefficientLine format, CoefficientValues& values);

/// Fills the fields of `group` from width * height lines; empty lines and what follows the last one do not
/// count. Stops at the first line that does not match. `table` holds width * height records.
bool readCoefficientText(std::span<const std::uint8_t> bytes, CoefficientGroup group, CoefficientLine format,
                         std::span<ffcPixelPolyfit> table, std::uint32_t width, std::uint32_t height,
                         CoefficientProgress& progress);

/// The text that `readCoefficientText` reads.
std::string writeCoefficientText(CoefficientGroup group, CoefficientLine format,
                                 std::span<const ffcPixelPolyfit> table, std::uint32_t width,
                                 std::uint32_t height);

}  // namespace calibration
