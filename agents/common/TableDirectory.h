/// The directories of tables that an agent writes.
#pragma once

#include <string>

#include "agents/common/Options.h"
#include "platform/tarn/FormaTarnMap.h"
#include "platform/tarn/WriterDirectory.h"

namespace Agents {

/// That at `path`: written by this agent, of those whom the options name.
inline Tarn::WriterDirectory::Options directoryOptions(const CommonOptions& agent,
                                                       const TableOptions& who,
                                                       const std::string& path) {
  return {path, who.owner, who.group, who.mode, agent.name};
}

/// The entity, attached before anybody looks at its rows.
template <class Entity>
Forma::Ptr<Entity> attached(Forma::Ptr<Entity> entity, Tarn::WriterDirectory& directory) {
  FormaTarn::attachWriter(*entity, directory);
  return entity;
}

}  // namespace Agents
