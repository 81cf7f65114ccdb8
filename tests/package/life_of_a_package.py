"""The Debian packages through their life: installed by apt in a lower version, run, upgraded, removed, installed again, purged.

Runs as root in namespaces of its own (tests/package/run makes them), so the gateway's real ports are free and nothing that is
mounted or started here outlives the test. The agent runs with the capabilities and the writable folders of its unit, no more.
"""
import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import time

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PACKAGES = PROJECT / "build" / "package"
PLATFORM = PROJECT / "build" / "release" / "bin" / "nuvek-platform"
ROOT_ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C", "DEBIAN_FRONTEND": "noninteractive"}
WAIT_S = 30
# What dpkg itself keeps about its work.
DPKG_OWN = re.compile(r"/var/(lib|cache)/dpkg/.*|/var/log/(dpkg|alternatives)\.log|/var/lib/systemd(/deb-systemd-helper-.*)?|"
                      r"/var/cache/ldconfig/aux-cache|/var/(lib|cache|log)/apt(/.*)?|/repo(/.*)?|/var/cache/apparmor")


def wait_for(what, condition):
    end = time.monotonic() + WAIT_S
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    pytest.fail(f"waited {WAIT_S} s for {what}")
    return None


class Root:
    """A clean Debian root."""

    def __init__(self, folder):
        self.folder = folder
        folder.mkdir()
        subprocess.run(["tar", "-C", folder, "-xf", os.environ["NUVEK_CLEAN_ROOT"]], check=True)
        subprocess.run(["mount", "-t", "proc", "proc", folder / "proc"], check=True)
        self.path("/etc/apt/sources.list").write_text("")

    def path(self, absolute):
        return self.folder / str(absolute).lstrip("/")

    def run(self, *command):
        done = subprocess.run(["chroot", self.folder, *command], env=ROOT_ENVIRONMENT, capture_output=True, text=True,
                              check=False)
        assert done.returncode == 0, f"{command}: {done.stdout}{done.stderr}"
        return done.stdout.rstrip("\n")

    def offer(self, *packages):
        """Makes these packages the archive that apt knows."""
        archive = self.path("/repo")
        shutil.rmtree(archive, ignore_errors=True)
        archive.mkdir()
        for package in packages:
            shutil.copy(package, archive)
        index = subprocess.run(["dpkg-scanpackages", "--multiversion", "."], cwd=archive, capture_output=True, check=True)
        (archive / "Packages").write_bytes(index.stdout)
        self.path("/etc/apt/sources.list").write_text("deb [trusted=yes] file:/repo ./\n")
        self.run("apt-get", "update", "-q")

    def install(self, name="nuvek"):
        self.run("apt-get", "install", "-y", "-q", "--no-install-recommends", name)

    def tcapi(self, *words):
        return self.run("tcapi", *words)

    def version(self):
        return self.run("dpkg-query", "--show", "--showformat=${Version} ${db:Status-Status}", "nuvek")

    def files(self):
        skipped = {str(self.path(top)) for top in ("/proc", "/sys", "/dev", "/run")}
        found = set()
        for folder, folders, names in os.walk(self.folder):
            folders[:] = [name for name in folders if f"{folder}/{name}" not in skipped]
            found.update(f"{folder}/{name}".removeprefix(str(self.folder)) for name in [*folders, *names])
        return {name for name in found if not DPKG_OWN.fullmatch(name)}


class Unit:
    """What the package's systemd unit grants."""

    def __init__(self, path):
        self.lines = [line.split("=", 1) for line in path.read_text().splitlines() if re.match(r"[A-Z]\w*=", line)]

    def words(self, key):
        return " ".join(value for name, value in self.lines if name == key).split()

    def command(self):
        return self.words("ExecStart")

    def mounts(self):
        """Folders and how they are mounted, outer ones first, as systemd does it."""
        rows = [(word.lstrip("-"), mode) for key, mode in (("ReadWritePaths", "rw"), ("ReadOnlyPaths", "ro"))
                for word in self.words(key)]
        rows += [(f"/var/lib/{word}", "rw") for word in self.words("StateDirectory")]
        return [("/", "ro"), *sorted(set(rows))]


class Agent:
    """The packaged agent, with what its unit grants and no more."""

    def __init__(self, root, unit, log):
        lines = ["set -e"]
        for folder, mode in unit.mounts():
            place = root.path(folder)
            if place.is_dir():
                lines += [f"mount --bind {place} {place}", f"mount -o remount,bind,{mode} {place}"]
        lines.append(f"mount -t proc proc {root.path('/proc')}")
        capabilities = ",".join(name.lower().replace("cap_", "+") for name in unit.words("CapabilityBoundingSet"))
        lines.append(f"exec chroot {root.folder} setpriv --no-new-privs --inh-caps=-all --bounding-set=-all,{capabilities} "
                     f"{' '.join(unit.command())} -v on")
        with log.open("a") as out:
            self.process = subprocess.Popen(["unshare", "--mount", "sh", "-c", "\n".join(lines)], env=ROOT_ENVIRONMENT,
                                            stdin=subprocess.DEVNULL, stdout=out, stderr=out)

    def stop(self):
        assert self.process.poll() is None, "the agent ended by itself"
        self.process.terminate()
        assert self.process.wait(timeout=5) == -15


def post_location():
    message = {"ID": 7, "Longitude": "116.397128", "Latitude": "39.916527", "AreaCode": "110101"}

    def connected():
        try:
            return socket.create_connection(("127.0.0.1", 17999), timeout=WAIT_S)
        except ConnectionRefusedError:
            return None

    with wait_for("the local port", connected) as client:
        client.sendall(json.dumps(message).encode())
        return json.loads(client.recv(1024))


@pytest.fixture
def root(tmp_path):
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    made = Root(tmp_path / "root")
    yield made
    subprocess.run(["umount", made.path("/proc")], check=True)
    shutil.rmtree(made.folder)


@pytest.fixture
def journal(tmp_path):
    """The platform's exchanges, as a function that reads them."""
    path = tmp_path / "journal"
    path.touch()
    server = subprocess.Popen([PLATFORM, "--address", "127.0.0.1", "--journal", path], stdout=subprocess.DEVNULL)
    yield lambda: [json.loads(line) for line in path.read_text().splitlines() if line.endswith("}")]
    server.terminate()
    server.wait(timeout=5)


def in_a_lower_version(packages, folder):
    """The same packages as version 0.9.0."""
    folder.mkdir()
    for package in packages:
        unpacked = folder / "unpacked"
        subprocess.run(["dpkg-deb", "--raw-extract", package, unpacked], check=True)
        control = unpacked / "DEBIAN" / "control"
        text = re.sub(r"(?m)^Version: .*", "Version: 0.9.0", control.read_text())
        control.write_text(re.sub(r"nuvek-standins \(= [^)]*\)", "nuvek-standins (= 0.9.0)", text))
        subprocess.run(["dpkg-deb", "--build", "--root-owner-group", unpacked, folder / package.name], check=True,
                       capture_output=True)
        shutil.rmtree(unpacked)
    return sorted(folder.glob("*.deb"))


def test_no_file_of_the_packages_names_the_machine_that_built_it(tmp_path):
    packages = sorted(PACKAGES.glob("nuvek*.deb"))
    assert [package.name.split("_")[0] for package in packages] == ["nuvek-desk", "nuvek-dev", "nuvek-standins", "nuvek"]
    for package in packages:
        subprocess.run(["dpkg-deb", "--raw-extract", package, tmp_path / package.name], check=True)
    files = [path for path in tmp_path.rglob("*") if path.is_file()]
    assert len(files) > 30
    assert not [path for path in files if str(PROJECT).encode() in path.read_bytes()]


def test_life_of_a_package(root, journal, tmp_path):
    packages = sorted(PACKAGES.glob("nuvek*.deb"))
    this_version = packages[0].name.split("_")[1]
    log = tmp_path / "agent.log"
    before = root.files()

    root.offer(*in_a_lower_version(packages, tmp_path / "lower"))
    root.install()
    assert root.version() == "0.9.0 installed"
    enabled = root.path("/etc/systemd/system/multi-user.target.wants/nuvek.service")
    assert enabled.is_symlink()
    unit = Unit(root.path(os.readlink(enabled)))

    for words in (("nuvek_Server", "PlatDomain1", "127.0.0.1"), ("Info_eth0.1", "hwaddr", "02:4e:56:45:4b:01")):
        root.tcapi("set", *words)
    root.tcapi("save")
    clock = Unit(root.path(os.readlink(enabled.with_name("nuvek-clock.service"))))
    assert clock.words("After") == ["time-sync.target"]
    root.run(*clock.command())
    agent = Agent(root, unit, log)
    assert post_location() == {"Result": 0, "ID": 7}
    wait_for("the registration", lambda: "RegId=NUVEK-1" in root.tcapi("show"))
    uuid = root.tcapi("get", "nuvek_Common", "UUID")
    key_file = wait_for("the key file", lambda: root.path("/usr/osgi/nuvekKeyInfo").exists()
                        and root.path("/usr/osgi/nuvekKeyInfo").read_text())
    assert f"UUID={uuid}" in key_file
    wait_for("the trace-route", root.path("/tmp/tracenuvek").exists)
    assert root.run("nuvek-status").startswith("registered       yes\n")
    agent.stop()
    assert [entry["kind"] for entry in journal()].count("Inform0") >= 1
    assert all(entry["verdict"] == "ok" for entry in journal())

    root.offer(*packages)
    root.install()
    assert root.version() == f"{this_version} installed"
    assert root.tcapi("get", "nuvek_Common", "UUID") == uuid
    assert enabled.is_symlink()
    root.tcapi("set", "nuvek_Common", "LastInformTime", "1")
    agent = Agent(root, unit, log)
    wait_for("a report of the same device", lambda: ("Report", uuid) in [(e["kind"], e["uuid"]) for e in journal()])
    agent.stop()
    root.tcapi("save")

    flash = root.path("/var/lib/tcapi/flash").read_bytes()
    root.run("dpkg", "--remove", "nuvek")
    assert root.version() == f"{this_version} config-files"
    assert not root.path("/usr/sbin/nuvek").exists()
    assert root.path("/var/lib/tcapi/flash").read_bytes() == flash
    root.install()
    assert root.tcapi("get", "nuvek_Common", "UUID") == uuid

    for left in ("timeSync", "tracenuvek", "app_check.pid"):
        root.path(f"/tmp/{left}").unlink(missing_ok=True)
    root.run("apt-get", "purge", "-y", "-q", "nuvek", "nuvek-standins")
    assert root.files() == before


def test_the_desk_and_the_headers_install_and_go(root):
    before = root.files()
    root.offer(*PACKAGES.glob("nuvek*.deb"))
    root.run("dpkg", "--install", "--force-depends", *(f"/repo/{path.name}" for path in PACKAGES.glob("nuvek-de*.deb")))
    assert root.path("/usr/share/nuvek/scenarios/story.yaml").is_file() and root.path("/usr/include/nuvek/tcapi.h").is_file()
    root.run("dpkg", "--purge", "nuvek-desk", "nuvek-dev")
    assert root.files() == before


def test_systemd_finds_no_fault_with_the_units(root):
    if shutil.which("systemd-analyze") is None:
        pytest.skip("NOT TESTED: systemd-analyze is not installed")
    root.offer(*PACKAGES.glob("nuvek*.deb"))
    root.install()
    units = sorted(root.path("/usr/lib/systemd/system").glob("nuvek*.service"))
    assert len(units) == 2
    done = subprocess.run(["systemd-analyze", "verify", "--man=no", "--recursive-errors=no", f"--root={root.folder}", *units],
                          capture_output=True, text=True, check=False)
    assert (done.returncode, done.stdout + done.stderr) == (0, "")
