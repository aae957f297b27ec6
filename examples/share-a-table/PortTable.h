/// One row for each port, in a table that one process writes and any number read.
#pragma once

#include <cstdlib>
#include <string>

#include "platform/netbase/IntfId.h"
#include "platform/tarn/FormaTarnMap.h"

namespace Example {

/// The first field of a row is its key. Fields are flat: no pointers, no strings of any length.
class PortCounters {
  FORMA_VALUE(Example::PortCounters, key, packets, bytes)
  FORMA_FIELD(Netbase::IntfId, key)
  FORMA_FIELD(std::int64_t, packets)
  FORMA_FIELD(std::int64_t, bytes)
 public:
  PortCounters() = default;
  PortCounters(Netbase::IntfId port, std::int64_t packets, std::int64_t bytes)
      : key_(port), packets_(packets), bytes_(bytes) {}
};

/// The entity whose member the table is.
class PortStatus : public Forma::NamedEntity {
  FORMA_ENTITY(Example::PortStatus, Forma::NamedEntity, port)
  FORMA_TABLE(Netbase::IntfId, PortCounters, port, newPort, onPort)

 public:
  class NotifieeConst : public Forma::NotifieeOf<PortStatus> {
   public:
    /// The row at `key` came, went or was written again.
    virtual void onPort(const Netbase::IntfId& /*key*/) {}
    /// Look at the whole table.
    virtual void onPort() {}
  };
  using NamedEntity::NamedEntity;
};

FORMA_FACTORY(portStatusFactory, PortStatus, Forma::Name)

/// The directory of the table.
inline std::string directoryPath() {
  const char* const run = std::getenv("MPLS_RUN");
  return std::string(run ? run : "/run/mpls") + "/ports";
}

}  // namespace Example
