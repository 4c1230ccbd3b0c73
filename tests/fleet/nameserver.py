"""A name server of one zone, for a Prometheus that looks for units.

Prometheus asks the servers that /etc/resolv.conf names, at port 53. So the test gives it a file of its own, which only root
can do.
"""

import socket
import struct
import threading
from pathlib import Path

ADDRESS = "127.0.0.53"
_A, _SRV = 1, 33


def _name(text: str) -> bytes:
    return b"".join(bytes([len(label)]) + label.encode() for label in text.rstrip(".").split(".")) + b"\0"


def _question(query: bytes) -> tuple[str, int, int]:
    """Name and type of what is asked, and where the question ends."""
    labels, at = [], 12
    while length := query[at]:
        labels.append(query[at + 1 : at + 1 + length].decode())
        at += length + 1
    return ".".join(labels), struct.unpack_from("!H", query, at + 1)[0], at + 5


class NameServer:
    """Serves while it is entered. Every host is here."""

    def __init__(self, service: str) -> None:
        self.units: dict[str, int] = {}  # the service's hosts, with their ports
        self._service = service
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.bind((ADDRESS, 53))

    def __enter__(self) -> "NameServer":
        threading.Thread(target=self._serve, daemon=True).start()
        return self

    def __exit__(self, *error: object) -> None:
        self._socket.close()

    def command(self, folder: Path) -> list[object]:
        """What to put before a command so that it asks this server."""
        resolv = folder / "resolv.conf"
        resolv.write_text(f"nameserver {ADDRESS}\n")
        return ["unshare", "--mount", "sh", "-c", f'mount --bind {resolv} /etc/resolv.conf && exec "$@"', "sh"]

    def _serve(self) -> None:
        while True:
            try:
                query, peer = self._socket.recvfrom(4096)
            except OSError:
                return
            self._socket.sendto(self._answer(query), peer)

    def _answer(self, query: bytes) -> bytes:
        name, kind, end = _question(query)
        data = []
        if kind == _SRV and name == self._service:
            data = [struct.pack("!HHH", 0, 0, port) + _name(host) for host, port in self.units.items()]
        elif kind == _A and name in self.units:
            data = [socket.inet_aton("127.0.0.1")]
        header = query[:2] + struct.pack("!HHHHH", 0x8580, 1, len(data), 0, 0)
        answers = [b"\xc0\x0c" + struct.pack("!HHIH", kind, 1, 0, len(each)) + each for each in data]
        return header + query[12:end] + b"".join(answers)
