#pragma once

namespace vorn::app {

/// The program from its start to its end; returns the exit status: 0 also when
/// another one of us runs already and was asked to show its panel, 1 where
/// there is no display, and when the session bus ends that was there at the
/// start: whoever keeps the session running can start the program anew.
///
///   started by             another runs        alone
///   a person               it shows its panel  starts, panel hidden
///   the login launcher     nothing             starts, panel hidden
///   the bus, open-page     -                   opens the page and ends, unless
///                                              more than pages was asked for
///   the bus, show-devices  -                   starts, panel shown
///   the bus, otherwise     -                   starts, panel hidden
///
/// What the bus brings later opens a page or shows the panel.
int RunProgram(int& argc, char** argv);

}  // namespace vorn::app
