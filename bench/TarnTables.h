/// What all measurements of our tables have in common.
#pragma once

#include <cstddef>
#include <string>

#include "platform/tarn/Format.h"

namespace Bench {

/// Changes of one turn of a writer's loop that is busy.
constexpr std::size_t tarnChangesPerTurn = 1'000;

/// A table "rows" whose rows have that many bytes, the first 8 of them the key.
Tarn::TableShape tarnShape(std::size_t rowBytes);

/// For a measurement in which nothing may go wrong: ends the process.
void failOnReport(const std::string& message);

}  // namespace Bench
