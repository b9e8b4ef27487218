#pragma once

#include <string_view>

namespace pylon {

// A key of Pylon.ini. Code that reads or writes one names it by the constant below; the two arrays
// are the rows of README.md's tables, in their order, which a test compares.
struct SettingsKey {
  std::u16string_view name;
  // In the words and the Markdown of README.md.
  std::string_view meaning;
  std::string_view without_it;
};

namespace settings {

// The sections of Pylon itself; every other section is a conduit's.
inline constexpr std::u16string_view kGeneralSection = u"General";
inline constexpr std::u16string_view kProgramSection = u"Pylon";
bool IsProgramSection(std::u16string_view name);  // in any case

// Of a conduit.
inline constexpr SettingsKey kClassId = {u"ClassID", "the component's class name, library.class",
                                         "the conduit can't run"};
inline constexpr SettingsKey kPcPath = {
    u"PCPath", "folder of the PC-side files, unless the component names one",
    "a folder beside the program, named like the application id"};
inline constexpr SettingsKey kCePath = {u"CePath", "folder on a Pocket PC",
                                        "`\\My Documents\\` and the application id"};
inline constexpr SettingsKey kPpcInstall = {u"PPCInstall",
                                            "CAB files for a Pocket PC, separated by commas, in "
                                            "the folder beside the program that is named "
                                            "like the application id",
                                            "nothing to install"};
inline constexpr SettingsKey kPalmInstall = {
    u"PalmInstall",
    "applications and databases for a Palm handheld (PRC, PDB), separated by commas, in the same "
    "folder",
    "nothing to install"};
inline constexpr SettingsKey kShowLog = {u"ShowLog", "`1` shows the log while the conduit runs",
                                         "no log window"};
inline constexpr SettingsKey kConduitKeys[] = {kClassId,    kPcPath,      kCePath,
                                               kPpcInstall, kPalmInstall, kShowLog};

// Of Pylon itself, in the section Pylon.
inline constexpr SettingsKey kSimulatedPocketPc = {
    u"SimulatedPocketPC", "the simulated Pocket PC's `rapi.dll`, used in place of ActiveSync's",
    "ActiveSync's own"};
inline constexpr SettingsKey kSimulatedPalm = {
    u"SimulatedPalm", "the simulated Palm handheld's program, which the setup window offers",
    "not offered"};
inline constexpr SettingsKey kProgramKeys[] = {kSimulatedPocketPc, kSimulatedPalm};

}  // namespace settings
}  // namespace pylon
