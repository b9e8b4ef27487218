#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "Settings.h"

namespace pylon::palm {

// What HotSync's manager does with the registered conduits. Each prints what happens line by line,
// and raises SuiteError when it can't begin.
using PrintLine = std::function<void(std::u16string_view line)>;

// A whole session: every conduit in its order. Whether all went well; a conduit that fails is
// reported in the session's log, and the next one runs.
bool PlayHotSync(const Settings& settings, const PrintLine& print);

void ConfigureConduit(uint32_t creator, const Settings& settings, const PrintLine& print);
// The manager's own dialog for what to do at the next sync.
void CfgConduit(uint32_t creator, const Settings& settings, const PrintLine& print);
void ShowConduitInfo(uint32_t creator, const Settings& settings, const PrintLine& print);

// Whether a session runs on this PC.
bool IsSessionRunning();
// Answers, for a short time, programs that create the suite's objects while no session runs.
void RefuseObjects();

}  // namespace pylon::palm
