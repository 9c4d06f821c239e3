#pragma once

namespace vorn::app {

/// The program from its start to its end. Returns the exit status: 0 also if the program was already running
/// and agreed to show its panel; 1 without a display, if the program's name on the bus has an owner that does
/// not answer or refuses, and if the session bus of the start ends. In the last case the session can start
/// the program again.
///
///   started by             another runs        alone
///   a person               it shows its panel  starts, panel hidden
///   the login launcher     nothing             starts, panel hidden
///   the bus, open-page     -                   opens the page and ends, unless
///                                              more than pages was asked for
///   the bus, show-devices  -                   starts, panel shown
///   the bus, otherwise     -                   starts, panel hidden
///
/// Later requests from the bus open a page or show the panel.
int RunProgram(int& argc, char** argv);

}  // namespace vorn::app
