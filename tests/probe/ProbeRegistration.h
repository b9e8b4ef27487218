#pragma once

namespace pylon::testing {

// Registers the classes of probe.dll in the current folder for the machine:
// "PylonProbe.Conduit" and "PylonProbe.Stranger". Raises std::system_error.
void RegisterProbe();

}  // namespace pylon::testing
