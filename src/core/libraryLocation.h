#pragma once

#include <string>

/// The directory of the file that holds this code, the shared library or a program linked with its objects,
/// links resolved: what belongs to the library is found from there wherever it was installed. Empty when the
/// system does not tell.
std::string libraryDirectory();
