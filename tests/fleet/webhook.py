"""A receiver of Alertmanager's notifications."""

import json
import threading
import time
from dataclasses import dataclass
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from typing import Any, Callable

import servers


@dataclass(frozen=True)
class Notification:
    """One call: a group of alerts."""

    path: str
    time: float  # of the monotonic clock
    body: dict[str, Any]

    def alerts(self, status: str) -> list[dict[str, Any]]:
        """Those that are "firing" or "resolved"."""
        return [alert for alert in self.body["alerts"] if alert["status"] == status]


class Webhook:
    """Serves while it is entered; keeps what it was sent."""

    def __init__(self) -> None:
        self.notifications: list[Notification] = []
        handler = type("Handler", (_Handler,), {"webhook": self})
        self._server = ThreadingHTTPServer(("127.0.0.1", 0), handler)
        self.url = f"http://127.0.0.1:{self._server.server_address[1]}"

    def __enter__(self) -> "Webhook":
        threading.Thread(target=self._server.serve_forever, args=(0.05,), daemon=True).start()
        return self

    def __exit__(self, *error: object) -> None:
        self._server.shutdown()
        self._server.server_close()

    def of(self, path: str) -> list[Notification]:
        return [each for each in self.notifications if each.path == path]

    def wait(self, condition: Callable[[], Any], seconds: float, what: str) -> Any:
        return servers.wait(condition, seconds, f"{what}; received: {self.summary()}")

    def summary(self) -> list[str]:
        return [
            f"{each.path} {alert['status']} {alert['labels']['alertname']} {alert['labels'].get('instance', '')}"
            for each in self.notifications
            for alert in each.body["alerts"]
        ]


class _Handler(BaseHTTPRequestHandler):
    webhook: Webhook

    def do_POST(self) -> None:
        body = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
        self.webhook.notifications.append(Notification(self.path, time.monotonic(), body))
        self.send_response(200)
        self.end_headers()

    def log_message(self, *arguments: Any) -> None:
        """Quiet."""
