/// The storage at a path whose directory may come late, go, and be another one then. Private to
/// platform/tarn.
///
/// Thread    one.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/tarn/Storage.h"

namespace Tarn {

class CurrentStorage final : public Storage {
 public:
  explicit CurrentStorage(std::string path) : path_(std::move(path)) {}

  /// What all goes to from now on.
  void currentIs(std::shared_ptr<Storage> storage) { current_ = std::move(storage); }
  bool isThere() const { return current_ != nullptr; }
  /// Why there is none: what open() then says.
  void problemIs(int error, std::string text) {
    error_ = error;
    text_ = std::move(text);
  }
  /// Called when something cannot be made or found, as the directory may be gone; whether there is
  /// another now, to try again.
  void onGoneIs(std::function<bool()> handler) { onGone_ = std::move(handler); }

  std::string name() const override { return path_; }
  Mapping create(std::string_view file, std::size_t size,
                 const std::function<void(std::byte*)>& fill) override;
  Opened open(std::string_view file, Access access) const override;
  void remove(std::string_view file) override;
  bool isThere(std::string_view file, const Mapping& mapping) const override;
  bool isDamaged(const Mapping& mapping) const override;
  std::vector<std::string> files() const override;
  std::string moveAside(const std::vector<std::string>& names) override;

 private:
  const std::string path_;
  std::shared_ptr<Storage> current_;
  int error_ = 0;
  std::string text_;
  std::function<bool()> onGone_;
};

}  // namespace Tarn
