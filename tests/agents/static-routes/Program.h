/// Runs the real program on files of a folder of its own.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace StaticRoutes {

namespace Fs = std::filesystem;

/// A folder that goes with the object, and becomes the program's working directory.
class Folder {
 public:
  Folder() {
    std::string path = (Fs::temp_directory_path() / "static-routes-test.XXXXXX").string();
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

/// The program: the test lies one folder below it. Its errors go to the file `stderr`.
class Program {
 public:
  Program(const Folder& folder, const std::vector<std::string>& arguments) : folder_(folder) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("pipe");
    pid_ = ::fork();
    if (pid_ == 0) exec(ends, arguments);
    ::close(ends[1]);
    output_ = ::fdopen(ends[0], "r");
  }
  ~Program() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
    ::fclose(output_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// The next line of output, without its end; waits for it. Empty at the end of the output.
  std::string line() {
    std::string text;
    for (int c; (c = ::fgetc(output_)) != EOF && c != '\n';) text += static_cast<char>(c);
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
  /// Sends a signal, unless it is 0, and waits for the end. Returns the exit code.
  int end(int signo = 0) {
    if (signo != 0) ::kill(pid_, signo);
    int status = 0;
    ::waitpid(std::exchange(pid_, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string errors() const { return folder_.read("stderr"); }

 private:
  [[noreturn]] void exec(const int* ends, const std::vector<std::string>& arguments) const {
    const std::string program =
        (Fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "static-routes").string();
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& one : arguments) argv.push_back(const_cast<char*>(one.c_str()));
    argv.push_back(nullptr);
    Fs::current_path(folder_.path());
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    if (::freopen("stderr", "w", ::stderr) == nullptr) ::_exit(126);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
  }

  const Folder& folder_;
  pid_t pid_ = 0;
  FILE* output_ = nullptr;
};

}  // namespace StaticRoutes
