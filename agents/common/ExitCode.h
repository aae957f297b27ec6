/// What the exit codes of agents and tools mean.
#pragma once

namespace Agents {

constexpr int exitGood = 0;
constexpr int exitPartRefused = 1;  ///< some of the input was refused, the rest counts
constexpr int exitProblem =
    1;                        ///< of tools: problems were found, or what was asked for is not there
constexpr int exitUsage = 2;  ///< wrong usage, a file that cannot be read, output that cannot
                              ///< be written
constexpr int exitDatabase = 3;  ///< the database refused something, or is not there in time;
                                 ///< or tables that are to be read
constexpr int exitFault = 4;     ///< a fault of the program itself, or of what it reads: damage
constexpr int exitInterrupted = 130;  ///< of tools that follow: by SIGINT
constexpr int exitTerminated = 143;   ///< the same, by SIGTERM

}  // namespace Agents
