#include "agents/common/Advice.h"

namespace Agents {

std::string adviceFor(const std::error_code& code, const std::string& option) {
  const std::string another = "choose another " + option;
  if (code == std::errc::address_in_use) return "; end that one, or " + another;
  if (code == std::errc::permission_denied || code == std::errc::operation_not_permitted ||
      code == std::errc::read_only_file_system)
    return "; run it as a user that may write there, or " + another;
  if (code == std::errc::no_space_on_device) return "; make room there, or " + another;
  return "";
}

}  // namespace Agents
