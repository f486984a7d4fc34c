#include "tools/program.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>

#include "common/filePath.h"
#include "support/scratchFiles.h"

namespace {

constexpr DWORD kLongestMs = 60000;

/// `argument` as the start of a program takes it apart again.
std::wstring quoted(const std::string& argument) {
  std::wstring text = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t c : filePath(argument).wstring()) {
    if (c == L'"') text.append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    text.push_back(c);
  }
  return text.append(backslashes, L'\\') + L"\" ";
}

HANDLE inheritableFile(const std::string& path) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  return CreateFileW(filePath(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, 0,
                     nullptr);
}

}  // namespace

Outcome runOmbrix(const std::vector<std::string>& arguments, const std::string& standardOutput) {
  const ScratchFolder scratch("_program");
  const std::string outPath = standardOutput.empty() ? scratch.path("standard-output") : standardOutput;
  const std::string errPath = scratch.path("standard-error");
  std::wstring line = quoted(OMBRIX_PROGRAM);
  for (const std::string& argument : arguments) line += quoted(argument);

  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = inheritableFile(outPath);
  start.hStdError = inheritableFile(errPath);
  PROCESS_INFORMATION process{};
  Outcome outcome;
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process)) {
    DWORD code = 0;
    if (WaitForSingleObject(process.hProcess, kLongestMs) != WAIT_OBJECT_0) {
      TerminateProcess(process.hProcess, 1);
      ADD_FAILURE() << "the program hangs";
    } else if (GetExitCodeProcess(process.hProcess, &code)) {
      outcome.exitCode = static_cast<int>(code);
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  } else {
    ADD_FAILURE() << "the program cannot be started: " << GetLastError();
  }
  CloseHandle(start.hStdOutput);
  CloseHandle(start.hStdError);
  if (standardOutput.empty()) outcome.out = fileContents(outPath);
  outcome.err = fileContents(errPath);
  return outcome;
}
