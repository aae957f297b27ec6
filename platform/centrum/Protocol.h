/// What clients and the server of the central database say to each other.
///
/// A frame is a 32-bit length (of what follows it), one byte that says what it is, and its fields
/// in wire form (platform/forma/Wire.h). Operations (platform/forma/AttributeLog.h) stand last and
/// go to the end of the frame; they may go on in the next frame, cut anywhere.
///
/// Client                                  Server
///   Hello (first)                           Welcome (first), or Bye
///   Mount                                   Mounted, at once or when the path is created
///   Batch ... Batch without `more`          Ack, now and then: it keeps all batches up to that
///   Unmount, Remove                         Delta ... then Mark: apply all since the last Mark
///   Beat, every beatSeconds                 Beat, Owner, Removed; Bye before it closes
///
/// Paths are called by the number that Mounted gives them. Each side takes any frame as a sign of
/// life.
///
/// Thread    any.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "platform/Export.h"
#include "platform/centrum/EntityManager.h"
#include "platform/forma/Wire.h"

namespace Centrum {

constexpr std::uint32_t protocolVersion = 1;
/// No frame is longer, its length field apart.
constexpr std::size_t frameLimit = 1U << 20;
/// Seconds from one Beat to the next; after missedBeats of them without any frame a connection
/// counts as stalled.
constexpr double beatSeconds = 5.0;
constexpr int missedBeats = 3;

/// What a client wants to do with a path.
enum class MountMode : std::uint8_t {
  read = 0,
  adopt = 1,   ///< own it, starting from what is published
  replace = 2  ///< own it, starting empty; readers keep what is published until the first batch
};

/// The name of a database: made anew when it starts without a log.
using Epoch = std::uint64_t;
/// Counts the batches that a database has taken.
using Sequence = std::uint64_t;

namespace Message {

struct Hello {
  std::uint32_t version = protocolVersion;
  Forma::String8 name;  ///< of the program, for people
};
struct Mount {
  std::uint32_t request = 0;  ///< the client's number for it; Mounted repeats it
  Forma::String8 path;
  Forma::String8 typeName;
  std::uint64_t schema = 0;    ///< hash of the type's description
  std::uint8_t mode = 0;       ///< MountMode
  std::uint64_t instance = 0;  ///< of the client: the same after it reconnects; not 0
  Epoch epoch = 0;  ///< with `since`: what the client holds is of that moment; 0: nothing
  Sequence since = 0;
};
struct Unmount {
  std::uint32_t path = 0;
};
/// Changes of a path that the client owns. `more`: the next Batch of that path continues this one.
struct Batch {
  std::uint32_t path = 0;
  std::uint64_t number = 0;  ///< counts up from 1 within an instance and path
  bool more = false;
  bool renew = false;  ///< what is not stated is gone
  std::string_view records;
};
/// Takes an owned path away.
struct Remove {
  std::uint32_t path = 0;
};
/// Both ways.
struct Beat {
  Sequence sequence = 0;  ///< the server's newest; the newest Mark that the client applied
};
struct Welcome {
  std::uint32_t version = protocolVersion;
  Epoch epoch = 0;
  Sequence sequence = 0;
};
struct Mounted {
  std::uint32_t request = 0;
  std::uint8_t status = 0;  ///< MountStatus; mountPending: nobody has written the path yet
  std::uint32_t path = 0;
  std::uint64_t lastBatch = 0;  ///< of this instance, when `instanceKnown`
  /// The path was last written by this instance, or, when it is adopted, by nobody: no content
  /// follows.
  bool instanceKnown = false;
  Forma::String8 text;       ///< why it was refused: path, holder, needed right
  std::uint64_t writer = 0;  ///< the instance that wrote last; 0: nobody has
};
/// Changes of a path. A snapshot states all that there is, from the Delta that says `begin` to the
/// one that says `end`; both may be the same.
struct Delta {
  std::uint32_t path = 0;
  bool begin = false;
  bool end = false;
  std::string_view records;
  bool more = false;  ///< the next Delta of that path continues these records
};
/// The Deltas since the last Mark belong together: apply them, then notify. `complete`: the client
/// now has all that there is.
struct Mark {
  Sequence sequence = 0;
  bool complete = false;
};
/// Who owns a mounted path, told with Mounted and on change.
struct Owner {
  std::uint32_t path = 0;
  bool present = false;
  double age = 0;         ///< seconds since the owner went, when it is not present
  Forma::String8 holder;  ///< "name (pid 12, uid 0)"; the last one when it is not present
};
struct Removed {
  std::uint32_t path = 0;
};
struct Ack {
  std::uint32_t path = 0;
  std::uint64_t number = 0;
};
/// Why the connection is being closed.
struct Bye {
  Forma::String8 reason;
};

/// Any of them. The place in this list, from 1, is the byte that says what a frame is: append only.
using Any = std::variant<Hello, Mount, Unmount, Batch, Remove, Beat, Welcome, Mounted, Delta, Mark,
                         Owner, Removed, Ack, Bye>;

}  // namespace Message

/// Appends a message as a frame. What has records is cut into as many frames as needed: `more`,
/// `begin` and `end` are set so that their order tells; the bytes go on from one to the next.
/// Raises RangeException, and appends nothing, when another message does not fit one frame.
MPLS_EXPORT void appendFrame(std::string& out, const Message::Any& message);

/// Cuts received bytes into messages. Every byte is untrusted: what is handed out keeps to the
/// ranges of its fields, and has views into the frame only.
///
/// Thread    one.
/// Cost      a byte is moved once at most. Memory is that of one frame and what was asked of room()
///           at most, and goes back once a large frame has been taken.
class MPLS_EXPORT FrameReader {
 public:
  /// Adds received bytes: write up to `size` of them to room(), then tell how many by added().
  char* room(std::size_t size);
  void added(std::size_t count);
  /// The next whole message into `out`; false when there is none yet. Views in it are valid until
  /// room() is called. Raises ParseException for a frame that is too long or malformed, and says
  /// what is wrong; the connection is then of no more use, and `out` holds nothing of value.
  bool next(Message::Any& out);
  /// Bytes of a frame that is not whole.
  std::size_t pending() const { return end_ - begin_; }

 private:
  std::string bytes_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace Centrum
