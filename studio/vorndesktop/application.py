"""The programs of a build folder, and what of them a desktop has to know."""

import pathlib

SOURCES = pathlib.Path(__file__).resolve().parents[2]


class Application:
    """Names the programs of a build and installs the application's icons on a desktop."""

    def __init__(self, build):
        build = pathlib.Path(build).resolve()
        self.program = build / "bin" / "vorn-device-finder"
        self.list_program = build / "bin" / "vorn-device-list"
        self.launcher = build / "bin" / "vorn-device-finder-launcher"
        self._files = build / "packaging" / "files"
        self.identifier = next(self._files.glob("*.desktop")).stem

    def install_icons(self, desktop):
        icons = "icons/hicolor"
        desktop.install(f"/usr/share/{icons}/index.theme", f"{icons}/index.theme")
        dimmed = f"{self.identifier}-inactive-symbolic.svg"
        desktop.install(
            SOURCES / "src" / "ui" / "resources" / "MenuIcon.svg",
            f"{icons}/symbolic/apps/{self.identifier}-symbolic.svg",
        )
        desktop.install(self._files / dimmed, f"{icons}/symbolic/apps/{dimmed}")
        desktop.install(
            SOURCES / "packaging" / "icons" / "application.svg", f"{icons}/scalable/apps/{self.identifier}.svg"
        )
