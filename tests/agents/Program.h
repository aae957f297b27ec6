/// Runs the real programs on files of a folder of their own.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace AgentTest {

namespace Fs = std::filesystem;

/// A folder that goes with the object, and becomes the programs' working directory.
class Folder {
 public:
  Folder() {
    std::string path = (Fs::temp_directory_path() / "mpls-agents-test.XXXXXX").string();
    if (::mkdtemp(path.data()) == nullptr) throw std::runtime_error("mkdtemp: " + path);
    path_ = path;
  }
  ~Folder() { Fs::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  Fs::path operator/(const std::string& name) const { return path_ / name; }
  const Fs::path& path() const { return path_; }
  void write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ / name) << text;
  }
  /// Puts a new file in the place of an old one, as editors do.
  void replace(const std::string& name, const std::string& text) const {
    write(name + ".tmp", text);
    Fs::rename(path_ / (name + ".tmp"), path_ / name);
  }
  std::string read(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(path_ / name).rdbuf();
    return text.str();
  }

 private:
  Fs::path path_;
};

/// A program of ours: the test lies one folder below it. Reading its output waits for it.
class Program {
 public:
  Program(const Folder& folder, std::string name, const std::vector<std::string>& arguments)
      : name_(std::move(name)) {
    int out[2];
    int err[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0)
      throw std::runtime_error("pipe");
    pid_ = ::fork();
    if (pid_ == 0) exec(folder, out[1], err[1], arguments);
    ::close(out[1]);
    ::close(err[1]);
    output_ = ::fdopen(out[0], "r");
    errors_ = ::fdopen(err[0], "r");
  }
  ~Program() {
    if (pid_ > 0) end(SIGKILL);
    ::fclose(output_);
    ::fclose(errors_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t pid() const { return pid_; }
  /// The next line of output, without its end. Empty at the end of the output.
  std::string line() {
    std::string text;
    take(output_, text);
    return text;
  }
  /// The next line as JSON.
  nlohmann::json json() { return nlohmann::json::parse(line()); }
  /// All that is left of the output.
  std::string rest() {
    std::string text;
    for (int c; (c = ::fgetc(output_)) != EOF;) text += static_cast<char>(c);
    return text;
  }
  /// Sends a signal, unless it is 0, and waits for the end. Returns the exit code, or less than 0
  /// when a signal ended it.
  int end(int signo = 0) {
    if (pid_ <= 0) throw std::logic_error(name_ + " has ended before");
    if (signo != 0) ::kill(pid_, signo);
    int status = 0;
    ::waitpid(std::exchange(pid_, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
  /// Reads errors up to the first line that has `text` in it, and returns that.
  std::string awaitError(const std::string& text) {
    for (std::string line; take(errors_, line); line.clear()) {
      said_ += line + "\n";
      if (line.find(text) != std::string::npos) return line;
    }
    ADD_FAILURE() << name_ << " did not say \"" << text << "\", but:\n" << said_;
    return {};
  }
  /// All errors; waits for the end of the program.
  std::string errors() {
    for (std::string line; take(errors_, line); line.clear()) said_ += line + "\n";
    return said_;
  }

  /// Where it is.
  static std::string path(const std::string& name) {
    return (Fs::read_symlink("/proc/self/exe").parent_path().parent_path() / name).string();
  }

 private:
  static bool take(FILE* from, std::string& line) {
    int c = 0;
    while ((c = ::fgetc(from)) != EOF && c != '\n') line += static_cast<char>(c);
    return c != EOF || !line.empty();
  }
  [[noreturn]] void exec(const Folder& folder, int out, int err,
                         const std::vector<std::string>& arguments) const {
    const std::string program = path(name_);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& one : arguments) argv.push_back(const_cast<char*>(one.c_str()));
    argv.push_back(nullptr);
    Fs::current_path(folder.path());
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that is killed leaves nothing behind
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }

  const std::string name_;
  pid_t pid_ = 0;
  FILE* output_ = nullptr;
  FILE* errors_ = nullptr;
  std::string said_;
};

}  // namespace AgentTest
