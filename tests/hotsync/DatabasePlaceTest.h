#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "pdb/PDBFileSystem.h"

namespace pylon::testing {

// Where a conduit finds its databases: a folder of the PC, or a handheld. It keeps them, and the
// sync indexes, from one sync to the next.
class DatabasePlace {
 public:
  virtual ~DatabasePlace() = default;
  // The file system of the next sync, for components of the creator "test". The one before has
  // ended by then.
  virtual std::shared_ptr<PDBFileSystem> BeginSync() = 0;
};

struct PlaceKind {
  const char* name;
  std::function<std::unique_ptr<DatabasePlace>()> make;
};

// The behaviour that conduits rely on wherever they run. See where it is instantiated; another
// program adds its places by compiling DatabasePlaceTest.cpp and instantiating the suite itself.
class DatabasePlaceTest : public ::testing::TestWithParam<PlaceKind> {
 protected:
  DatabasePlaceTest() { NextSync(); }

  // Ends the sync and begins the next.
  void NextSync() {
    Failures failures;
    EXPECT_TRUE(!files_ || files_->End(failures));
    files_.reset();
    files_ = place_->BeginSync();
  }
  std::shared_ptr<PDBDatabase> Open(std::u16string_view name = u"Stock") {
    std::shared_ptr<PDBDatabase> database;
    EXPECT_TRUE(files_->OpenDatabase(name, database));
    return database;
  }
  std::shared_ptr<PDBDatabase> Create(std::u16string_view name = u"Stock") {
    std::shared_ptr<PDBDatabase> database;
    EXPECT_TRUE(files_->CreateDatabase(name, database));
    return database;
  }

  std::unique_ptr<DatabasePlace> place_ = GetParam().make();
  std::shared_ptr<PDBFileSystem> files_;
};

inline std::string PlaceName(const ::testing::TestParamInfo<PlaceKind>& info) {
  return info.param.name;
}

}  // namespace pylon::testing
