#pragma once

#include <span>

#include "acquisition/USBDeviceDesc.h"

/// The supported cameras, in the order in which `setUSBDevice` tries them.
std::span<const USBDeviceDesc> deviceTable();

/// Replaces the table (an empty one restores the built-in rows). The rows must outlive their use.
void setDeviceTableForTesting(std::span<const USBDeviceDesc> rows);
