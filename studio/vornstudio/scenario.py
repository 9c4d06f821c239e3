"""Scenarios: which units there are at the start, and what happens when. Read from TOML."""

import dataclasses
import pathlib
import tomllib

from .faults import FAULTS
from .unit import ANNOUNCERS, KINDS, RESOURCES, Device, Unit, slug

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "scenarios"
FIRST_UNIT_ADDRESS = (10, 77, 1, 1)
MAX_UNITS = 4000
UNIT_FIELDS = {field.name for field in dataclasses.fields(Unit)} - {"devices"}
DEVICE_FIELDS = {"uid", "name", "model", "firmware"}
ACTIONS = {
    "announce": {"unit"},
    "goodbye": {"unit"},
    "drop": {"unit", "how"},
    "move": {"unit", "address", "told"},
    "exchange": {"unit", "other", "told"},
    "near-address": {"address", "gap"},
    "near-link": {"op"},
    "rename": {"unit", "name", "uid"},
    "set": {"unit", "uid", "model", "firmware", "api", "datastore", "etag", "delay", "away"},
    "status": {"unit", "resource", "status"},
    "fault": {"unit", "resource", "fault"},
    "heal": {"unit"},
    "disconnect": {"unit"},
    "publish": {"model", "version", "channel"},
    "update-server": {"model", "status", "fault", "body"},
    "responder": {"op"},
    "bus": {"op"},
    "say": {"text"},
}
DROPS = ("goodbye", "crash", "unplug")
RESPONDER_OPS = ("start", "stop", "restart", "kill", "pause", "resume")
BUS_OPS = ("start", "stop")
LINK_OPS = ("up", "down")


class ScenarioError(ValueError):
    """A scenario that cannot be played; the message names the place of the error."""


@dataclasses.dataclass
class Scenario:
    title: str = ""
    length: float | None = None
    responder: bool = True
    bus: bool = True
    objects: int = 1024  # avahi-daemon's own limit
    nss_mdns: bool = True
    ipv6: bool = False
    wait: float = 0.0
    releases: dict = dataclasses.field(default_factory=dict)
    units: list = dataclasses.field(default_factory=list)
    timeline: list = dataclasses.field(default_factory=list)


def available():
    """The scenarios of the studio: name to path."""
    return {path.stem: path for path in sorted(FOLDER.glob("*.toml"))}


def read(source):
    """The table of a scenario, from a known name or from a file."""
    path = available().get(str(source), pathlib.Path(source))
    try:
        with open(path, "rb") as file:
            return tomllib.load(file)
    except (OSError, tomllib.TOMLDecodeError) as error:
        raise ScenarioError(f"{path}: {error}") from None


def build(table):
    """Checks a scenario's table and makes its units."""
    known = {"title", "length", "near", "network", "update_server", "releases", "unit", "many", "timeline"}
    _check_keys("the scenario", table, known)
    near, server = table.get("near", {}), table.get("update_server", {})
    network = table.get("network", {})
    _check_keys("[near]", near, {"responder", "bus", "objects", "nss_mdns"})
    _check_keys("[update_server]", server, {"wait"})
    _check_keys("[network]", network, {"ipv6"})
    entries = list(table.get("unit", []))
    for group in table.get("many", []):
        entries += _expand(group)
    scenario = Scenario(
        title=table.get("title", ""), length=table.get("length"), responder=near.get("responder", True),
        bus=near.get("bus", True), objects=near.get("objects", Scenario.objects),
        nss_mdns=near.get("nss_mdns", True), ipv6=network.get("ipv6", False), wait=server.get("wait", 0.0),
        releases=table.get("releases", {}), units=make_units(entries),
        timeline=sorted(table.get("timeline", []), key=lambda action: action.get("at", 0)),
    )
    ids = {unit.id for unit in scenario.units}
    for action in scenario.timeline:
        _check_action(action, ids)
    return scenario


def make_units(entries, existing=()):
    """Makes units from their tables and gives each host an address that no existing unit has."""
    if len(entries) + len(existing) > MAX_UNITS:
        raise ScenarioError(f"more than {MAX_UNITS} units")
    addresses = {unit.host: unit.address for unit in existing}
    ids = {unit.id for unit in existing}
    units = []
    for number, entry in enumerate(entries, 1 + len(existing)):
        unit = _make_unit(entry, f"unit {entry.get('id') or entry.get('name') or number}", number)
        if unit.id in ids:
            raise ScenarioError(f"two units have the id {unit.id}")
        ids.add(unit.id)
        if not unit.address:
            unit.address = addresses.get(unit.host) or _address(len(addresses))
        addresses.setdefault(unit.host, unit.address)
        units.append(unit)
    return units


def _make_unit(entry, place, number):
    devices = entry.get("device")
    _check_keys(place, entry, UNIT_FIELDS | DEVICE_FIELDS | {"device", "entity_name"})
    kind = entry.get("kind", "plexadevice")
    if kind not in KINDS:
        raise ScenarioError(f"{place}: kind is one of {', '.join(KINDS)}, not {kind}")
    name = entry.get("name") or f"Unit {number}"
    fields = {key: entry[key] for key in UNIT_FIELDS - {"name", "kind"} if key in entry}
    unit = Unit(**{"id": slug(name), "host": slug(name), **fields, "kind": kind, "name": name})
    if unit.announcer not in ANNOUNCERS:
        raise ScenarioError(f"{place}: announcer is one of {', '.join(ANNOUNCERS)}")
    _check_map(place, "faults", unit.faults, FAULTS)
    _check_map(place, "statuses", unit.statuses, None)
    if devices is None:
        own = {"uid": f"0001f2fffe{number:06x}", "name": entry.get("entity_name", name)}
        if kind == "plexaswitch":
            own["model"] = "avbswitch"
        devices = [{**own, **{key: entry[key] for key in ("uid", "model", "firmware") if key in entry}}]
    for device in devices:
        _check_keys(f"{place}, device", device, DEVICE_FIELDS)
    unit.devices = [Device(**device) for device in devices]
    return unit


def _expand(group):
    """[[many]]: `count` units; {n} in any text counts from `first` (1)."""
    count, first = group.get("count", 0), group.get("first", 1)

    def fill(value, n):
        if isinstance(value, str):
            return value.format(n=n)
        if isinstance(value, dict):
            return {key: fill(item, n) for key, item in value.items()}
        return [fill(item, n) for item in value] if isinstance(value, list) else value

    pattern = {key: value for key, value in group.items() if key not in ("count", "first")}
    return [fill(pattern, n) for n in range(first, first + count)]


def check_action(action, ids):
    """Raises ScenarioError if an action is unknown or names no unit of `ids`."""
    _check_action({"at": 0, **action}, ids)


def _check_action(action, ids):
    place = f"timeline at {action.get('at')}"
    if not isinstance(action.get("at"), (int, float)):
        raise ScenarioError(f"{place}: at is a number of seconds")
    verb = action.get("do")
    if verb not in ACTIONS:
        raise ScenarioError(f"{place}: do is one of {', '.join(ACTIONS)}, not {verb}")
    _check_keys(place, action, ACTIONS[verb] | {"at", "do"})
    for field in ACTIONS[verb] & {"unit", "other"}:
        if action.get(field) not in ids:
            raise ScenarioError(f"{place}: there is no unit {action.get(field)}")
    choices = {
        "drop": ("how", DROPS), "responder": ("op", RESPONDER_OPS), "bus": ("op", BUS_OPS), "near-link": ("op", LINK_OPS),
    }.get(verb)
    if choices and action.get(choices[0]) not in choices[1]:
        raise ScenarioError(f"{place}: {choices[0]} is one of {', '.join(choices[1])}")
    if action.get("fault") and action["fault"] not in FAULTS:
        raise ScenarioError(f"{place}: fault is one of {', '.join(FAULTS)}")


def _check_map(place, name, table, values):
    for resource, value in table.items():
        if resource not in RESOURCES + ("*", "page"):
            raise ScenarioError(f"{place}: {name} knows no resource {resource}")
        if values is not None and value not in values:
            raise ScenarioError(f"{place}: {name} is one of {', '.join(values)}, not {value}")


def _check_keys(place, table, known):
    if not isinstance(table, dict):
        raise ScenarioError(f"{place} is not a table")
    unknown = sorted(set(table) - known)
    if unknown:
        raise ScenarioError(f"{place}: unknown {', '.join(unknown)}")


def _address(index):
    a, b, c, d = FIRST_UNIT_ADDRESS
    return f"{a}.{b}.{c + (d - 1 + index) // 250}.{(d - 1 + index) % 250 + 1}"
