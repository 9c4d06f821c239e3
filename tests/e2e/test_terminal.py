"""The watched table on a real terminal. tmux draws it, and the test reads what it shows."""

import itertools

import pytest
from program import BINARY, PATIENCE

MANY = [{"name": f"Unit {n:02}", "model": "Vorn 8D", "firmware": "2.0.9+80"} for n in range(1, 41)]
FEW = MANY[:3]
RELEASES = {"Vorn 8D": "2.1.0+87"}
PROMPT = "ready> "


class Terminal:
    """A shell in a window of tmux, and the program as its job."""

    def __init__(self, studio, folder, columns, rows):
        self._studio = studio
        self._tmux = ["tmux", "-S", str(folder / "socket"), "-f", "/dev/null"]
        environment = {"PS1": PROMPT, "LC_ALL": "C.UTF-8", "NO_COLOR": ""}
        result = studio.run(
            [*self._tmux, "new-session", "-d", "-x", str(columns), "-y", str(rows),
             "bash", "--noprofile", "--norc", "-i"], env=environment)
        assert result.returncode == 0, result.stderr
        self.wait_for(lambda: PROMPT.strip() in self.text(), "the prompt")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.ask("kill-server")

    def ask(self, *command):
        result = self._studio.run([*self._tmux, *command])
        assert result.returncode == 0, result.stderr
        return result.stdout

    def start(self, *options):
        self.keys(f"{BINARY} --watch {' '.join(options)}", "Enter")

    def keys(self, *keys):
        self.ask("send-keys", *keys)

    def resize(self, columns, rows):
        self.ask("resize-window", "-x", str(columns), "-y", str(rows))

    def lines(self):
        """The text of the window, without the blanks at the ends."""
        return [line.rstrip() for line in self.ask("capture-pane", "-p").rstrip("\n").split("\n")]

    def text(self):
        return "\n".join(self.lines())

    def is_drawn_on(self):
        return self.ask("display-message", "-p", "#{alternate_on}").strip() == "1"

    def history(self):
        return int(self.ask("display-message", "-p", "#{history_size}"))

    def wait_for(self, condition, what):
        try:
            self._studio.wait_until(condition, PATIENCE, what)
        except TimeoutError as error:
            raise AssertionError(f"{error}; the window shows:\n{self.text()}") from None


@pytest.fixture
def window(make_studio, tmp_path):
    """A function that opens a terminal of a given size in a studio of units."""
    opened = []

    def make(units, columns, rows):
        studio = make_studio({"releases": RELEASES, "unit": units})
        opened.append(Terminal(studio, tmp_path, columns, rows))
        return studio, opened[-1]

    yield make
    for terminal in opened:
        terminal.__exit__()


def is_whole_window(terminal, columns, rows, count):
    """Whether the window contains only a table that fills it. There are `count` units."""
    lines = terminal.lines()
    shown = rows - 2
    return (
        len(lines) == rows and lines[0].startswith("NAME ") and lines[0].endswith("UPDATE")
        and all(line.startswith("Unit ") and line.endswith(" update") for line in lines[1:-1])
        and lines[-1] == f"... and {count - shown} more" and max(map(len, lines)) <= columns
    )


@pytest.mark.parametrize("columns, rows", [(80, 24), (40, 24), (80, 4)])
def test_a_full_window_is_drawn_in_place_and_leaves_nothing_in_the_scroll_back(window, columns, rows):
    studio, terminal = window(MANY, columns, rows)
    terminal.start()
    terminal.wait_for(lambda: is_whole_window(terminal, columns, rows, len(MANY)), "the table")
    before = terminal.history()
    for name in ("Unit 01 a", "Unit 01 b", "Unit 01 c"):
        studio.do("rename", unit="unit-01", name=name)
        terminal.wait_for(lambda: terminal.lines()[1].startswith(name[:9]), "the new name")
        assert is_whole_window(terminal, columns, rows, len(MANY)), terminal.text()
    assert terminal.history() == before


def test_at_the_end_the_whole_table_is_once_on_the_normal_screen(window):
    _, terminal = window(MANY, 80, 10)
    terminal.start()
    terminal.wait_for(lambda: is_whole_window(terminal, 80, 10, len(MANY)), "the table")
    terminal.keys("C-c")
    terminal.wait_for(lambda: terminal.lines()[-1].startswith(PROMPT.strip()), "the prompt")
    assert not terminal.is_drawn_on()
    everything = terminal.ask("capture-pane", "-p", "-S", "-").split("\n")
    assert sum(line.startswith("NAME ") for line in everything) == 1
    assert [line[:7] for line in everything if line.startswith("Unit ")] == [unit["name"] for unit in MANY]


def test_another_size_leaves_nothing_of_the_old_picture(window):
    _, terminal = window(MANY, 100, 20)
    terminal.start()
    for columns, rows in ((100, 20), (60, 20), (60, 8), (40, 4), (120, 30)):
        terminal.resize(columns, rows)
        terminal.wait_for(lambda: is_whole_window(terminal, columns, rows, len(MANY)), f"{columns} by {rows}")


def test_keys_do_not_spoil_the_picture_nor_reach_the_shell(window):
    studio, terminal = window(FEW, 80, 24)
    terminal.start()
    terminal.wait_for(lambda: terminal.text().count(" update") == 3, "the table")
    picture = terminal.text()
    terminal.keys("Enter", "echo spoilt", "Enter")
    studio.do("rename", unit="unit-01", name="Unit 01 a")
    terminal.wait_for(lambda: "Unit 01 a" in terminal.text(), "the new name")
    assert terminal.text().replace("Unit 01 a", "Unit 01").split() == picture.split()
    terminal.keys("C-c")
    terminal.wait_for(lambda: terminal.lines()[-1].startswith(PROMPT.strip()), "the prompt")
    terminal.keys("echo $((6*7))", "Enter")
    terminal.wait_for(lambda: "42" in terminal.lines(), "the shell's own answer")
    assert "spoilt" not in terminal.text()


def test_it_stops_and_goes_on_like_any_job(window):
    _, terminal = window(FEW, 80, 24)
    terminal.start()
    for _ in itertools.repeat(None, 2):
        terminal.wait_for(lambda: terminal.is_drawn_on() and terminal.text().count(" update") == 3, "the table")
        assert terminal.lines()[0].startswith("NAME "), terminal.text()
        terminal.keys("C-z")
        terminal.wait_for(lambda: "Stopped" in terminal.text(), "the shell's word on the job")
        assert not terminal.is_drawn_on()
        terminal.keys("clear", "Enter", "fg", "Enter")
    terminal.wait_for(lambda: terminal.is_drawn_on() and terminal.text().count(" update") == 3, "the table")


def test_the_picture_says_why_nothing_is_found(window):
    studio, terminal = window([], 80, 24)
    terminal.start("--wait", "1")
    terminal.wait_for(lambda: terminal.lines() == ["No Local Devices Found."], "the empty list")
    studio.do("responder", op="stop")
    terminal.wait_for(lambda: "no DNS-SD responder is running" in terminal.lines()[-1], "the reason")
    studio.do("responder", op="start")
    terminal.wait_for(lambda: terminal.lines() == ["No Local Devices Found."], "the reason's end")


def test_the_picture_follows_the_network_while_nothing_else_changes(window):
    studio, terminal = window([], 80, 24)
    terminal.start("--wait", "1")
    for _ in itertools.repeat(None, 2):
        terminal.wait_for(lambda: terminal.lines() == ["No Local Devices Found."], "the empty list alone")
        studio.do("near-link", op="down")
        terminal.wait_for(lambda: "there is no network connection" in terminal.lines()[-1], "the reason")
        studio.do("near-link", op="up")


@pytest.mark.parametrize("command", ["timeout 2 {}", "(timeout 2 {}; true)"])
def test_a_time_limit_ends_it(window, command):
    _, terminal = window(FEW, 80, 24)
    # The parentheses put it in the background: `timeout` makes a separate process group there.
    terminal.keys(command.format(f"{BINARY} --watch") + "; echo $((6*7))", "Enter")
    terminal.wait_for(lambda: "42" in terminal.lines(), "what follows")
    assert not terminal.is_drawn_on()


def start_in_background(studio, terminal):
    terminal.start("&")
    terminal.wait_for(lambda: studio.requests("unit-03"), "its question to a unit")
    assert not terminal.is_drawn_on()


def end_by_kill(terminal):
    """Lets the shell kill its job and waits until it exits with 0. `wait` fails while the job is still stopped."""
    terminal.keys("kill %1; until wait %1 2>/dev/null; do :; done; echo $((8*8))", "Enter")
    terminal.wait_for(lambda: "64" in terminal.lines(), "the end of the job")
    assert not terminal.is_drawn_on()


@pytest.mark.parametrize("modes", ["-tostop", "tostop"])
def test_it_is_killed_in_the_background(window, modes):
    studio, terminal = window(FEW, 80, 24)
    terminal.keys(f"stty {modes}", "Enter")
    start_in_background(studio, terminal)
    end_by_kill(terminal)


def test_it_is_killed_while_it_is_stopped(window):
    _, terminal = window(FEW, 80, 24)
    terminal.start()
    terminal.wait_for(lambda: terminal.text().count(" update") == 3, "the table")
    terminal.keys("C-z")
    terminal.wait_for(lambda: "Stopped" in terminal.text(), "the shell's word on the job")
    end_by_kill(terminal)
    assert terminal.text().count(" update") == 3, "the last table, once"


def test_it_draws_once_it_comes_to_the_foreground(window):
    studio, terminal = window(FEW, 80, 24)
    start_in_background(studio, terminal)
    for _ in itertools.repeat(None, 2):
        terminal.keys("fg", "Enter")
        terminal.wait_for(lambda: terminal.is_drawn_on() and terminal.text().count(" update") == 3, "the table")
        terminal.keys("C-z")
        terminal.wait_for(lambda: "Stopped" in terminal.text() and not terminal.is_drawn_on(), "the job's stop")
        terminal.keys("clear; bg; jobs", "Enter")
        terminal.wait_for(lambda: "Running" in terminal.text() and "Stopped" not in terminal.text(), "the job at work")
    end_by_kill(terminal)
