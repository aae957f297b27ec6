#include "bench/TableRun.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <filesystem>

namespace Bench {

SharedGate::SharedGate()
    : at_(mmap(nullptr, sizeof(Gate), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
  require(at_ != MAP_FAILED, "mmap");
  new (at_) Gate;
}

SharedGate::~SharedGate() { munmap(at_, sizeof(Gate)); }

double bytesIn(const std::string& folder) {
  double bytes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    struct stat status;
    if (stat(entry.path().c_str(), &status) == 0)
      bytes += static_cast<double>(status.st_blocks) * 512;
  }
  return bytes;
}

}  // namespace Bench
