#pragma once

// The one way in which our code includes the type library's generated header.

#include "base/Win32.h"

#include <oaidl.h>
#include <ole2.h>
#include <oleauto.h>

#include <Pylon.h>
