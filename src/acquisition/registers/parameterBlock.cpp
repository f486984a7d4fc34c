#include "acquisition/registers/parameterBlock.h"

namespace registers {
namespace {

constexpr Parameter kValues[] = {
    kPartNumber,
    kSerialNumber,
    {ParameterKind::number, "TINT", 0x40030, 2},
    {ParameterKind::number, "GFID", 0x40032, 2},
    {ParameterKind::number, "GSK", 0x40034, 2},
    {ParameterKind::number, "GAIN", 0x40036, 2},
    {ParameterKind::number, "Frame rate", 0x40038, 2},
};

constexpr Parameter kArrays[] = {
    {ParameterKind::array, "Defective pixels", 0x10000, 307200},
    {ParameterKind::array, "Gain coefficients", 0x60000, 3686400},
    {ParameterKind::array, "Offset coefficients", 0x3F0000, 4915200},
    {ParameterKind::array, "Thermographic correction", 0x8A0000, 131072},
    {ParameterKind::array, "ManualFFC", 0x8C0000, 1228800},
};

}  // namespace

std::span<const Parameter> parameterValues() { return kValues; }
std::span<const Parameter> parameterArrays() { return kArrays; }

}  // namespace registers
