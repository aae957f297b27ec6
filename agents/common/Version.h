/// What programs say of their version.
#pragma once

#include <string>

namespace Agents {

/// The shape of the JSON that programs print. Members may be added at any time; one that goes, or
/// means something else, raises it.
inline constexpr unsigned jsonShape = 2;

/// What --version prints: the program's version, then the four that tell what it works with. Equal
/// table layouts and equal protocols let programs of different versions work together.
std::string versionText(const std::string& program);

}  // namespace Agents
