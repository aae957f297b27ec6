#include "platform/forma/AttributeLog.h"

namespace Forma {

void appendLength(std::string& out, std::size_t length) {
  for (; length >= 0x80; length >>= 7) out.push_back(static_cast<char>(length | 0x80));
  out.push_back(static_cast<char>(length));
}

void appendBytes(std::string& out, std::string_view bytes) {
  appendLength(out, bytes.size());
  out.append(bytes);
}

std::size_t takeLength(BytesIn& in) {
  std::uint64_t length = 0;
  for (unsigned shift = 0;; shift += 7) {
    const std::uint64_t group = in.take(1);
    if (shift > 28) in.fail("a length of at most 32 bits");
    length |= (group & 0x7f) << shift;
    if (group < 0x80) break;
  }
  if (length > in.rest().size()) in.fail("as many bytes as announced");
  return static_cast<std::size_t>(length);
}

void appendRecord(std::string& out, const LogRecord& record) {
  out.push_back(static_cast<char>(record.op));
  if (record.op == LogOp::end) return;
  out.push_back(static_cast<char>(record.member));
  appendBytes(out, record.key);
  if (record.op != LogOp::erase) appendBytes(out, record.value);
}

LogRecord takeRecord(BytesIn& in) {
  LogRecord record;
  const std::uint64_t op = in.take(1);
  if (op < static_cast<std::uint64_t>(LogOp::put) || op > static_cast<std::uint64_t>(LogOp::end))
    in.fail("an operation");
  record.op = static_cast<LogOp>(op);
  if (record.op == LogOp::end) return record;
  record.member = static_cast<std::uint8_t>(in.take(1));
  record.key = takeBytes(in);
  if (record.op != LogOp::erase) record.value = takeBytes(in);
  return record;
}

void checkRecords(std::string_view bytes) {
  BytesIn in(bytes);
  unsigned depth = 0;
  while (!in.atEnd()) {
    const LogOp op = takeRecord(in).op;
    if (op == LogOp::create || op == LogOp::renew) {
      if (++depth > logDepthLimit) in.fail("children nested less deeply");
    } else if (op == LogOp::end && depth-- == 0) {
      in.fail("a child to end");
    }
  }
  if (depth != 0) in.fail("the end of a child");
}

}  // namespace Forma
