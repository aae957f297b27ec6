#include "agents/common/Version.h"

#include "mpls/types/Version.h"
#include "platform/centrum/Protocol.h"
#include "platform/tarn/Format.h"

namespace Agents {

std::string versionText(const std::string& program) {
  return program + " " MPLS_VERSION "\nAPI " + std::string(Mpls::libraryVersion()) +
         "\ntable layout " + std::to_string(Tarn::layoutVersion) + "\nreplication protocol " +
         std::to_string(Centrum::protocolVersion) + "\nJSON shape " + std::to_string(jsonShape);
}

}  // namespace Agents
