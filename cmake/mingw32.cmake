set(PYLON_MINGW_TRIPLE i686-w64-mingw32)
# The x87 unit keeps more digits than a double has, so that a date and what its text reads back as
# would differ. Every processor that Windows 10 runs on has SSE2.
# GCC 12 makes one function of a member and a free one with the same body, although the member takes
# its argument off the stack here and the free one leaves it to the caller.
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -fno-ipa-icf-functions")
include("${CMAKE_CURRENT_LIST_DIR}/mingw.cmake")
