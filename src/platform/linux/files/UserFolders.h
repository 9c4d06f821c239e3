#pragma once

#include <filesystem>

namespace vorn {

/// HOME if that is an absolute path, otherwise the folder in the system's list of users. Empty if there is no
/// home folder. Reads the environment: main thread.
[[nodiscard]] std::filesystem::path UserHomeFolder();

/// The user's folder for settings: XDG_CONFIG_HOME if that is an absolute path, otherwise .config in the home
/// folder. Empty if there is no home folder. Reads the environment: main thread.
[[nodiscard]] std::filesystem::path UserConfigFolder();

/// The user's folder for what a program keeps between its runs: XDG_STATE_HOME if that is an absolute path,
/// otherwise .local/state in the home folder. Empty if there is no home folder. Reads the environment: main
/// thread.
[[nodiscard]] std::filesystem::path UserStateFolder();

/// The folder of the running program's file; empty if the system does not say. Any thread.
[[nodiscard]] std::filesystem::path ProgramFolder();

/// The folder where a trial run keeps everything of its own; empty for an installed program. The variable
/// VORN_DEVICE_FINDER_TRIAL names the folder, or is empty to behave as installed. Without the variable, a
/// program that runs from its build folder uses "trial" there, unless the environment keeps it away from the
/// user's own home folder already. Reads the environment: main thread.
[[nodiscard]] std::filesystem::path TrialFolder();

/// Where this program keeps its settings: the folder of the trial run, otherwise vorn-device-finder in
/// UserConfigFolder. Empty if there is no home folder. Reads the environment: main thread.
[[nodiscard]] std::filesystem::path OwnSettingsFolder();

/// The same for what it keeps between its runs, in UserStateFolder.
[[nodiscard]] std::filesystem::path OwnStateFolder();

}  // namespace vorn
