/// The stream of attribute changes by which entities are copied to other processes: operations on
/// the content of one entity, nested as its children are.
///
/// An operation is one byte that says what it does, one for the member (its index in the type's
/// description), and the key in its wire form behind its length; attributes and single children
/// have an empty key. Lengths are in base 128, low groups first. Who stores or passes the stream on
/// need not know the types:
///
///   put     key, value    the attribute or element has this value. An element of a reference
///                         collection travels as one value: its constructor arguments behind their
///                         length, then the operations of its content.
///   erase   key           the element is gone; an attribute is as it was declared.
///   create  key, arguments  the child is there, made from these; what follows is of its content.
///   renew   key, arguments  the same, and what is not stated up to its end is gone.
///   end                   ends the innermost create or renew.
///
/// What is not stated of a new entity is as declared: attributes at their initial values,
/// collections empty.
///
/// Thread    any.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Export.h"
#include "platform/forma/Wire.h"

namespace Forma {

enum class LogOp : std::uint8_t { put = 1, erase = 2, create = 3, renew = 4, end = 5 };

/// One operation. The views lie in the bytes that it was read from.
struct LogRecord {
  LogOp op{};
  std::uint8_t member = 0;
  std::string_view key;
  std::string_view value;  ///< of put; the arguments of create and renew
};

/// Children may be nested this deep in what is read.
constexpr unsigned logDepthLimit = 64;

/// Appends a length.
MPLS_EXPORT void appendLength(std::string& out, std::size_t length);
/// Appends bytes behind their length.
MPLS_EXPORT void appendBytes(std::string& out, std::string_view bytes);
/// Reads a length; raises ParseException when it is cut off or more than the bytes that follow.
MPLS_EXPORT std::size_t takeLength(BytesIn& in);
/// Reads bytes behind their length.
inline std::string_view takeBytes(BytesIn& in) { return in.takeBytes(takeLength(in)); }

/// Appends one operation.
MPLS_EXPORT void appendRecord(std::string& out, const LogRecord& record);
/// Reads one; raises ParseException when it is damaged.
MPLS_EXPORT LogRecord takeRecord(BytesIn& in);
/// Raises ParseException unless the bytes are whole operations with each child ended. Costs a walk
/// over the operations.
MPLS_EXPORT void checkRecords(std::string_view bytes);

}  // namespace Forma
