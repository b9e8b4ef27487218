#include <gtest/gtest.h>

#include <cstring>

#include "tests/palm/TestConduit.h"

int main(int count, char** arguments) {
  if (count > 2 && std::strcmp(arguments[1], "-crash") == 0) {
    return pylon::palm::testing::ServeCrash(arguments[2]);
  }
  ::testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
