#pragma once

#include "base/Com.h"
#include "base/TaggedValue.h"

namespace pylon::com {

Variant FromTagged(const TaggedValue& value);

// The value of a VARIANT, by value or by reference. What holds no value for a field (empty, null,
// an error, an object, a structure, an array) gives the empty one. Integers that a long can't hold
// and decimals go as their text.
TaggedValue ToTagged(const VARIANT& value);

}  // namespace pylon::com
