"""Builds the disk of a small Debian system with the product's packages, as an operator would have it."""

import hashlib
import os
import re
import shutil
import subprocess
from collections.abc import Iterable
from pathlib import Path

from . import initramfs
from .archive import Archive
from .report import SetupError

PACKAGES = ("libstoragedevices0", "storagedevices")
RELEASE = "bookworm"
# What an appliance has beside the packages, and what the test needs: file systems, and a wget to ask the agent.
INCLUDED = (
    "systemd", "systemd-sysv", "udev", "kmod", "e2fsprogs", "busybox", "smartmontools", "nvme-cli", "hdparm",
)  # fmt: skip
LEFT_OUT = ("/usr/share/man/*", "/usr/share/doc/*", "/usr/share/locale/*")
DISK_MODULES = ("virtio_pci", "virtio_blk", "crc32c_generic", "ext4")
DISK_BYTES = 1 << 30  # of which the image takes what is used
OPTIONS = "".join(f"options {module} {value}\n" for module, value in initramfs.MODULE_PARAMETERS.items())

_SYSTEM = initramfs.HARNESS / "system"
_CONTROL = initramfs.HARNESS / "guest/control"


def chosen(folder: Path) -> list[Path]:
    """Of the built packages those that a unit has."""
    packages = [path for name in PACKAGES for path in folder.glob(f"{name}_*.deb")]
    if len(packages) != len(PACKAGES):
        raise SetupError(f"{folder} does not have one of each of {', '.join(PACKAGES)}: run make package")
    return packages


def emulator_arguments(image: Path) -> list[str]:
    """What is written to the disk is forgotten with the machine."""
    drive = f"file={image},format=raw,if=none,id=system,snapshot=on"
    return ["-drive", drive, "-device", "virtio-blk-pci,drive=system,addr=0x9"]


def build_initramfs(cache: Path, work: Path) -> Path:
    """Writes what the kernel needs to find the disk into the work folder, and answers its path."""
    archive = Archive()
    initramfs.add_base(archive, _SYSTEM / "init")
    initramfs.add_modules(archive, initramfs.modules_of(initramfs.find_kernel(cache)), DISK_MODULES)
    archive.file("/usr/bin/busybox", (cache / "root/bin/busybox").read_bytes(), 0o755)
    return initramfs.stored(archive.image(), work, "system-initramfs")


def build(cache: Path, packages: list[Path], work: Path) -> Path:
    """Writes the disk's image into the work folder, unless one of the same content is there, and answers its path."""
    for tool in ("mmdebstrap", "mke2fs", "systemctl"):
        if shutil.which(tool) is None:
            raise SetupError(f"{tool} is missing: run scripts/setup boot")
    if os.geteuid() != 0:
        raise SetupError("packages are installed into a system as root: run it as root")
    base = _base(cache, [*INCLUDED, *_needed(packages)])
    modules = initramfs.modules_of(initramfs.find_kernel(cache))
    sources = (*packages, _CONTROL, _SYSTEM / "control.service", Path(__file__))
    image = work / f"system-{_digest(base.name, modules.name, *map(_content, sources))}.ext4"
    if not image.exists():
        for old in work.glob("system-*.ext4"):
            old.unlink()
        _make(image, base, modules, packages, work)
    return image


def _needed(packages: Iterable[Path]) -> list[str]:
    """The packages that these depend on, without themselves and without alternatives."""
    fields = [_run("dpkg-deb", "--field", str(package), "Package", "Depends") for package in packages]
    own = set(re.findall(r"^Package: (\S+)$", "\n".join(fields), re.MULTILINE))
    lists = re.findall(r"^Depends: (.*)$", "\n".join(fields), re.MULTILINE)
    return sorted({word.split()[0] for line in lists for word in line.split(",")} - own)


def _base(cache: Path, names: list[str]) -> Path:
    """The system without the product's packages; of the mirror, once."""
    command = ["mmdebstrap", "--quiet", "--variant=minbase", "--format=tar", f"--include={','.join(names)}"]
    command += [f"--dpkgopt=path-exclude={pattern}" for pattern in LEFT_OUT]
    path = cache / f"system-{_digest(RELEASE, *command)}.tar"
    if not path.exists():
        for old in cache.glob("system-*.tar"):
            old.unlink()
        partial = path.with_suffix(".partial")
        _run(*command, RELEASE, str(partial))
        partial.rename(path)
    return path


def _make(image: Path, base: Path, modules: Path, packages: list[Path], work: Path) -> None:
    root, partial = work / "system-root", image.with_suffix(".partial")
    shutil.rmtree(root, ignore_errors=True)
    root.mkdir()
    try:
        _run("tar", "-C", str(root), "-x", "--xattrs-include=*", "-f", str(base))
        _install(root, packages)
        _add_modules(root, modules)
        _add_control(root)
        partial.unlink(missing_ok=True)
        _run("mke2fs", "-q", "-t", "ext4", "-d", str(root), str(partial), f"{DISK_BYTES >> 10}k")
        partial.rename(image)
    finally:
        shutil.rmtree(root)


def _install(root: Path, packages: list[Path]) -> None:
    """No service starts here: no systemd runs in the root."""
    folder = root / "packages"
    folder.mkdir()
    for package in packages:
        shutil.copy(package, folder)
    names = [f"/packages/{package.name}" for package in packages]
    _run("chroot", str(root), "dpkg", "--force-unsafe-io", "--install", *names)


def _add_modules(root: Path, modules: Path) -> None:
    shutil.copytree(modules, root / "lib/modules" / modules.name, ignore=shutil.ignore_patterns("build", "source"))
    (root / "etc/modprobe.d/test.conf").write_text(OPTIONS)
    _run("chroot", str(root), "depmod", modules.name)


def _add_control(root: Path) -> None:
    shutil.copy(_CONTROL, root / "usr/local/sbin/control")
    shutil.copy(_SYSTEM / "control.service", root / "etc/systemd/system")
    _run("systemctl", "--root", str(root), "enable", "control.service")
    (root / "etc/fstab").write_text("/dev/vda / ext4 defaults 0 0\n")
    (root / "etc/hostname").write_text("appliance\n")


def _run(*command: str) -> str:
    environment = {**os.environ, "LC_ALL": "C", "DEBIAN_FRONTEND": "noninteractive"}
    done = subprocess.run(command, env=environment, capture_output=True, text=True, timeout=900)
    if done.returncode != 0:
        raise SetupError(f"{' '.join(command)}: {(done.stderr or done.stdout).strip()[-500:]}")
    return done.stdout


def _content(path: Path) -> str:
    return hashlib.sha256(path.read_bytes()).hexdigest()


def _digest(*parts: str) -> str:
    return hashlib.sha256("\0".join(parts).encode()).hexdigest()[:16]
