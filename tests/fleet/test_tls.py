"""What operators put in front of an agent: a Prometheus with a certificate sees it, and nobody else does."""

import gzip
import subprocess
import tempfile
import unittest
from pathlib import Path

import fronts
import scaled
import servers
from fleet import Unit, write_rules, write_targets
from fronts import HERE
from places import PROMETHEUS

SCALE = 60
# As DNS would have it. Who asks for it finds this machine.
NAME = "unit-001.example.net"


class TlsTest(unittest.TestCase):
    """With what `front` names."""

    front = staticmethod(fronts.nginx)

    def setUp(self) -> None:
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        prometheus = {"prometheus": "client"}
        fronts.make_certificates(self.folder / "tls", {"unit": f"IP:{HERE}"} | prometheus)
        fronts.make_certificates(self.folder / "strangers", prometheus)
        self.unit = self.enterContext(Unit("unit", self.folder, SCALE))
        self.port = servers.free_port()
        self.enterContext(self.front(self.folder, self.unit, self.port))

    def curl(
        self, path: str, *options: object, certificate: str = "tls/prometheus", host: str = HERE
    ) -> subprocess.CompletedProcess[bytes]:
        """Who has that certificate asks."""
        words = ["curl", "-sS", "--max-time", "10", "--cacert", self.folder / "tls" / "ca.pem"]
        if certificate:
            words += ["--cert", self.folder / f"{certificate}.pem", "--key", self.folder / f"{certificate}.key"]
        words += [*options, f"https://{host}:{self.port}{path}"]
        return subprocess.run([str(word) for word in words], capture_output=True, check=False)

    def test_a_prometheus_of_the_example_scrapes_through_it(self) -> None:
        write_rules(self.folder, SCALE)
        write_targets(self.folder, [(f"{HERE}:{self.port}", {"site": "north", "rack": "r1"})])
        config = self.folder / "prometheus.yml"
        config.write_text(scaled.faster(PROMETHEUS.read_text().replace(f"{HERE}:9093", f"{HERE}:9"), SCALE))
        server, url = servers.prometheus(self.folder, config)
        with server:
            seen = f'storagedevices_unit_verdict{{instance="{HERE}:{self.port}",rack="r1",verdict="ok"}} == 1'
            servers.wait(lambda: servers.query(url, seen), 30, seen)

    def test_refuses_who_has_no_certificate_of_a_client_of_the_fleet(self) -> None:
        self.assertIn(b"storagedevices_build_info", self.curl("/metrics").stdout)
        for certificate in ("", "strangers/prometheus", "tls/unit"):
            self.assertNotIn(b"storagedevices", self.curl("/metrics", certificate=certificate).stdout, certificate)

    def test_a_prometheus_without_a_certificate_sees_nothing(self) -> None:
        config = self.folder / "prometheus.yml"
        job = "job_name: x, scheme: https, tls_config: {ca_file: tls/ca.pem}"
        job += f", static_configs: [{{targets: ['{HERE}:{self.port}']}}]"
        config.write_text(f"global: {{scrape_interval: 500ms, scrape_timeout: 400ms}}\nscrape_configs: [{{{job}}}]\n")
        server, url = servers.prometheus(self.folder, config)
        with server:
            servers.wait(lambda: servers.query(url, "count_over_time(up[1m]) >= 3"), 30, "three scrapes")
            self.assertEqual(servers.query(url, "max_over_time(up[1m])")[0]["value"][1], "0")

    def test_is_known_by_its_own_certificate(self) -> None:
        stranger = self.curl("/metrics", "--cacert", self.folder / "strangers" / "ca.pem")
        self.assertEqual((stranger.returncode, stranger.stdout), (60, b""))

    def test_serves_the_page_under_the_name_of_the_unit(self) -> None:
        for path in ("/", "/metrics"):
            answer = self.curl(path, "--insecure", "--resolve", f"{NAME}:{self.port}:{HERE}", "--fail", host=NAME)
            self.assertEqual((answer.returncode, answer.stderr), (0, b""))

    def test_passes_events_on_as_they_come(self) -> None:
        self.unit.happens("pull", "nvme0n1")
        events = self.curl("/api/v1/events?after=0", "--max-time", "3", "--no-buffer", "--compressed")
        self.assertEqual(events.returncode, 28)  # the time is up, and the stream open
        self.assertIn(b"STORAGEDEVICE_OFFLINE", events.stdout)


class NginxTest(TlsTest):
    """What it does on top."""

    def test_compresses(self) -> None:
        plain = self.curl("/metrics").stdout
        packed = self.curl("/metrics", "-H", "Accept-Encoding: gzip").stdout
        self.assertLess(len(packed), len(plain) / 5)
        self.assertIn(b"storagedevices_build_info", gzip.decompress(packed))

    def test_takes_no_other_methods(self) -> None:
        for path in ("/", "/api/v1/events"):
            answer = self.curl(path, "-X", "POST", "-o", self.folder / "body", "-w", "%{http_code}")
            self.assertEqual(answer.stdout, b"403")


class StunnelTest(TlsTest):
    front = staticmethod(fronts.stunnel)


# Its tests run in the two above.
del TlsTest

if __name__ == "__main__":
    unittest.main()
