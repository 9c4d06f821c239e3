"""The command line of the studio."""

import argparse
import os
import signal
import subprocess
import sys
import time

from . import requirements, scenario
from .client import Studio, StudioError, StudioUnavailable

EXIT_UNAVAILABLE = 77
EXIT_USAGE = 2
GRACE = 5.0  # seconds that the command gets to exit after SIGTERM


def parse(arguments):
    parser = argparse.ArgumentParser(
        prog="studio", usage="%(prog)s [OPTION]... -- COMMAND [ARGUMENT]...",
        description="Runs COMMAND in a simulated network with units that play a scenario.",
    )
    parser.add_argument("--scenario", default="default", help="a scenario's file, or the name of one of ours")
    parser.add_argument("--list-scenarios", action="store_true", help="name the scenarios that come with the studio")
    parser.add_argument("--log", metavar="FILE", help="write every request and action to FILE, as JSON lines")
    parser.add_argument("--keep-open", action="store_true", help="go on after the end of the timeline")
    parser.add_argument("--narrate", action="store_true", help="tell what the timeline does, on standard error")
    parser.add_argument("--check", action="store_true", help="only say whether a studio can stand on this machine")
    parser.add_argument("command", nargs=argparse.REMAINDER, help=argparse.SUPPRESS)
    options = parser.parse_args(arguments)
    if options.command[:1] == ["--"]:
        options.command = options.command[1:]
    if not options.command and not options.check and not options.list_scenarios:
        parser.error("a command is missing")
    return options


def list_scenarios():
    for name, path in scenario.available().items():
        built = scenario.build(scenario.read(path))
        length = f"{built.length:g} s" if built.length is not None else "no end"
        print(f"{name:16} {len(built.units):4} units  {length:>7}  {built.title}")
    return 0


def check():
    lacking = requirements.missing()
    for line in lacking:
        print(f"studio: missing: {line}", file=sys.stderr)
    return EXIT_UNAVAILABLE if lacking else 0


class Show:
    """One command that runs while a scenario plays."""

    def __init__(self, studio, options):
        self._studio = studio
        self._options = options
        self._signal = None
        self._told = 0

    def run(self):
        """Returns the exit status of the studio."""
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, self._note_signal)
        streams = [_inherited(number) for number in (0, 1, 2)]
        process = self._studio.popen(self._options.command, *streams)
        self._studio.play()
        while self._signal is None and process.poll() is None and (self._options.keep_open or not self._over()):
            self._narrate()
            time.sleep(0.05)
        self._narrate()
        if process.poll() is not None:
            return _shell_code(process.returncode)
        return self._end(process)

    def _note_signal(self, number, _):
        self._signal = number

    def _over(self):
        return self._studio.length is not None and self._studio.ended()

    def _narrate(self):
        if not self._options.narrate:
            return
        entries = self._studio.log(self._told)
        self._told += len(entries)
        for entry in entries:
            if entry["event"] == "action":
                words = [f"{key} {value}" for key, value in entry.items() if key not in ("t", "event", "do")]
                print(f"studio: {entry['do']}: {', '.join(words)}", file=sys.stderr)

    def _end(self, process):
        """Ends the command, because the timeline ended or the studio got a signal."""
        sent = signal.SIGTERM
        if self._signal != signal.SIGINT:  # the terminal's interrupt has already reached the command
            process.send_signal(sent)
        elif _wait(process, GRACE) is None:
            process.send_signal(sent)
        if _wait(process, GRACE) is None:
            print(f"studio: the command did not end within {GRACE:g} s of SIGTERM", file=sys.stderr)
            process.kill()
            process.wait()
            return 128 + signal.SIGKILL
        code = process.returncode
        if self._signal is not None:
            return 128 + self._signal
        return 0 if code in (0, -signal.SIGTERM, 128 + signal.SIGTERM) else _shell_code(code)


def _wait(process, timeout):
    try:
        return process.wait(timeout)
    except subprocess.TimeoutExpired:
        return None


def _inherited(number):
    try:
        os.fstat(number)
        return number
    except OSError:
        return subprocess.DEVNULL


def _shell_code(code):
    return 128 - code if code < 0 else code


def main(arguments=None):
    options = parse(arguments)
    try:
        if options.list_scenarios:
            return list_scenarios()
        if options.check:
            return check()
        with Studio(options.scenario, options.log) as studio:
            return Show(studio, options).run()
    except scenario.ScenarioError as error:
        print(f"studio: {error}", file=sys.stderr)
        return EXIT_USAGE
    except StudioUnavailable as error:
        print("studio: a studio cannot run on this machine. Missing:", file=sys.stderr)
        for line in error.missing:
            print(f"  {line}", file=sys.stderr)
        return EXIT_UNAVAILABLE
    except (StudioError, OSError) as error:
        print(f"studio: {error}", file=sys.stderr)
        return 1
