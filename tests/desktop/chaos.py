"""Random changes of everything around the programs: units, their answers, responder, servers, panel, settings.

The numbers of units, models, names and versions are bounded. So after a while everything was there before, and
nothing may grow.
"""

import collections
import contextlib

from vorndesktop import eventually

PATIENCE = 120.0  # seconds to wait for the panel, on a busy machine
A_MOMENT = 10.0  # seconds after which a user clicks again
MODELS = [f"Vorn {number}" for number in (8, 16, 24, 32, 48, 64)]
SWITCH_MODEL = "avbswitch"
VERSIONS = [f"1.{minor}.0+{minor}00" for minor in range(1, 9)]
FIRMWARES, RELEASES = VERSIONS[:5], VERSIONS[2:]
WORDS = ["", "snare_top", "A & B", "<b>bold</b>", "Ünïcode ☂", "חדר", "long " + "x" * 300]
INTERFACES = 12
SPARE_ADDRESSES = [f"10.77.9.{number}" for number in range(1, 30)]
RESOURCES = ("*", "apiversion", "caps", "model_name", "firmware_version", "entity_name")
UNIT_FAULTS = (
    "endless-body", "endless-header", "drip", "gzip-bomb", "redirect-loop", "redirect-away", "garbage", "silence",
    "no-answer", "reset", "short-body", "cut-header", "deep-json", "bad-text", "wrong-types", "control-characters",
)
SERVER_FAULTS = ("silence", "reset", "garbage", "endless-body", "wrong-types", "redirect-away")
SETTINGS = ("Show Switches", "Notify About Updates", "Launch at Login")
RESPONDER_OPS = {"running": ("restart", "stop", "kill", "pause"), "stopped": ("start",), "paused": ("resume", "kill")}
RESPONDER_STATES = {"stop": "stopped", "kill": "stopped", "pause": "paused"}


def scenario():
    """Every kind of unit; one interface is announced by itself and by a host."""
    interfaces = [
        {"name": f"Unit {number:02}", "model": MODELS[number % len(MODELS)], "firmware": FIRMWARES[number % 3]}
        for number in range(1, INTERFACES + 1)
    ]
    shared = "0001f2fffe00ff01"
    interfaces[0]["uid"] = shared
    devices = [{"uid": shared, "name": "Unit 20", "model": MODELS[0], "firmware": FIRMWARES[0]}] + [
        {"uid": f"0001f2fffe00ff{number}", "name": f"Unit {number}", "model": MODELS[1], "firmware": FIRMWARES[1]}
        for number in (21, 22)
    ]
    switches = [
        {"name": f"Unit {number}", "kind": "plexaswitch", "firmware": FIRMWARES[0]} for number in (30, 31)
    ]
    return {
        "update_server": {"wait": 0},
        "releases": {model: RELEASES[0] for model in (*MODELS, SWITCH_MODEL)},
        "unit": [*interfaces, {"name": "Rack", "kind": "plexahost", "device": devices}, *switches],
    }


class Chaos:
    """Does one random thing at a time. The same chance does the same things in the same order."""

    def __init__(self, finder, chance):
        self.latest = collections.deque(maxlen=40)  # what was done, to be read after a failure
        self.count = 0
        self._finder, self._studio, self._chance = finder, finder.studio, chance
        self._units = {unit["id"]: unit for unit in self._studio.units()}
        self._addresses = {name: unit["address"] for name, unit in self._units.items()}
        self._faulty = set()
        self._gone = {}  # unit: how it went
        self._exchanged, self._left = set(), set()  # units and addresses, since the last rest
        self._responder, self._link, self._notification_server = "running", "up", None

    def step(self):
        """Opens the panel, or changes a setting, while the network changes."""
        network = (
            [self._go] * 4 + [self._come] * 4 + [self._rename] * 4 + [self._break] * 4 + [self._heal] * 2
            + [self._move, self._exchange, self._disconnect, self._break_server, self._mend_server, self._publish]
            + [self._disturb_responder] * 2 + [self._disturb_network]
        )
        desktop = [self._toggle_panel] * 6 + [self._toggle_setting] * 2 + [self._open_page, self._disturb_notifications]
        for change in self._chance.choices(network, k=self._chance.randint(1, 4)):
            change()
        self._chance.choice(desktop)()

    def quieten(self):
        """Ends every fault of what is there. Units that have gone stay away."""
        for unit in sorted(self._faulty):
            self._mend(unit)
        self._mend_server()
        self._restore_network()

    def return_all(self):
        """Brings back what was away. Call it when the lists have shown that it was away: then new data of such a unit
        must appear, because nobody knows it any more."""
        for unit in sorted(self._gone):
            self._replace_data(unit)
            self._return(unit)
        self._exchanged.clear()
        self._left.clear()

    # --- units ------------------------------------------------------------------------------------

    def _go(self):
        unit = self._any(self._present())
        if len(self._gone) < len(self._units) // 2:
            self._mend(unit)
            # Nobody can know that a unit has gone silently if another one answers at the address that it had.
            silent = [] if unit in self._exchanged else ["crash", "unplug"]
            self._gone[unit] = self._chance.choice(["goodbye", *silent])
            self._do("drop", unit=unit, how=self._gone[unit])

    def _come(self):
        if unit := self._any(self._gone):
            self._return(unit)

    def _return(self, unit):
        self._do("announce" if self._gone.pop(unit) == "goodbye" else "heal", unit=unit)

    def _rename(self):
        unit = self._units[self._any(self._units)]
        device = self._chance.choice(unit["devices"])
        if unit["kind"] != "plexaswitch":  # a switch keeps the name that it announces
            self._do("rename", unit=unit["id"], uid=device["uid"], name=self._name(device))

    def _name(self, device):
        """Names stay apart by their beginning."""
        return f"{' '.join(device['name'].split()[:2])} {self._chance.choice(WORDS)}".strip()

    def _replace_data(self, unit):
        known = self._units[unit]
        for device in known["devices"]:
            model = {} if known["kind"] == "plexaswitch" else {"model": self._chance.choice(MODELS)}
            self._do("set", unit=unit, uid=device["uid"], firmware=self._chance.choice(FIRMWARES), **model)

    def _break(self):
        unit = self._any(self._present())
        self._faulty.add(unit)
        resource = self._chance.choice(RESOURCES)
        kind = self._chance.randrange(6)
        if kind == 0:
            self._do("status", unit=unit, status=self._chance.choice([204, 304, 404, 500]), resource=resource)
        elif kind == 1:
            self._do("set", unit=unit, delay=round(self._chance.uniform(0.1, 2), 1))
        else:
            self._do("fault", unit=unit, fault=self._chance.choice(UNIT_FAULTS), resource=resource)

    def _heal(self):
        if unit := self._any(self._faulty):
            self._mend(unit)

    def _mend(self, unit):
        if unit in self._faulty:
            self._faulty.discard(unit)
            self._do("heal", unit=unit)
            self._do("disconnect", unit=unit)  # else a silent answer lasts until the client gives it up

    def _move(self):
        free = sorted(set(SPARE_ADDRESSES) - set(self._addresses.values()) - self._left)
        unit = self._any(self._present())
        self._left.add(self._addresses[unit])
        self._addresses[unit] = self._chance.choice(free)
        self._do("move", unit=unit, address=self._addresses[unit])

    def _exchange(self):
        present = sorted(self._present())
        one, other = self._chance.sample(present, 2)
        self._addresses[one], self._addresses[other] = self._addresses[other], self._addresses[one]
        self._exchanged |= {one, other}
        self._do("exchange", unit=one, other=other)

    def _disconnect(self):
        self._do("disconnect", unit=self._any(self._present()))

    # --- update server, responder, network --------------------------------------------------------

    def _break_server(self):
        fault = self._chance.choice([{"fault": self._chance.choice(SERVER_FAULTS)}, {"status": 503}, {"body": "[{"}])
        self._do("update-server", **fault)

    def _mend_server(self):
        self._do("update-server")

    def _publish(self):
        self._do("publish", model=self._chance.choice([*MODELS, SWITCH_MODEL]), version=self._chance.choice(RELEASES))

    def _disturb_responder(self):
        op = self._chance.choice(RESPONDER_OPS[self._responder])
        self._responder = RESPONDER_STATES.get(op, "running")
        self._do("responder", op=op)

    def _disturb_network(self):
        if self._link == "down":
            self._restore_network()
        elif self._chance.randrange(2):
            self._link = "down"
            self._do("near-link", op="down")
        else:
            self._responder = "stopped"
            self._do("bus", op="stop")
            self._do("bus", op="start")

    def _restore_network(self):
        if self._link == "down":
            self._link = "up"
            self._do("near-link", op="up")
        if self._responder != "running":
            self._do("responder", op="resume" if self._responder == "paused" else "start")
            self._responder = "running"

    # --- the desktop ------------------------------------------------------------------------------

    def _open_panel(self):
        """Clicks until the panel has the focus: to a slow program, a click may belong to the one before."""
        finder = self._finder

        def has_focus():
            return finder.window() and finder.desktop.focused_window() == finder.window()

        def opens():
            finder.activate_item()
            return eventually(has_focus, A_MOMENT)

        finder.wait(opens, "the panel's focus", PATIENCE)

    def _close_panel(self):
        finder = self._finder

        def closes():
            finder.desktop.key("Escape")
            return eventually(lambda: not finder.window(), A_MOMENT)

        finder.wait(closes, "the panel's end", PATIENCE)

    def _toggle_panel(self):
        self._note("panel")
        self._open_panel()
        self._close_panel()

    def _open_page(self):
        self._note("page")
        self._open_panel()
        self._finder.desktop.key("Down", "Return")  # without a unit, this does nothing
        self._close_panel()

    def _toggle_setting(self):
        title = self._chance.choice(SETTINGS)
        self._note(f"setting {title}")
        self._finder.choose_in_menu(title)

    def _disturb_notifications(self):
        self._note("notification server")
        if self._notification_server:
            self._finder.desktop.stop(self._notification_server)
            self._notification_server = None
        else:
            self._notification_server = self._finder.desktop.start_notification_server()

    # --- what they share --------------------------------------------------------------------------

    def _present(self):
        return self._units.keys() - self._gone.keys()

    def _any(self, choices):
        return self._chance.choice(sorted(choices)) if choices else None

    def _do(self, verb, **fields):
        self._note(f"{verb} {fields}")
        self._studio.do(verb, **fields)

    def _note(self, text):
        self.count += 1
        self.latest.append(text)

    @contextlib.contextmanager
    def told(self, seed):
        """A failure inside says what led to it."""
        try:
            yield
        except BaseException:
            print(f"\nseed {seed}, {self.count} things done; the latest:", *self.latest, sep="\n  ")
            raise
