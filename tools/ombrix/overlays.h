#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "ombrix/OmbrixSDK.h"

namespace tools {

/// The option --overlay: a list of words, each of which stands for something drawn on coloured frames.
CLI::Option* addOverlays(CLI::App& command, std::vector<std::string>& words);
/// Throws when a word makes the library print on standard output, where JSON is to be alone.
void requireSilence(const std::vector<std::string>& words);
/// Sets the parameters of the words; of every camera, and until the end of the program.
void applyOverlays(const std::vector<std::string>& words, OmbrixSDK& sdk);

}  // namespace tools
