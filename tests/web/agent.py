"""An agent that is none: serves the page, and answers that a test changes while it runs.

`python3 tests/web/agent.py [PORT]` serves the invented unit of sample.py to look at.
"""

import json
import mimetypes
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path
from typing import Any, Optional
from urllib.parse import parse_qs, unquote, urlsplit

import sample

WEB = Path(__file__).resolve().parents[2] / "web"
DYGRAPHS = Path("/usr/share/javascript/dygraphs")

POLICY = (
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
    "require-trusted-types-for 'script'; trusted-types default"
)

Json = dict[str, Any]


class FakeAgent:
    """The answers, and the server that gives them. Its attributes may be changed at any time."""

    def __init__(self, state: Optional[Json] = None, messages: Optional[list[Json]] = None, port: int = 0) -> None:
        self.state: Json = state if state is not None else sample.unit()
        self.messages: list[Json] = messages if messages is not None else sample.messages()
        self.history: Json = sample.history()
        self.stalls = False
        self.refuses = False
        self.requests: list[str] = []
        self.open_streams = 0
        self.changed = threading.Condition()
        self._events: list[tuple[str, Json]] = []
        self._generation = 0
        self._port = port
        self._server: Optional[ThreadingHTTPServer] = None
        self.start()

    @property
    def url(self) -> str:
        return f"http://127.0.0.1:{self._port}/"

    def start(self) -> None:
        """Serves, on the same port as before."""
        handler = type("Handler", (_Handler,), {"agent": self})
        self._server = _Server(("127.0.0.1", self._port), handler)
        self._port = self._server.server_address[1]
        threading.Thread(target=self._server.serve_forever, args=(0.01,), daemon=True).start()

    def stop(self) -> None:
        """Ends all connections, and refuses new ones."""
        if self._server:
            self._server.shutdown()
            self._server.server_close()
            self._server = None
        self.break_streams()

    def break_streams(self) -> None:
        with self.changed:
            self._generation += 1
            self.changed.notify_all()

    def publish(self, message: Json) -> None:
        """Logs a message: it is kept, and sent to whoever listens."""
        with self.changed:
            self.messages.append(message)
            self.changed.notify_all()

    def send_event(self, name: str, data: Json) -> None:
        with self.changed:
            self._events.append((name, data))
            self.changed.notify_all()

    def state_is(self, state: Json) -> None:
        """Changes the state, and says so."""
        self.state = state
        self.send_event("state", {"changed": list(state["verdicts"])})

    def stream(self, after: int, write: Any) -> None:
        """Writes events until the stream is broken."""
        with self.changed:
            generation, seen = self._generation, len(self._events)
            self.open_streams += 1
        try:
            while True:
                with self.changed:
                    while not (fresh := self._fresh(after, seen)) and generation == self._generation:
                        self.changed.wait(1)
                    if generation != self._generation:
                        return
                    seen = len(self._events)
                for name, number, data in fresh:
                    after = number or after
                    write(event_text(name, number, data))
        finally:
            with self.changed:
                self.open_streams -= 1

    def _fresh(self, after: int, seen: int) -> list[tuple[str, int, Json]]:
        logged = [("message", each["sequence"], each) for each in self.messages if each["sequence"] > after]
        return logged + [(name, 0, data) for name, data in self._events[seen:]]


def event_text(name: str, number: int, data: Json) -> bytes:
    head = f"id: {number}\n" if number else ""
    return f"{head}event: {name}\ndata: {json.dumps(data)}\n\n".encode()


class _Server(ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 64
    allow_reuse_address = True

    def handle_error(self, request: Any, client_address: Any) -> None:
        """A browser that leaves is no error."""


class _Handler(BaseHTTPRequestHandler):
    agent: FakeAgent
    protocol_version = "HTTP/1.1"

    def do_GET(self) -> None:
        self.agent.requests.append(self.path)
        url = urlsplit(self.path)
        arguments = {name: values[0] for name, values in parse_qs(url.query).items()}
        if url.path.startswith("/api/"):
            self._answer_api(url.path, arguments)
        else:
            self._answer_file(unquote(url.path))

    def log_message(self, *arguments: Any) -> None:
        """Quiet."""

    def _answer_api(self, path: str, arguments: dict[str, str]) -> None:
        while self.agent.stalls:
            time.sleep(0.01)
        if self.agent.refuses:
            self.send_error(503)
        elif path == "/api/v1/state":
            self._answer_json(self.agent.state)
        elif path == "/api/v1/messages":
            after = int(arguments.get("after", 0))
            self._answer_json({"messages": [each for each in self.agent.messages if each["sequence"] > after]})
        elif path == "/api/v1/history":
            newest = int(arguments.get("hours", 24)) * 60
            self._answer_json({key: column[-newest:] for key, column in self.agent.history.items()})
        elif path == "/api/v1/events":
            self._answer_events(int(self.headers.get("Last-Event-ID") or arguments.get("after", 0)))
        else:
            self.send_error(404)

    def _answer_events(self, after: int) -> None:
        self._head(200, "text/event-stream", "no-store")
        self.close_connection = True
        self.wfile.write(b": begin\n\n")
        self.wfile.flush()
        self.agent.stream(after, self._write)

    def _write(self, data: bytes) -> None:
        self.wfile.write(data)
        self.wfile.flush()

    def _answer_file(self, path: str) -> None:
        name = "index.html" if path == "/" else path.lstrip("/")
        root = DYGRAPHS.parent if name.startswith("dygraphs/") else WEB
        file = (root / name).resolve()
        if not file.is_file() or root.resolve() not in file.parents:
            self.send_error(404)
            return
        kind = mimetypes.guess_type(name)[0] or "application/octet-stream"
        text_kind = f"{kind}; charset=utf-8" if kind.startswith("text/") or kind.endswith("javascript") else kind
        self._answer(file.read_bytes(), text_kind, "no-cache")

    def _answer_json(self, document: Json) -> None:
        self._answer(json.dumps(document).encode(), "application/json", "no-store")

    def _answer(self, body: bytes, kind: str, caching: str) -> None:
        self._head(200, kind, caching, len(body))
        self.wfile.write(body)

    def _head(self, status: int, kind: str, caching: str, length: Optional[int] = None) -> None:
        self.send_response(status)
        self.send_header("Content-Type", kind)
        self.send_header("Cache-Control", caching)
        self.send_header("Content-Security-Policy", POLICY)
        self.send_header("X-Content-Type-Options", "nosniff")
        self.send_header("Connection", "close")
        if length is not None:
            self.send_header("Content-Length", str(length))
        self.end_headers()


def main() -> None:
    agent = FakeAgent(port=int(sys.argv[1]) if len(sys.argv) > 1 else 8080)
    print(f"serving an invented unit at {agent.url}; Ctrl-C ends it")
    try:
        threading.Event().wait()
    except KeyboardInterrupt:
        agent.stop()


if __name__ == "__main__":
    main()
