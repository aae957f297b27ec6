/// A scribe in a process of its own, which dies when it is told to.
///
/// Thread    one.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "mpls/lfib/LfibStatusSm.h"
#include "platform/kiln/Fd.h"
#include "platform/tarn/WriterDirectory.h"
#include "tests/mpls/lfib/LfibScribe.h"
#include "tests/platform/tarn/Folder.h"

namespace Mpls {

class LfibScribeProcess {
 public:
  /// Writes the tables of the directory `path`.
  LfibScribeProcess(const std::string& path, unsigned seed) {
    int pair[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
    pid_ = Tarn::forkMortal();
    if (pid_ == 0) write(path, seed, Kiln::Fd(pair[1]));
    ::close(pair[1]);
    socket_ = Kiln::Fd(pair[0]);
  }
  ~LfibScribeProcess() { steps(dies); }
  LfibScribeProcess(const LfibScribeProcess&) = delete;
  LfibScribeProcess& operator=(const LfibScribeProcess&) = delete;

  /// Returns when they are done. After `dies` it is killed in the middle.
  void steps(unsigned char count) {
    EXPECT_EQ(::write(socket_.get(), &count, 1), 1);
    if (count != dies) EXPECT_EQ(::read(socket_.get(), &count, 1), 1);
    else ::waitpid(pid_, nullptr, 0);
  }

  static constexpr unsigned char dies = 255;

 private:
  [[noreturn]] static void write(const std::string& path, unsigned seed, Kiln::Fd socket) {
    Kiln::EventLoop loop;
    Tarn::WriterDirectory::Options options;
    options.path = path;
    Tarn::WriterDirectory directory(loop, options, [](const std::string&) {});
    const auto lfib = lfibStatusFactory("written");
    FormaTarn::attachWriter(*lfib, directory, 8);
    const auto producer = lfibStatusProducerSmFactory(lfib);
    LfibScribe scribe(lfib, seed);
    for (unsigned char count = 0; ::read(socket.get(), &count, 1) == 1;) {
      for (unsigned i = 0; i < count % dies; ++i) scribe.step();
      directory.ring();
      if (count == dies) {
        for (unsigned i = scribe.below(9); i > 0; --i) scribe.step();
        ::kill(::getpid(), SIGKILL);
      }
      if (::write(socket.get(), &count, 1) != 1) break;
    }
    ::_exit(0);
  }

  pid_t pid_ = 0;
  Kiln::Fd socket_;
};

}  // namespace Mpls
