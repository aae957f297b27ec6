// counter-reader: prints each row that comes, changes or goes, until SIGINT or SIGTERM. It needs no
// writer to start, and none to read on.
#include <signal.h>

#include <cstdio>

#include "PortTable.h"
#include "platform/tarn/ReaderDirectory.h"

class Printer : public Example::PortStatus::NotifieeConst {
 public:
  using NotifieeConst::onPort;
  void onPort(const Netbase::IntfId& key) override {
    Example::PortCounters row;
    if (notifier()->portFind(key, &row))
      std::printf("%s: %lld packets, %lld bytes\n", key.stringValue().charPtr(),
                  static_cast<long long>(row.packets()), static_cast<long long>(row.bytes()));
    else std::printf("%s: gone\n", key.stringValue().charPtr());
  }
};

int main() {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  Kiln::EventLoop loop;
  for (const int signo : {SIGINT, SIGTERM}) loop.signalIs(signo, [&](int) { loop.stop(); });
  const auto report = [](const std::string& text) { std::fprintf(stderr, "%s\n", text.c_str()); };
  Tarn::ReaderDirectory directory(loop, Example::directoryPath(), report);
  const auto ports = Example::portStatusFactory("ports");
  Printer printer;
  printer.notifierIs(ports);
  FormaTarn::attachReader(*ports, directory);  // tells the rows that are there
  loop.run();
}
