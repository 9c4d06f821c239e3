"""Rows of figures, their bars, and how they are printed."""

import dataclasses
import datetime
import json
import os

HEADING = ("FIGURE", "MEASURED", "REFERENCE", "DIFFERENCE", "RATIO", "BAR", "RESULT")


@dataclasses.dataclass
class Row:
    """One figure. `compared` names the number that the bar limits: "value", "ratio" or "difference"."""

    what: str
    value: float
    unit: str
    reference: float | None = None
    ratio: float | None = None
    bar: float | None = None
    compared: str = "value"
    note: str = ""

    def __post_init__(self):
        if self.ratio is None and self.reference:
            self.ratio = self.value / self.reference

    @property
    def difference(self):
        """How much more than the reference the figure is."""
        return self.value - (self.reference or 0)

    @property
    def passed(self):
        """Whether the figure keeps its bar; None if it has no bar."""
        return None if self.bar is None else getattr(self, self.compared) <= self.bar

    def cells(self):
        unit = f" {self.unit}" if self.unit else ""
        sign = "+" if self.compared == "difference" else ""
        bar = "" if self.bar is None else f"<= {sign}{self.bar:g}" + ("" if self.compared == "ratio" else unit)
        result = {None: "", True: "kept", False: "MISSED"}[self.passed]
        return (
            self.what, _number(self.value) + unit, "" if self.reference is None else _number(self.reference) + unit,
            "" if not self.reference else f"{self.difference:+.3g}{unit}",
            "" if self.ratio is None else f"{self.ratio:.2f}", bar, result + (f"  ({self.note})" if self.note else ""),
        )


def _number(value):
    return f"{value:.0f}" if abs(value) >= 1000 else f"{value:.3g}"


class Results:
    def __init__(self, machine, quick):
        self._all = {
            "taken": datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="seconds"),
            "quick": quick, "machine": machine, "figures": {},
        }
        self.failures = {}
        self._rows = []

    def add(self, figure, rows, raw):
        self._rows += [(figure, row) for row in rows]
        self._all["figures"][figure] = {
            "rows": [{**dataclasses.asdict(row), "passed": row.passed} for row in rows], "raw": raw,
        }

    def failed(self, figure, why):
        self.failures[figure] = why

    def finish(self, load):
        self._all["machine"]["loadAfter"] = load
        self._all["failures"] = self.failures

    def write(self, path):
        path.parent.mkdir(parents=True, exist_ok=True)
        new = path.with_name(path.name + ".new")
        new.write_text(json.dumps(self._all, indent=1) + "\n")
        os.replace(new, path)

    def table(self):
        lines = [HEADING] + [(f"{figure}  {row.what}", *row.cells()[1:]) for figure, row in self._rows]
        widths = [max(len(line[i]) for line in lines) for i in range(len(HEADING))]
        text = [_join(line, widths) for line in lines]
        text += [f"({figure}) could not be measured: {why}" for figure, why in self.failures.items()]
        bars = [row.passed for _, row in self._rows if row.passed is not None]
        text.append(f"{bars.count(True)} of {len(bars)} bars kept")
        return "\n".join(text)


def _join(line, widths):
    first, *middle, last = line
    cells = [first.ljust(widths[0])] + [cell.rjust(width) for cell, width in zip(middle, widths[1:-1])]
    return "  ".join(cells + [last]).rstrip()
