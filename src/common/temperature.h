#pragma once

constexpr float kZeroCelsiusInK = 273.15f;

/// True when an emissivity means "no correction": equal to 1 as far as floats can tell.
bool isBlackBody(float emissivity);

/// Kelvin as degrees Celsius. With an emissivity other than 1: of the surface whose radiation looks as hot as
/// a black body of that temperature. An emissivity that is not above 0, or not finite, gives -273.15.
float toCelsius(float kelvin, float emissivity);
