/// What a new dynamic range would do to the blocks that are given out: a dry run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "mpls/entities/ApiStatus.h"
#include "mpls/labelmgr/LabelManagerClient.h"

namespace Mpls {

/// What becomes of one request.
enum class LabelFate : std::uint8_t {
  keeps,  ///< has its block, before and after
  moves,  ///< gets another block
  loses,  ///< has a block and is to wait, for a number or for its client to be there
  gains,  ///< waits now and gets a block
  waits   ///< waits, before and after
};

/// "keeps", "moves" and so on.
MPLS_EXPORT std::string_view labelFateText(LabelFate fate);

struct MPLS_EXPORT LabelPlan {
  struct Step {
    Forma::Name client;
    Forma::Name id;
    /// The one it has now; the default block for none.
    LabelBlock block;
    LabelFate fate;
  };

  /// The range as it would be published.
  LabelRange range;
  /// How many whole blocks it has.
  std::uint32_t blocks = 0;
  /// One for each request that has a block or is open.
  std::vector<Step> steps;

  std::size_t count(LabelFate fate) const;
};

/// The plan for the range `next`, (0, 0) for the default one: what LabelManagerSm would do with the
/// blocks in `status` and the requests in `requests` if MPLS routing is on and the numbers that
/// were released had their rest.
///
/// When there are more requests than blocks the machine serves them in the order in which its
/// process holds them, which a copy in another process need not share: then the plan is right about
/// how many wait, and about which only in the process of the machine. Clients with blocks and
/// without requests are taken for such as are still to be mounted. Raises RangeException for a
/// range that was never set. Thread: that of the entities; nothing is changed.
MPLS_EXPORT LabelPlan labelPlan(const LabelRange& next, const Api::Status& status,
                                const LabelManagerClient& requests);

}  // namespace Mpls
