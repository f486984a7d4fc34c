#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "calibration/coefficientText.h"
#include "calibration/ffcPixelPolyfit.h"

// Polynomial flat-field files: the metadata (".pffc"), gain (".gpffc") and offset (".opffc") coefficients.
// `table` is borrowed: width x height records, pixel (x, y) at y * width + x. Each loader fills only its own
// fields, so that gain and offset share an array. Loaders log one line and never throw; one that fails
// half-way leaves the records read so far filled. Text lines run down the columns, binary values along the
// rows.

/// Reads the calibrated range in kelvin and the formula, in which '_', ',' and ';' stand for blanks. Nothing
/// changes on failure.
bool loadPFFCMetadata(float& tMin, float& tMax, std::string& formula, const std::string& path);

/// Text, first order: g0 and g1.
bool loadPFFCP1GainData(ffcPixelPolyfit* table, const unsigned short& width, const unsigned short& height,
                        const std::string& path);
/// Text, first order: o0 and o1.
bool loadPFFCP1OffsetData(ffcPixelPolyfit* table, const unsigned short& width, const unsigned short& height,
                          const std::string& path);
/// Text, second order: g0, g1 and g2. The formula selects the logarithmic line, any other the quadratic one.
bool loadPFFCP2GainData(ffcPixelPolyfit* table, std::string& formula, const unsigned short& width,
                        const unsigned short& height, const std::string& path);
/// Text, second order: o0, o1 and o2.
bool loadPFFCP2OffsetData(ffcPixelPolyfit* table, std::string& formula, const unsigned short& width,
                          const unsigned short& height, const std::string& path);
/// Binary: g0, g1 and g2. No record changes unless the file has exactly the right size. The formula is not
/// used.
bool loadBinaryPFFCP2GainData(ffcPixelPolyfit* table, std::string& formula, const unsigned short& width,
                              const unsigned short& height, const std::string& path);
/// Binary: o0, o1, o2 and o3.
bool loadBinaryPFFCP3OffsetData(ffcPixelPolyfit* table, std::string& formula, const unsigned short& width,
                                const unsigned short& height, const std::string& path);

// Writers for the formats above. They report write errors too. What they wrote loads bit for bit, except o0
// and o2 of the logarithmic text, which its millionths can only approximate (to one unit in the last place).

bool savePFFCMetadata(const float& tMin, const float& tMax, const std::string& formula,
                      const std::string& path);
bool savePFFCP1GainData(const ffcPixelPolyfit* table, const unsigned short& width,
                        const unsigned short& height, const std::string& path);
bool savePFFCP1OffsetData(const ffcPixelPolyfit* table, const unsigned short& width,
                          const unsigned short& height, const std::string& path);
bool savePFFCP2GainData(const ffcPixelPolyfit* table, const std::string& formula, const unsigned short& width,
                        const unsigned short& height, const std::string& path);
bool savePFFCP2OffsetData(const ffcPixelPolyfit* table, const std::string& formula,
                          const unsigned short& width, const unsigned short& height, const std::string& path);
bool saveBinaryPFFCP2GainData(const ffcPixelPolyfit* table, const unsigned short& width,
                              const unsigned short& height, const std::string& path);
bool saveBinaryPFFCP3OffsetData(const ffcPixelPolyfit* table, const unsigned short& width,
                                const unsigned short& height, const std::string& path);

namespace calibration {

/// Loads a camera's gain file by its format: binary when the size fits exactly, else the text that the
/// formula asks for. An unknown formula counts as failure.
bool loadPFFCGain(ffcPixelPolyfit* table, std::string& formula, const unsigned short& width,
                  const unsigned short& height, const std::string& path);
/// The same for the offset file. The cubic model has no text form.
bool loadPFFCOffset(ffcPixelPolyfit* table, std::string& formula, const unsigned short& width,
                    const unsigned short& height, const std::string& path);

/// The metadata text; false, with nothing changed, unless two finite numbers and a word come first.
bool readPFFCMetadata(std::span<const std::uint8_t> bytes, float& tMin, float& tMax, std::string& formula);

/// Binary coefficients of a group, 3 (gain) or 4 (offset) floats per record; false, with nothing changed,
/// unless the size fits exactly.
bool readBinaryCoefficients(std::span<const std::uint8_t> bytes, CoefficientGroup group,
                            std::span<ffcPixelPolyfit> table);

}  // namespace calibration
