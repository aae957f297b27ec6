/// Completion of the command line, made of the description of its options.
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>

namespace MplsCtl {

/// A script for bash: objects, verbs, options, and the values of options that are files.
void printBashCompletion(std::ostream& out, const CLI::App& app);

}  // namespace MplsCtl
