#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "appforge/RunningSync.h"
#include "appforge/UserSettings.h"

namespace pylon::testing {

// A run over HotSync, as AppforgeAppSettings sees it.
struct HandheldRun final : RunningSync {
  explicit HandheldRun(std::shared_ptr<PDBFileSystem> of) : files(std::move(of)) {}
  eDeviceType DeviceType() const override { return dtHotSync; }
  std::shared_ptr<PDBFileSystem> FileSystem() const override { return files; }
  std::shared_ptr<PDBFileSystem> files;
};

// The store of a PC run, which no such run asks.
struct NoUserSettings final : UserSettings {
  std::optional<std::u16string> Read(std::u16string_view, std::u16string_view,
                                     std::u16string_view) override {
    return std::nullopt;
  }
  void Write(std::u16string_view, std::u16string_view, std::u16string_view,
             std::u16string_view) override {}
  bool Delete(std::u16string_view, std::u16string_view, std::u16string_view) override {
    return false;
  }
};

}  // namespace pylon::testing
