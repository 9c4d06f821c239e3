"""The programs of a build folder or an installation, and what a desktop must know about them."""

import pathlib

SOURCES = pathlib.Path(__file__).resolve().parents[2]


class Application:
    """Names the programs of a build, or of an installed prefix such as /usr, and installs the application's
    icons on a desktop; an installed one brings its own."""

    def __init__(self, build):
        build = pathlib.Path(build).resolve()
        self.program = build / "bin" / "vorn-device-finder"
        self.list_program = build / "bin" / "vorn-device-list"
        self.launcher = build / "libexec" / "vorn-device-finder-launcher"
        self._installed = not (build / "packaging").is_dir()
        self._files = build / "share" / "applications" if self._installed else build / "packaging" / "files"
        self.identifier = next(self._files.glob("*.DeviceFinder.desktop" if self._installed else "*.desktop")).stem

    def install_icons(self, desktop):
        if self._installed:
            return
        icons = "icons/hicolor"
        desktop.install(f"/usr/share/{icons}/index.theme", f"{icons}/index.theme")
        for name in (f"{self.identifier}-symbolic.svg", f"{self.identifier}-inactive-symbolic.svg"):
            desktop.install(self._files / name, f"{icons}/symbolic/apps/{name}")
        desktop.install(
            SOURCES / "packaging" / "icons" / "application.svg", f"{icons}/scalable/apps/{self.identifier}.svg"
        )
