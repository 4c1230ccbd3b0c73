"""An initramfs as the kernel reads it: an uncompressed cpio archive in the "newc" format."""

import stat


class Archive:
    """Files, directories and links by their absolute path in the guest."""

    def __init__(self) -> None:
        self._entries: dict[str, tuple[int, bytes]] = {}

    def directory(self, path: str) -> None:
        self._parents(path)
        self._entries.setdefault(path, (stat.S_IFDIR | 0o755, b""))

    def link(self, path: str, target: str) -> None:
        self._parents(path)
        self._entries[path] = (stat.S_IFLNK | 0o777, target.encode())

    def file(self, path: str, data: bytes, mode: int = 0o644) -> None:
        self._parents(path)
        self._entries[path] = (stat.S_IFREG | mode, data)

    def __contains__(self, path: str) -> bool:
        return path in self._entries

    def image(self) -> bytes:
        parts = [
            _member(number, path.lstrip("/"), mode, data)
            for number, (path, (mode, data)) in enumerate(self._entries.items(), start=1)
        ]
        parts.append(_member(0, "TRAILER!!!", 0, b""))
        return b"".join(parts)

    def _parents(self, path: str) -> None:
        parent = path.rpartition("/")[0]
        if parent and parent not in self._entries:
            self.directory(parent)


def _member(number: int, name: str, mode: int, data: bytes) -> bytes:
    links = 2 if stat.S_ISDIR(mode) else 1
    encoded = name.encode() + b"\0"
    fields = (number, mode, 0, 0, links, 0, len(data), 0, 0, 0, 0, len(encoded), 0)
    header = b"070701" + b"".join(b"%08x" % field for field in fields) + encoded
    return _padded(header) + _padded(data)


def _padded(data: bytes) -> bytes:
    return data + b"\0" * (-len(data) % 4)
