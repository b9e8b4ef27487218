// hsapi.dll: HotSync is taken to run, and to read its conduits again when it is told to.

#include "Call.h"

extern "C" LONG WINAPI HsRefreshConduitInfo() {
  return palm::Answer("HsRefreshConduitInfo", "", [] { return 0; });
}
