set(PYLON_MINGW_TRIPLE i686-w64-mingw32)
# The x87 unit keeps more digits than a double has, so a date would differ from the date that its text
# reads back as. Every processor that Windows 10 runs on has SSE2.
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
include("${CMAKE_CURRENT_LIST_DIR}/mingw.cmake")
