// The record adapter, member by member, called by name from another process.

#include "tests/palm/SuiteSession.h"

namespace pylon::palm::testing {
namespace {

constexpr int32_t kRead = 0x80, kWrite = 0x40;

class AdapterTest : public SuiteSession {
 protected:
  AdapterTest() {
    AddDatabase("Test", {{0x41, "one"}, {0x10, "two"}, {0x02, "three"}, {0x53, "four"}});
  }
};

TEST_F(AdapterTest, ReadsInOrderByIndexAndById) {
  EXPECT_EQ(Sync("",
                 [] {
                   const Late adapter = Open(L"Test");
                   EXPECT_EQ(adapter.Call(L"RecordCount").Number(), 4);
                   EXPECT_EQ(Read(adapter, L"ReadNext"), "0:1:1:64:one");
                   EXPECT_EQ(Read(adapter, L"ReadNext"), "1:2:0:16:two");
                   EXPECT_EQ(Read(adapter, L"ReadNext"), "2:3:2:0:three");
                   EXPECT_EQ(Read(adapter, L"ReadNext"), "3:4:3:80:four");
                   EXPECT_EQ(adapter.Call(L"EOF").Number(), 0) << "only after a read past the end";
                   EXPECT_EQ(Read(adapter, L"ReadNext"), "none");
                   EXPECT_EQ(adapter.Call(L"EOF").Number(), -1);
                   EXPECT_EQ(adapter.Put(L"IterationIndex", 1).result, "ok");
                   EXPECT_EQ(adapter.Call(L"EOF").Number(), 0);
                   EXPECT_EQ(Read(adapter, L"ReadNextModified"), "3:4:3:80:four");
                   EXPECT_EQ(adapter.Call(L"IterationIndex").Number(), 4);
                   EXPECT_EQ(Read(adapter, L"ReadNextModified"), "none");
                   EXPECT_EQ(ReadAt(adapter, 2), "2:3:2:0:three");
                   EXPECT_EQ(ReadAt(adapter, 4), "none");
                   EXPECT_EQ(adapter.Call(L"EOF").Number(), -1);
                   EXPECT_EQ(ReadAt(adapter, -1), "none");
                   EXPECT_EQ(ReadById(adapter, 2), "1:2:0:16:two");
                   EXPECT_EQ(ReadById(adapter, 9), "none");
                   EXPECT_EQ(adapter.Call(L"IterationIndex").Number(), 4) << "as ReadNext left it";
                   EXPECT_EQ(adapter.Put(L"IterationIndex", -1).result, "80070057");
                 }),
            0);
  EXPECT_EQ(LogLines("ReadNext ").front(),
            "ReadNext \"Test\" from=0 -> ok index=0 id=1 category=1 attributes=64 bytes=3");
  EXPECT_EQ(LogLines("Close"), Lines{"Close \"Test\" -> ok"});
}

TEST_F(AdapterTest, WritesAndRemoves) {
  EXPECT_EQ(Sync("",
                 [] {
                   const Late adapter = Open(L"Test");
                   Variable fresh;
                   EXPECT_EQ(adapter.Call(L"Write", fresh.Ref(), 5, 0x40, ByteArray("five")).result,
                             "ok");
                   EXPECT_EQ(fresh.AsBytes(), std::string("\0\0\0\5", 4));
                   EXPECT_EQ(adapter.Call(L"Write", fresh.Ref(), 6, 0, ByteArray("FIVE")).result,
                             "ok");
                   EXPECT_EQ(ReadAt(adapter, 4), "4:5:6:0:FIVE");
                   EXPECT_EQ(adapter.Call(L"Write", 1, 0, 0x10, ByteArray("")).result, "ok");
                   EXPECT_EQ(ReadById(adapter, 1), "0:1:0:16:");
                   EXPECT_EQ(adapter.Call(L"Write", 99, 0, 0, ByteArray("x")).result, "80030002");
                   EXPECT_EQ(adapter.Call(L"Write", 1, 16, 0, ByteArray("x")).result, "80070057");
                   EXPECT_EQ(adapter.Call(L"Write", 1, 0, 0, u"text").result, "800A000D");
                   EXPECT_EQ(adapter.Call(L"Write", ByteArray("abc"), 0, 0, ByteArray("x")).result,
                             "80070057");
                   EXPECT_EQ(adapter.Call(L"Write", 1, 0, 0).result, "8002000E");
                   EXPECT_EQ(adapter.Call(L"Remove", 2).result, "ok");
                   EXPECT_EQ(adapter.Call(L"Remove", 2).result, "80030002");
                   EXPECT_EQ(ReadAt(adapter, 1), "1:3:2:0:three");
                 }),
            0);
  EXPECT_EQ(FileRecords("Test"), (Lines{"1:16:", "3:0:three", "4:80:four", "5:0:FIVE"}));
}

TEST_F(AdapterTest, TheModeDecidesWhatIsAllowed) {
  EXPECT_EQ(Sync("",
                 [] {
                   const Late reader = Open(L"Test", kRead);
                   EXPECT_EQ(Read(reader, L"ReadNext"), "0:1:1:64:one");
                   EXPECT_EQ(Read(reader, L"ReadNext"), "2:3:2:0:three") << "two is secret";
                   EXPECT_EQ(ReadAt(reader, 1), "none");
                   EXPECT_EQ(ReadById(reader, 2), "none");
                   EXPECT_EQ(reader.Call(L"RecordCount").Number(), 4);
                   EXPECT_EQ(reader.Call(L"Write", 1, 0, 0, ByteArray("x")).result, "80070005");
                   EXPECT_EQ(reader.Call(L"Remove", 1).result, "80070005");
                   EXPECT_EQ(Open(L"Test", kRead | kWrite).Call(L"Remove", 1).result, "ok");
                 }),
            0);
}

}  // namespace
}  // namespace pylon::palm::testing
