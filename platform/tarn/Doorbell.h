/// The writer's end of the doorbell: a socket where readers connect, and a byte to each of them
/// when there is news. Private to platform/tarn.
///
/// Thread    that of the loop, which must outlive it.
/// Fork      a child has none of its sockets, and leaves its file alone.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "platform/kiln/EventLoop.h"
#include "platform/tarn/DirectoryStorage.h"
#include "platform/tarn/PrivateFd.h"

namespace Tarn {

class Doorbell {
 public:
  /// Takes readers at writer.sock in the directory that `directory` is a descriptor of, and `path`
  /// the path; replaces what a killed writer left there. Who may read the directory, of mode
  /// `mode`, may connect. `directory` must stay open. Raises std::system_error.
  Doorbell(Kiln::EventLoop& loop, int directory, const std::string& path,
           const DirectoryRights& rights, mode_t mode);
  /// Removes the file, unless it is another's.
  ~Doorbell();
  Doorbell(const Doorbell&) = delete;
  Doorbell& operator=(const Doorbell&) = delete;

  /// There is news: ring() will tell everybody, those who have not answered when they do.
  void newsIs() {
    ++news_;
    isDue_ = true;
  }
  /// Sends a byte to each reader that has answered its last one and does not know the news. To be
  /// called at the end of each turn; costs nothing unless there is news, or somebody answered.
  void ring();
  /// Takes the readers that came, and what they answered, as the loop does when it runs. Raises
  /// what the loop would hear of.
  void hearAll();
  /// Whether the socket's file still has its name.
  bool isThere() const;
  /// Makes the socket again; readers keep their connections. Raises std::system_error.
  void renew();
  std::size_t readers() const { return readers_.size(); }

 private:
  struct Reader {
    PrivateFd socket;
    std::uint64_t knows = 0;   // the news that it was rung for
    bool hasAnswered = false;  // and waits for the next
  };
  static constexpr double pauseSeconds = 0.1;
  static constexpr int acceptsPerTurn = 64;

  void listen();
  void name(const char* temporary);
  void accept();
  void readerIs(Kiln::Fd socket);
  void hear(int fd);
  void ring(Reader& reader);
  void drop(int fd);

  Kiln::EventLoop& loop_;
  const pid_t process_;
  const int directory_;
  const std::string path_;
  const DirectoryRights rights_;
  const mode_t socketMode_;
  PrivateFd listener_;
  struct stat made_ {};  // the socket's file
  std::unordered_map<int, Reader> readers_;
  Kiln::Timer pause_;
  std::uint64_t news_ = 0;
  bool isDue_ = false;  // somebody may be to be rung
};

}  // namespace Tarn
