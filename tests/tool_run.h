// The tavo tool run as a user runs it: exit status, standard output and standard error apart, in fresh files.
#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace tavo::test {

struct ToolRun {
  int status;  // the exit status, or 128 + the signal that ended it
  std::string out;
  std::string err;
};

inline std::string slurp(const std::string &path) {
  std::stringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

// A new file in the test's temporary directory holding `text`.
inline std::string temp_file(const std::string &text = {}) {
  std::string path = ::testing::TempDir() + "tavo_test_XXXXXX";
  const int fd = mkstemp(path.data());
  if (fd >= 0) close(fd);
  std::ofstream(path) << text;
  return path;
}

// A fresh folder of this process's own (runs of the tests may share the machine) holding `files`, removed with it.
struct Folder {
  std::filesystem::path path;
  explicit Folder(const std::string &name, const std::map<std::string, std::string> &files = {})
      : path(std::filesystem::path(::testing::TempDir()) / ("tavo_" + name + "." + std::to_string(getpid()))) {
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
    for (const auto &[file, text] : files) {
      std::filesystem::create_directories((path / file).parent_path());
      std::ofstream(path / file, std::ios::binary) << text;
    }
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

// A command line for the shell.
inline ToolRun shell(const std::string &command) {
  const std::string out = temp_file(), err = temp_file();
  const int status = std::system(("(" + command + ") >" + out + " 2>" + err).c_str());
  ToolRun run{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), slurp(out), slurp(err)};
  std::remove(out.c_str());
  std::remove(err.c_str());
  return run;
}

inline ToolRun tavo(const std::string &args) { return shell(std::string(TAVO_TOOL) + " " + args); }

// A command the tool refuses: its status and one line on standard error, nothing on standard output.
struct Refusal {
  std::string args;
  int status;
  std::string error;  // after "tavo: "
};
inline void expect_refused(const Refusal &c) {
  const ToolRun r = tavo(c.args);
  EXPECT_EQ(r.status, c.status) << c.args;
  EXPECT_EQ(r.err, "tavo: " + c.error + "\n") << c.args;
  EXPECT_EQ(r.out, "") << c.args;
}

// A command that succeeds with every one of `parts` in its output.
inline void expect_found(const std::string &args, std::initializer_list<const char *> parts) {
  const ToolRun r = tavo(args);
  EXPECT_EQ(r.status, 0) << args << "\n" << r.err;
  for (const char *part : parts) EXPECT_NE(r.out.find(part), std::string::npos) << args << "\n" << r.out;
}

}  // namespace tavo::test
