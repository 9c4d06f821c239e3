"""The answers of a healthy unit: the datastore of a device, the plain text of a switch, and a page for the browser.
"""

import dataclasses
import html
import json


@dataclasses.dataclass
class Answer:
    status: int
    body: bytes = b""
    headers: tuple = ()
    behind: bytes = b""  # sent after it, where no byte belongs


@dataclasses.dataclass
class Request:
    method: str
    path: str
    headers: list  # [name, value] pairs, as sent

    def header(self, name):
        return next((value for key, value in self.headers if key.lower() == name), None)


NOT_FOUND = Answer(404, b"not found")


def value(text):
    return Answer(200, json.dumps({"value": text}).encode(), (("Content-Type", "application/json"),))


def locate(unit, path):
    """The device that a path belongs to and the name of the resource, each None if there is none."""
    parts = path.split("?")[0].strip("/").split("/")
    device = None if unit.kind == "plexahost" else unit.device
    if unit.kind == "plexahost" and parts != [""]:
        device = unit.device_by_uid(parts[0])
        if device is None:
            return None, None
        parts = parts[1:] or [""]
    if parts == [""]:
        return device, "page"
    if unit.kind == "plexaswitch":
        return device, "firmware_version" if parts == ["firmware_version"] else None
    return device, _datastore_resource(device, parts)


def _datastore_resource(device, parts):
    if parts == ["apiversion"]:
        return "apiversion"
    if parts == ["datastore", "ext", "caps", "avb"]:
        return "caps"
    known = ("model_name", "firmware_version", "entity_name")
    if len(parts) == 4 and parts[:2] == ["datastore", "avb"] and parts[2] == device.uid and parts[3] in known:
        return parts[3]
    return None


def healthy(unit, device, resource, request):
    """The answer of a unit without faults."""
    if resource is None:
        return NOT_FOUND
    if resource == "page":
        return page(unit, device)
    if resource == "apiversion":
        return Answer(200, unit.api.encode(), (("Content-Type", "text/plain"),))
    if resource == "caps":
        return value(unit.datastore)
    if resource == "model_name":
        return value(device.model)
    if resource == "firmware_version":
        if unit.kind == "plexaswitch":
            return Answer(200, device.firmware.encode(), (("Content-Type", "text/plain"),))
        return value(device.firmware)
    return entity_name(unit, device, request)


def entity_name(unit, device, request):
    if not unit.etag:
        return value(device.name)
    tag = (("ETag", device.etag),)
    if request.header("if-none-match") == device.etag:
        return Answer(304, b"", tag)
    answer = value(device.name)
    return dataclasses.replace(answer, headers=answer.headers + tag)


def page(unit, device):
    name = html.escape(device.name if device else unit.name)
    lines = "".join(f"<li>{html.escape(item.name)}: {html.escape(item.model)} {html.escape(item.firmware)}"
                    for item in ([device] if device else unit.devices))
    text = f"<!DOCTYPE html><title>{name}</title><h1>{name}</h1><ul>{lines}</ul>"
    return Answer(200, text.encode(), (("Content-Type", "text/html; charset=utf-8"),))
