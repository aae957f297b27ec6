/// The errors of the runtime. Every one derives from Forma::Exception, so that an agent's loop can
/// tell them from those of other libraries.
///
/// Thread    any.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/Export.h"

namespace Forma {

/// Base of all errors that this library raises.
class MPLS_EXPORT Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~Exception() override;
};

/// A value breaks a declared constraint; the text names type, field and bound.
class MPLS_EXPORT RangeException : public Exception {
 public:
  using Exception::Exception;
  ~RangeException() override;
};

/// A text or a byte stream cannot be read; the text says what was expected and where.
class MPLS_EXPORT ParseException : public Exception {
 public:
  using Exception::Exception;
  ~ParseException() override;
};

/// A null pointer where an object is required.
class MPLS_EXPORT NullException : public Exception {
 public:
  using Exception::Exception;
  ~NullException() override;
};

/// An internal rule is broken; what() gives place, condition and message.
class MPLS_EXPORT InternalException : public Exception {
 public:
  using Exception::Exception;
  ~InternalException() override;
};

/// No type, field or member of that name, or one that does not offer the operation.
class MPLS_EXPORT NameException : public Exception {
 public:
  using Exception::Exception;
  ~NameException() override;
};

/// The right to do that is missing; the text names what is to be changed and who may.
class MPLS_EXPORT AccessException : public Exception {
 public:
  using Exception::Exception;
  ~AccessException() override;
};

[[noreturn]] MPLS_EXPORT void throwAccessException(std::string_view message);
[[noreturn]] MPLS_EXPORT void throwRangeException(std::string_view message);
[[noreturn]] MPLS_EXPORT void throwParseException(std::string_view message);
[[noreturn]] MPLS_EXPORT void throwNullException(std::string_view message);
[[noreturn]] MPLS_EXPORT void throwNameException(std::string_view message);

/// "null _x parameter to mutator for T::x not allowed": a mutator was handed a null entity.
[[noreturn]] MPLS_EXPORT void throwNullParameter(std::string_view type, std::string_view member);

}  // namespace Forma
