#include <gtest/gtest.h>

#include "base/Com.h"

namespace pylon {
namespace {

TEST(ErrorNumber, OfAnHresultIsTheOneThatBasicShows) {
  const struct {
    HRESULT result;
    int32_t number;
  } cases[] = {
      {static_cast<HRESULT>(0x800A0005), 5},
      {static_cast<HRESULT>(0x800A03E9), 1001},
      {DISP_E_TYPEMISMATCH, 13},
      {DISP_E_OVERFLOW, 6},
      {DISP_E_BADINDEX, 9},
      {E_INVALIDARG, 5},
      {E_OUTOFMEMORY, 7},
      {E_NOTIMPL, 445},
      {E_NOINTERFACE, 430},
      {DISP_E_MEMBERNOTFOUND, 438},
      {DISP_E_PARAMNOTOPTIONAL, 449},
      {DISP_E_BADPARAMCOUNT, 450},
      {E_FAIL, -2147467259},
      {static_cast<HRESULT>(0x80041234), -2147216844},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(com::ErrorNumberOf(c.result), c.number) << std::hex << c.result;
  }
}

}  // namespace
}  // namespace pylon
