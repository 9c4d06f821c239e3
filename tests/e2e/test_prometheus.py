"""From the units to an alert, through Debian's own node exporter and Prometheus; and the page about it."""

import json
import pathlib
import re
import subprocess
import urllib.parse

import pytest
from program import BINARY, PATIENCE

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "monitoring.md"
UNITS = {
    "releases": {"Vorn 8D": "2.1.0+87"},
    "unit": [
        {"name": "Desk", "id": "left", "host": "left", "model": "Vorn 8D", "firmware": "2.0.9+80"},
        {"name": "Desk (2)", "entity_name": "Desk", "id": "right", "host": "right", "model": "Vorn 8D",
         "firmware": "2.1.0+87"},
        {"name": "Odd", "entity_name": 'a "b" \\\n\u202ec', "model": "Vorn 8D", "firmware": "2.1.0+87"},
    ],
}
EXPORTER = "127.0.0.1:9100"
PROMETHEUS = "127.0.0.1:9090"


def rules():
    """The example rules of the page."""
    (text,) = re.findall(r"```yaml\n(groups:\n.*?)```", PAGE.read_text(encoding="utf-8"), re.DOTALL)
    return text


class Site:
    """The whole chain in a studio, as the page tells to set it up."""

    def __init__(self, studio, folder):
        self.studio = studio
        (folder / "state").mkdir()
        (folder / "textfile").mkdir()
        self.file = folder / "state" / "vorn.prom"
        (folder / "textfile" / "vorn.prom").symlink_to(self.file)
        (folder / "rules.yml").write_text(rules(), encoding="utf-8")
        (folder / "prometheus.yml").write_text(json.dumps({  # JSON is YAML too
            "global": {"scrape_interval": "1s", "evaluation_interval": "1s"},
            "rule_files": ["rules.yml"],
            "scrape_configs": [{"job_name": "node", "static_configs": [{"targets": [EXPORTER]}]}],
        }))
        self.writer = self._start(
            folder / "writer.log", [BINARY, "--watch", "--format=openmetrics", "--output", self.file])
        self._start(folder / "exporter.log", [
            "prometheus-node-exporter", f"--web.listen-address={EXPORTER}", "--collector.disable-defaults",
            "--collector.textfile", f"--collector.textfile.directory={folder / 'textfile'}"])
        self._start(folder / "prometheus.log", [
            "prometheus", f"--config.file={folder / 'prometheus.yml'}", f"--storage.tsdb.path={folder / 'data'}",
            f"--web.listen-address={PROMETHEUS}"])

    def _start(self, log, argv):
        with log.open("wb") as file:
            return self.studio.popen(argv, stdin=subprocess.DEVNULL, stdout=file, stderr=file)

    def query(self, expression):
        """The labels and the value of each series."""
        url = f"http://{PROMETHEUS}/api/v1/query?{urllib.parse.urlencode({'query': expression})}"
        answer = self.studio.run(["curl", "-sf", url]).stdout  # nothing while Prometheus starts
        result = json.loads(answer)["data"]["result"] if answer else []
        return [(series["metric"], float(series["value"][1])) for series in result]

    def wait_for(self, expression, condition):
        """Waits until the result of the query satisfies the condition. Returns it."""
        def ask():
            result = self.query(expression)
            return condition(result) and [result]

        return self.studio.wait_until(ask, 3 * PATIENCE, f"{expression}, not {self.query(expression)}")[0]


@pytest.fixture
def site(make_studio, tmp_path):
    return Site(make_studio(UNITS), tmp_path)


def promtool(*words, text=None, folder=None):
    return subprocess.run(["promtool", *words], input=text, cwd=folder, capture_output=True, text=True, check=False)


def marks(result):
    return {labels["url"]: value for labels, value in result}


def test_prometheus_sees_the_updates_of_the_units(site):
    outdated = {"http://left.local/": 1, "http://right.local/": 0, "http://odd.local/": 0}
    site.wait_for("vorn_update_available", lambda result: marks(result) == outdated)
    assert [value for _, value in site.query("vorn_updates_available")] == [1]
    facts = {labels["url"]: labels for labels, _ in site.query("vorn_unit_info")}
    assert facts["http://left.local/"].items() >= {
        "name": "Desk", "kind": "device", "model": "Vorn 8D", "firmware": "2.0.9+80", "newest": "2.1.0+87"}.items()
    assert facts["http://right.local/"]["name"] == "Desk", "two units with one name"
    assert facts["http://odd.local/"]["name"] == 'a "b" \\\n\ufffdc'
    assert [value for _, value in site.query("node_textfile_scrape_error")] == [0]
    site.wait_for('ALERTS{alertname="VornFirmwareUpdate"}',
                  lambda result: [labels.get("name") for labels, _ in result] == ["Desk"])
    site.studio.do("goodbye", unit="left")
    site.wait_for("vorn_update_available", lambda result: marks(result).keys() == outdated.keys() - {"http://left.local/"})
    site.studio.do("set", unit="left", firmware="2.1.0+87")
    site.studio.do("announce", unit="left")
    site.wait_for("vorn_update_available", lambda result: marks(result) == dict.fromkeys(outdated, 0))
    site.wait_for('ALERTS{alertname="VornFirmwareUpdate"}', lambda result: result == [])


def test_prometheus_notices_that_the_program_no_longer_writes(site):
    site.wait_for("time() - vorn_list_timestamp_seconds", lambda result: result and result[0][1] < 20)
    site.writer.kill()
    site.writer.wait(PATIENCE)
    site.wait_for("time() - vorn_list_timestamp_seconds > 20", bool)
    assert len(site.query("vorn_update_available")) == 3, "the exporter still reads the old file"


def test_promtool_finds_nothing_to_say_about_the_metrics(make_studio, tmp_path):
    studio = make_studio(UNITS)
    file = tmp_path / "vorn.prom"
    studio.wait_until(lambda: studio.run([
        BINARY, "--format=openmetrics", "--output", file, "--wait", "2"]).returncode == 0 and
        file.read_text().count("vorn_update_available{") == 3, PATIENCE, "all units")
    result = promtool("check", "metrics", text=file.read_text(encoding="utf-8"))
    assert (result.returncode, result.stdout, result.stderr) == (0, "", "")


def test_promtool_accepts_the_rules_of_the_page(tmp_path):
    (tmp_path / "rules.yml").write_text(rules(), encoding="utf-8")
    result = promtool("check", "rules", "rules.yml", folder=tmp_path)
    assert result.returncode == 0 and "3 rules found" in result.stdout, result


def test_the_rules_of_the_page_fire_when_they_should(tmp_path):
    """One unit with an update, one without; the list stands still after ten minutes, and later it is gone."""
    (tmp_path / "rules.yml").write_text(rules(), encoding="utf-8")
    info = 'vorn_unit_info{instance="a",url="%s",name="%s",kind="device",model="8D",firmware="1",newest="2"}'
    series = {
        info % ("u", "Desk"): "1x180", info % ("v", "Booth"): "1x180",
        'vorn_update_available{instance="a",url="u"}': "1x180", 'vorn_update_available{instance="a",url="v"}': "0x180",
        'vorn_list_timestamp_seconds{instance="a"}': "0+60x10 600x90 _x80", 'up{instance="a",job="node"}': "1x180",
    }
    update = {"severity": "info", "instance": "a", "url": "u", "name": "Desk", "model": "8D", "firmware": "1", "newest": "2"}

    def alerts(name, minute, *labels):
        fired = [{"exp_labels": one, "exp_annotations": note} for one, note in labels]
        return {"alertname": name, "eval_time": f"{minute}m", "exp_alerts": fired}

    text = {"summary": "Desk (8D) has the firmware 1, and 2 is published"}
    (tmp_path / "test.yml").write_text(json.dumps({"rule_files": ["rules.yml"], "evaluation_interval": "1m", "tests": [{
        "interval": "1m", "input_series": [{"series": name, "values": values} for name, values in series.items()],
        "alert_rule_test": [
            alerts("VornFirmwareUpdate", 59), alerts("VornFirmwareUpdate", 61, (update, text)),
            alerts("VornListOld", 12),
            alerts("VornListOld", 25, ({"severity": "warning", "instance": "a"},
                                       {"summary": "a has not looked for units for 15m 0s"})),
            alerts("VornListMissing", 90),
            alerts("VornListMissing", 130, ({"severity": "warning", "instance": "a"}, {"summary": "a has no list of units any more"})),
        ],
    }]}))
    result = promtool("test", "rules", "test.yml", folder=tmp_path)
    assert result.returncode == 0, result.stdout + result.stderr
