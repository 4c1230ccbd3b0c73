"""Builds the guest's initramfs from Debian's packages, this machine's libraries and an installed tree."""

import hashlib
import os
import re
import subprocess
from collections.abc import Iterable
from pathlib import Path

from .archive import Archive
from .report import SetupError

HARNESS = Path(__file__).parent
GUEST_PREFIX = "/opt/storagedevices"
LINE_STORM = "/usr/bin/line-storm"

KERNEL_MODULES = (
    "ahci", "sd_mod", "nvme", "xhci_pci", "usb_storage", "uas", "sdhci_pci", "mmc_block",
    "crc32c_generic", "ext4", "vfat", "nls_cp437", "nls_ascii", "xfs", "dm_mod", "dm_zero",
    "virtio_pci", "virtio_console",
)  # fmt: skip
KERNELS = ("debian", "backports")  # Debian's own, and the newer one of its backports
LATER_MODULES = ("scsi_debug",)  # which a scenario loads by itself
# One path per namespace, whatever the default of this kernel. One SATA command at a time. A disk refuses some commands,
# such as smartctl's --offlineauto. Then the emulator fails the next one of those that are queued.
MODULE_PARAMETERS = {"nvme_core": "multipath=N", "libata": "force=noncq"}

# Where they stand in the cache or, failing that, on this machine.
PROGRAMS = ("/bin/udevadm", "/sbin/hdparm", "/usr/sbin/nvme", "/usr/sbin/smartctl", "/sbin/dmsetup", "/usr/bin/expr")
UDEV_HELPERS = ("ata_id", "scsi_id", "cdrom_id")
MERGED = ("bin", "sbin", "lib", "lib64")
GROUPS = "root tty dialout kmem input video audio lp disk cdrom tape floppy render sgx kvm plugdev".split()


def cache_dir() -> Path:
    """The folder that fetch-kernel fills, chosen as it chooses it."""
    if override := os.environ.get("STORAGEDEVICES_VM_CACHE"):
        return Path(override)
    system = Path("/var/cache/storagedevices-vm")
    if (system / "packages").is_file():
        return system
    return Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "storagedevices-vm"


def chosen_kernel() -> str:
    """The default of this run."""
    return os.environ.get("STORAGEDEVICES_VM_KERNEL", KERNELS[0])


def find_kernel(cache: Path, name: str = KERNELS[0]) -> Path:
    folder, option = (cache, "") if name == KERNELS[0] else (cache / name, f" --{name}")
    kernels = sorted((folder / "root/boot").glob("vmlinuz-*"))
    if not kernels:
        raise SetupError(f"no kernel in {folder}: run tests/vm/fetch-kernel{option} (it downloads linux-image-amd64)")
    return kernels[-1]


def build(cache: Path, prefix: Path | None, work: Path, kernel: Path, line_storm: Path | None = None) -> Path:
    """Writes the initramfs into the work folder, unless one of the same content is there, and answers its path."""
    archive = Archive()
    add_base(archive, *sorted((HARNESS / "guest").iterdir()))
    add_modules(archive, modules_of(kernel), KERNEL_MODULES, LATER_MODULES)
    libraries = Libraries(archive, cache / "root")
    _add_programs(archive, cache / "root", libraries)
    if prefix is not None:
        _add_prefix(archive, prefix, libraries)
    if line_storm is not None:
        archive.file(LINE_STORM, line_storm.read_bytes(), 0o755)
        libraries.add_for(line_storm)
    return stored(archive.image(), work, "initramfs")


def modules_of(kernel: Path) -> Path:
    """The folder of its modules."""
    return kernel.parent.parent / "lib/modules" / kernel.name.removeprefix("vmlinuz-")


def stored(image: bytes, work: Path, name: str) -> Path:
    path = work / f"{name}-{hashlib.sha256(image).hexdigest()[:16]}.cpio"
    if not path.exists():
        for old in work.glob(f"{name}-*.cpio"):
            old.unlink()
        partial = path.with_suffix(".partial")
        partial.write_bytes(image)
        partial.rename(path)
    return path


def add_base(archive: Archive, *scripts: Path) -> None:
    """The folders of a system, and the scripts at its top."""
    for path in ("/proc", "/sys", "/dev", "/run", "/tmp", "/mnt", "/etc/udev/rules.d", "/usr/lib64", "/var"):
        archive.directory(path)
    for name in MERGED:
        archive.link(f"/{name}", f"usr/{name}")
    archive.link("/usr/sbin", "bin")
    archive.link("/var/run", "../run")
    archive.file("/etc/passwd", b"root:x:0:0:root:/:/bin/sh\n")
    archive.file("/etc/group", "".join(f"{name}:x:{number}:\n" for number, name in enumerate(GROUPS)).encode())
    for source in scripts:
        archive.file(f"/{source.name}", source.read_bytes(), 0o755)


def add_modules(archive: Archive, tree: Path, names: Iterable[str], later: Iterable[str] = ()) -> None:
    """Adds the modules and, in the order in which they must be loaded, a list of them with their parameters."""
    files = {_module_name(path): path for path in tree.rglob("*.ko")}
    builtin = {_module_name(Path(line)) for line in (tree / "modules.builtin").read_text().split()}
    order: list[str] = []

    def visit(name: str) -> None:
        if name in order or name in builtin:
            return
        if name not in files:
            raise SetupError(f"{tree} has no module {name}: run tests/vm/fetch-kernel --force")
        for needed in _dependencies(files[name]):
            visit(needed)
        order.append(name)

    for name in (*names, *later):
        visit(name)
    for name in order:
        archive.file(f"/modules/{name}.ko", files[name].read_bytes())
    lines = [f"{name}.ko {MODULE_PARAMETERS.get(name, '')}".rstrip() for name in order if name not in later]
    archive.file("/modules/order", ("\n".join(lines) + "\n").encode())


def _module_name(path: Path) -> str:
    return path.stem.replace("-", "_")


def _dependencies(module: Path) -> list[str]:
    found = re.search(rb"\0depends=([^\0]*)\0", module.read_bytes())
    names = found[1].decode() if found else ""
    return [name.replace("-", "_") for name in names.split(",") if name]


def _environment(root: Path) -> dict[str, str]:
    """In which the cache's programs find their libraries on this machine."""
    folders = [root / "usr/lib/x86_64-linux-gnu", root / "lib/x86_64-linux-gnu"]
    return {**os.environ, "LC_ALL": "C", "LD_LIBRARY_PATH": ":".join(map(str, folders))}


def run_here(cache: Path, program: str, *arguments: str) -> None:
    """Runs a program of the cache on this machine; it has to succeed."""
    root = cache / "root"
    command = [str(_located(root, program)), *arguments]
    done = subprocess.run(command, env=_environment(root), capture_output=True, text=True, timeout=60)
    if done.returncode != 0:
        raise SetupError(f"{' '.join(command)}: {(done.stderr or done.stdout).strip()}")


class Libraries:
    """Adds to the archive the shared libraries that programs need, as this machine's dynamic linker finds them."""

    def __init__(self, archive: Archive, root: Path) -> None:
        self._archive = archive
        self._environment = _environment(root)

    def add_for(self, program: Path, prefix: Path | None = None) -> None:
        for library in self._needed(program):
            if prefix is not None and library.is_relative_to(prefix):
                continue  # the whole tree is added as it stands
            folder = "/usr/lib64" if library.name.startswith("ld-linux") else "/usr/lib/x86_64-linux-gnu"
            if f"{folder}/{library.name}" not in self._archive:
                self._archive.file(f"{folder}/{library.name}", library.read_bytes(), 0o755)

    def _needed(self, program: Path) -> Iterable[Path]:
        listing = subprocess.run(
            ["ldd", str(program)], env=self._environment, capture_output=True, text=True, timeout=30
        )
        if missing := re.findall(r"(\S+) => not found", listing.stdout):
            raise SetupError(f"{program} needs {', '.join(missing)}, which this machine lacks: install it")
        if "statically linked" in listing.stdout or "not a dynamic executable" in listing.stderr:
            return []
        return [Path(os.path.normpath(path)) for path in re.findall(r"(/\S+) \(0x", listing.stdout)]


def _add_programs(archive: Archive, root: Path, libraries: Libraries) -> None:
    for program in PROGRAMS:
        source = _located(root, program)
        archive.file(f"/usr/bin/{source.name}", source.read_bytes(), 0o755)
        libraries.add_for(source)
    archive.file("/usr/bin/busybox", _located(root, "/bin/busybox").read_bytes(), 0o755)
    archive.link("/usr/lib/systemd/systemd-udevd", "/usr/bin/udevadm")
    udev = root / "lib/udev"
    for helper in UDEV_HELPERS:
        archive.file(f"/usr/lib/udev/{helper}", (udev / helper).read_bytes(), 0o755)
        libraries.add_for(udev / helper)
    for rule in sorted((udev / "rules.d").glob("*.rules")):
        archive.file(f"/usr/lib/udev/rules.d/{rule.name}", rule.read_bytes())


def _located(root: Path, program: str) -> Path:
    for candidate in (root / program.lstrip("/"), Path(program)):
        if candidate.is_file():
            return candidate
    raise SetupError(f"{program} is neither in {root} nor on this machine: run tests/vm/fetch-kernel --force")


def _add_prefix(archive: Archive, prefix: Path, libraries: Libraries) -> None:
    """Adds the programs and libraries of an installed tree at the same places below GUEST_PREFIX."""
    agent = prefix / "bin/storagedevices"
    if not agent.is_file():
        raise SetupError(f"{agent} is missing: install the build tree there (cmake --install BUILD --prefix {prefix})")
    for path in sorted(prefix.rglob("*")):
        guest = f"{GUEST_PREFIX}/{path.relative_to(prefix)}"
        if path.relative_to(prefix).parts[0] == "include" or path.is_dir() and not path.is_symlink():
            continue
        if path.is_symlink():
            archive.link(guest, os.readlink(path))
        elif path.suffix not in (".a", ".cmake"):
            archive.file(guest, path.read_bytes(), path.stat().st_mode & 0o777)
            if os.access(path, os.X_OK) or ".so" in path.name:
                libraries.add_for(path, prefix)
