"""What operators put in front of an agent, as it ships: TLS by nginx or by stunnel."""

import os
import subprocess
from pathlib import Path

import servers
from fleet import Unit
from places import DEPLOY, MAKE_CERTIFICATES

HERE = "127.0.0.1"


def make_certificates(folder: Path, addresses: dict[str, str]) -> None:
    """One for each name, with its address; see deploy/tls."""
    pairs = [word for pair in addresses.items() for word in pair]
    subprocess.run([str(word) for word in (MAKE_CERTIFICATES, folder, *pairs)], check=True)


def _replaced(text: str, old: str, new: str) -> str:
    assert old in text, old
    return text.replace(old, new)


def _shipped(program: str, folder: Path, port: int, name: str) -> str:
    """The example, on this port, with the certificate of that name."""
    text = (DEPLOY / program / "storagedevices.conf").read_text()
    text = _replaced(text, "/etc/storagedevices/tls/unit", f"{folder}/tls/{name}")
    text = _replaced(text, "/etc/storagedevices/tls", f"{folder}/tls")
    return _replaced(text, " 9635", f" {HERE}:{port}")


def nginx(folder: Path, unit: Unit, port: int, name: str = "unit") -> servers.Server:
    example = _shipped("nginx", folder, port, name)
    (folder / "unit.conf").write_text(_replaced(example, f"http://{HERE}:9634", f"http://{unit.address}"))
    user = "user root;" if os.geteuid() == 0 else ""
    kinds = ("client_body", "proxy", "fastcgi", "uwsgi", "scgi")
    temporary = "".join(f"{kind}_temp_path {folder}/{kind};" for kind in kinds)
    config = folder / "nginx.conf"
    config.write_text(
        f"{user} daemon off; pid {folder}/nginx.pid; error_log stderr; events {{}}"
        f"http {{ access_log off; {temporary} include {folder}/unit.conf; }}"
    )
    return servers.Server("nginx", folder, ["nginx", "-p", folder, "-e", "stderr", "-c", config], f"{HERE}:{port}")


def stunnel(folder: Path, unit: Unit, port: int, name: str = "unit") -> servers.Server:
    """It keeps the user of the test, to whom the socket belongs."""
    example = _replaced(_shipped("stunnel", folder, port, name), "/run/storagedevices/status.sock", str(unit.socket()))
    example = _replaced(example, "setuid = nobody\nsetgid = storagedevices\n", "")
    config = folder / f"stunnel-{port}.conf"
    config.write_text(example)
    return servers.Server(f"stunnel-{port}", folder, ["stunnel", config], f"{HERE}:{port}")
