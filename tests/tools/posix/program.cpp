#include "tools/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "tools/posix/runningProgram.h"

namespace {

// A program that hangs is ended by its alarm clock, which shows as "ended by a signal".
constexpr unsigned kAlarmSeconds = 60;

pid_t start(const std::vector<std::string>& arguments, int out, int err) {
  std::vector<char*> argv;
  const char* const program = OMBRIX_PROGRAM;
  argv.push_back(const_cast<char*>(program));
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const pid_t pid = fork();
  if (pid != 0) return pid;
  alarm(kAlarmSeconds);
  dup2(out, STDOUT_FILENO);
  dup2(err, STDERR_FILENO);
  execv(program, argv.data());
  _exit(127);
}

int exitCodeOf(pid_t pid) {
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

std::string contents(std::FILE* file) {
  std::rewind(file);
  std::string text;
  char block[4096];
  for (std::size_t n = 0; (n = std::fread(block, 1, sizeof block, file)) > 0;) text.append(block, n);
  std::fclose(file);
  return text;
}

}  // namespace

Outcome runOmbrix(const std::vector<std::string>& arguments, const std::string& standardOutput) {
  std::FILE* const out = standardOutput.empty() ? std::tmpfile() : std::fopen(standardOutput.c_str(), "w");
  std::FILE* const err = std::tmpfile();
  if (out == nullptr || err == nullptr) {
    ADD_FAILURE() << "no file for the program's output";
    return {};
  }
  Outcome outcome;
  outcome.exitCode = exitCodeOf(start(arguments, fileno(out), fileno(err)));
  if (standardOutput.empty()) {
    outcome.out = contents(out);
  } else {
    std::fclose(out);
  }
  outcome.err = contents(err);
  return outcome;
}

std::string runOnTerminal(const std::vector<std::string>& arguments, const std::string& standardOutput) {
  int master = -1, terminal = -1;
  if (openpty(&master, &terminal, nullptr, nullptr, nullptr) != 0) {
    ADD_FAILURE() << "no terminal";
    return {};
  }
  const int out = standardOutput.empty() ? terminal : open(standardOutput.c_str(), O_WRONLY | O_CLOEXEC);
  const pid_t pid = start(arguments, out, terminal);
  if (out != terminal) close(out);
  close(terminal);
  std::string shown;
  char block[4096];
  for (ssize_t n = 0; (n = read(master, block, sizeof block)) > 0;)
    shown.append(block, static_cast<std::size_t>(n));
  EXPECT_EQ(exitCodeOf(pid), 0) << shown;
  close(master);
  return shown;
}

RunningOmbrix::RunningOmbrix(const std::vector<std::string>& arguments, bool terminal) {
  int ends[2] = {-1, -1};
  if (terminal ? openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0 : pipe2(ends, O_CLOEXEC) != 0)
    return;
  fcntl(ends[0], F_SETFD, FD_CLOEXEC);
  pid = start(arguments, terminal ? STDOUT_FILENO : ends[1], terminal ? ends[1] : STDERR_FILENO);
  close(ends[1]);
  output = ends[0];
}

RunningOmbrix::~RunningOmbrix() {
  if (pid > 0) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
  close(output);
}

std::string RunningOmbrix::readLine() const {
  std::string line;
  for (char c = 0; read(output, &c, 1) == 1;) {
    line.push_back(c);
    if (c == '\n') return line;
  }
  return {};
}

bool RunningOmbrix::readUntil(const std::string& text) const {
  std::string shown;
  for (char c = 0; read(output, &c, 1) == 1;) {
    shown.push_back(c);
    if (shown.ends_with(text)) return true;
  }
  return false;
}

int RunningOmbrix::hangUp() {
  close(output);
  output = -1;
  const int code = exitCodeOf(pid);
  pid = -1;
  return code;
}

int RunningOmbrix::interrupt() {
  kill(pid, SIGINT);
  const int code = exitCodeOf(pid);
  pid = -1;
  return code;
}
