#include "base/Win32.h"
#include "startup/Program.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
  return pylon::Program().Run(pylon::FromWide(::GetCommandLineW()));
}
