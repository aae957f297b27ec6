// counter-writer PORT PACKETS BYTES...: writes a row for each port, and stays until SIGINT or
// SIGTERM. Rows of other ports stay as they are.
#include <signal.h>

#include <cstdio>

#include "PortTable.h"
#include "platform/tarn/WriterDirectory.h"

int main(int argc, char** argv) {
  if (argc % 3 != 1) {
    std::fprintf(stderr, "usage: counter-writer PORT PACKETS BYTES...\n");
    return 2;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  Kiln::EventLoop loop;
  const auto report = [](const std::string& text) { std::fprintf(stderr, "%s\n", text.c_str()); };
  Tarn::WriterDirectory::Options options;
  options.path = Example::directoryPath();
  options.agent = "counter-writer";
  try {
    Tarn::WriterDirectory directory(loop, options, report);
    const auto ports = Example::portStatusFactory("ports");
    FormaTarn::attachWriter(*ports, directory);  // adopts the rows that are there
    std::printf("%zu rows adopted\n", ports->ports());
    for (int i = 1; i < argc; i += 3) {
      const Example::PortCounters row(Netbase::IntfId(argv[i]), std::atoll(argv[i + 1]),
                                      std::atoll(argv[i + 2]));
      if (ports->port(row.key()) != row) ports->portIs(row);  // a row written again is told again
    }
    for (const int signo : {SIGINT, SIGTERM}) loop.signalIs(signo, [&](int) { loop.stop(); });
    loop.run();  // at the end of each turn readers are told of what changed
  } catch (const std::exception& problem) {
    report(problem.what());
    return 2;
  }
}
