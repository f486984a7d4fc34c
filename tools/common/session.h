#pragma once

#include <string>

// What every program around the library does first.
namespace tools {

/// Sends the library's log to standard error, in colours on a terminal alone: standard output is for data.
void logToStandardError();

/// Leaves lines that hold `text` out of that log. Any thread.
void leaveOutOfLog(std::string text);
/// The same for the line that opening a camera finds no table of a shutter run in `data`: it is no news of a
/// directory that the program made itself, without one.
void expectNoShutterTable(const std::string& data);

/// From now on it shows nothing. Any thread.
void muteLog();

/// Makes the next `OmbrixSDK` run simulated cameras: a scenario's text or its file. Before any other thread.
void simulate(const std::string& scenario);

/// From now on the first Ctrl-C (or termination request) only sets a flag, so that cameras are stopped in
/// order; the second one ends the program at once.
void catchInterrupts();
bool interrupted();

/// A text of the library's without the terminal's colour sequences (ESC [ ... m).
std::string withoutColours(const std::string& text);

}  // namespace tools
