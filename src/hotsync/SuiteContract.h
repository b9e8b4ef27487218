#pragma once

#include "base/AutomationError.h"
#include "base/Com.h"

// What Pylon takes for granted about HotSync's COM sync suite, all in one place. Statements
// marked "assumed" come from no public source, and no real suite has confirmed them. Everything
// else of the suite (enums, IPDClientNotify) is read from its type library when that is registered.

namespace pylon::suite {

// The suite's type library, version 1.0.
inline constexpr GUID kLibraryId = {
    0x6FD7A7A0, 0xFA1F, 0x11D2, {0xAC, 0x32, 0x00, 0x60, 0x08, 0xE3, 0xF0, 0xA2}};
inline constexpr WORD kLibraryMajor = 1;
inline constexpr WORD kLibraryMinor = 0;

inline constexpr wchar_t kDatabaseQuery[] = L"PDDirect.PDDatabaseQuery";
inline constexpr wchar_t kSystemAdapter[] = L"PDDirect.PDSystemAdapter";
inline constexpr char16_t kRecordAdapter[] = u"PDDirect.PDRecordAdapter";

// The members of the suite's objects, each by its place in the names behind it.
struct DatabaseQuery {
  enum Member {
    kOpenRecordDatabase,
    kCreateRecordDatabase,
    kRemoveDatabase,
    kReadDbNameList,
    kReadDbInfoByName,
    kCount
  };
  static constexpr const wchar_t* kNames[kCount] = {
      L"OpenRecordDatabase",    // (Name, AdapterProgID, Mode)
      L"CreateRecordDatabase",  // assumed: (Name, AdapterProgID, CreatorId, TypeId), ids as Longs
      L"RemoveDatabase",        // assumed: (Name)
      L"ReadDbNameList",        // (InRAM)
      L"ReadDbInfoByName",      // assumed: (Name), gives DatabaseInfo
  };
};
struct DatabaseInfo {  // assumed, all of it
  enum Member { kCreatorId, kTypeId, kCreateDate, kModifyDate, kCount };
  static constexpr const wchar_t* kNames[kCount] = {L"CreatorId", L"TypeId", L"CreateDate",
                                                    L"ModifyDate"};
};
struct SystemAdapter {
  enum Member { kDateTime, kHotSyncInfo, kUserInfo, kAddLogEntry, kCount };
  static constexpr const wchar_t* kNames[kCount] = {L"DateTime", L"PDHotSyncInfo", L"PDUserInfo",
                                                    L"AddLogEntry"};
};
struct HotSyncInfo {  // of the conduit that runs
  enum Member { kCreatorId, kPathName, kCount };
  static constexpr const wchar_t* kNames[kCount] = {
      L"CreatorId",  // assumed: a Long
      L"PathName",   // its folder below the HotSync user's; that its name comes last is assumed
  };
};
struct UserInfo {
  enum Member { kUserName, kCount };
  static constexpr const wchar_t* kNames[kCount] = {L"UserName"};
};
// Indexes are 0-based. A read that finds nothing answers an empty value (assumed); EOF is True
// then. What comes by reference is passed as Longs, the unique id as a VARIANT (assumed).
struct RecordAdapter {
  enum Member {
    kRecordCount,
    kIterationIndex,
    kEof,
    kReadByIndex,
    kReadById,
    kReadNextModified,
    kWrite,
    kRemove,
    kRemoveSet,
    kResetAllModifiedFlags,
    kReadAppInfoBlock,
    kWriteAppInfoBlock,
    kReadSortInfoBlock,
    kWriteSortInfoBlock,
    kCount
  };
  static constexpr const wchar_t* kNames[kCount] = {
      L"RecordCount", L"IterationIndex", L"EOF",
      L"ReadByIndex",       // (Index, UniqueId, Category, Attributes), all by reference
      L"ReadById",          // assumed: (UniqueId, Index, Category, Attributes), all by reference
      L"ReadNextModified",  // as ReadByIndex, from IterationIndex on
      // (UniqueId, Category, Attributes, Data); assumed: a new record's id comes back in UniqueId
      L"Write", L"Remove", L"RemoveSet", L"ResetAllModifiedFlags", L"ReadAppInfoBlock",
      L"WriteAppInfoBlock",
      L"ReadSortInfoBlock",   // assumed
      L"WriteSortInfoBlock",  // assumed
  };
};

// The form of a unique id before any has been read, assumed: bytes, the highest first. One that was
// read goes back in the form in which it came.
inline constexpr size_t kIdBytes = 4;

// A number that has a name in the suite's library.
struct Constant {
  const wchar_t* name;
  int32_t value;         // where no library is registered
  bool assumed = false;  // the name: in a library without it, the value counts
};
// Or-ed in OpenRecordDatabase. Values assumed: those of the handheld's own protocol.
inline constexpr Constant kAccessModes[] = {
    {L"eRead", 0x80}, {L"eWrite", 0x40}, {L"eShowSecret", 0x10}};
// The questions of GetConduitInfo. Values assumed.
enum ConduitInfo { kConduitName, kMfcVersion, kDefaultAction, kConduitVersion };
inline constexpr Constant kConduitInfos[] = {{L"eConduitName", 0},
                                             {L"eMfcVersion", 1},
                                             {L"eDefaultAction", 2},
                                             {L"eConduitVersion", 3, true}};
// Answers to it: that no MFC is used, assumed; and the fast sync.
inline constexpr int32_t kMfcNotUsed = 0x10000000;
inline constexpr int32_t kFastSync = 0;

// For RemoveSet. The name that the library has for it is not public.
inline constexpr int32_t kAllRecords = 0;

// How failures of the suite's members look, assumed except for those of COM itself.
enum class Failure { kOther, kLost, kRefused, kMemoryFull, kNotThere, kExists };
struct KnownFailure {
  HRESULT result;
  Failure failure;
};
inline constexpr HRESULT BasicError(ErrorNumber number) {
  return static_cast<HRESULT>(0x800A0000U + static_cast<unsigned>(number));
}
// The system's errors as HRESULT_FROM_WIN32 makes them, which is not a constant expression.
inline constexpr HRESULT SystemError(int number) {
  return static_cast<HRESULT>(0x80070000U + static_cast<unsigned>(number));
}
inline constexpr KnownFailure kFailures[] = {
    {SystemError(ERROR_CONNECTION_ABORTED), Failure::kLost},
    {BasicError(ErrorNumber::kDeviceIo), Failure::kLost},
    {E_ACCESSDENIED, Failure::kRefused},
    {STG_E_ACCESSDENIED, Failure::kRefused},
    {BasicError(ErrorNumber::kPermissionDenied), Failure::kRefused},
    {E_OUTOFMEMORY, Failure::kMemoryFull},
    {STG_E_MEDIUMFULL, Failure::kMemoryFull},
    {BasicError(ErrorNumber::kOutOfMemory), Failure::kMemoryFull},
    {STG_E_FILENOTFOUND, Failure::kNotThere},
    {DISP_E_BADINDEX, Failure::kNotThere},
    {BasicError(ErrorNumber::kFileNotFound), Failure::kNotThere},
    {STG_E_FILEALREADYEXISTS, Failure::kExists},
    {BasicError(ErrorNumber::kFileExists), Failure::kExists},
    // COM's own: the server is alive and only busy, or was never reached, so the link is not lost.
    {RPC_E_CANTCALLOUT_ININPUTSYNCCALL, Failure::kOther},
    {RPC_E_CANTCALLOUT_INASYNCCALL, Failure::kOther},
    {RPC_E_CALL_REJECTED, Failure::kOther},
    {RPC_E_SERVERCALL_RETRYLATER, Failure::kOther},
    {CO_E_OBJNOTCONNECTED, Failure::kLost},
};

}  // namespace pylon::suite
