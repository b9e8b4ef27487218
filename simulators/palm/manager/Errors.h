#pragma once

namespace palm {

// Results of the three libraries, with their published numbers.

constexpr int kDone = 0;

constexpr int kIndexOutOfRange = -1001;
constexpr int kUnableToDelete = -1002;
constexpr int kNoConduit = -1003;
constexpr int kCreatorTaken = -1005;
constexpr int kRegistryAccess = -1006;
constexpr int kBufferTooSmall = -1010;
constexpr int kValueNotFound = -1011;
constexpr int kInvalidCreator = -1012;
constexpr int kInvalidPointer = -1013;
constexpr int kInvalidType = -1015;

constexpr int kNoUsers = -500;
constexpr int kInvalidUserIndex = -501;
constexpr int kUserBufferTooSmall = -502;
constexpr int kCopyFailed = -504;
constexpr int kInvalidUser = -505;
constexpr int kInvalidFileName = -506;

constexpr long kHotSyncFailure = 0x10000003;

}  // namespace palm
