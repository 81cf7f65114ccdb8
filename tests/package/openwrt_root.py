"""The OpenWrt package at work: in a root of busybox and musl, on an operator network of namespaces, as root.

OpenWrt itself is not here: busybox's programs are, a few lines stand for its rc.common, procd and configuration reader. The
agent is the feed's, built with the musl toolchain. Both measurements run for real, so this takes about a minute and a half.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import time

import pytest

from desk.story.network import OperatorNetwork
from tests.package.openwrt_feed import FEED, make  # pylint: disable=unused-import

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PLATFORM = PROJECT / "build" / "release" / "bin" / "nuvek-platform"
MUSL = PROJECT / "build" / "musl-toolchain"
ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}

FUNCTIONS = """
config_load() {
  eval "$(sed -n "s/^config [a-z]* '\\(.*\\)'/section=\\1/p; s/^[ \\t]*option \\([a-z0-9]*\\) \\('.*'\\)/eval CONFIG_\\${section}_\\1=\\2/p" \
          "/etc/config/$1")"
}
config_get() { eval "$1=\\${CONFIG_$2_$3:-$4}"; }
config_get_bool() { config_get "$@"; }
"""
RC_COMMON = """#!/bin/sh
. /lib/functions.sh
procd_open_instance() { :; }
procd_set_param() { local kind=$1; shift; eval "$kind=\\$*"; }
procd_close_instance() {
  sh -c "while :; do env $env $command -v on >>/tmp/log 2>&1; sleep 1; done" </dev/null >/dev/null 2>&1 &
}
procd_add_reload_trigger() { :; }
. "$1"
start() { start_service; }
"$2"
"""


def wait_for(what, condition, limit_s=30):
    end = time.monotonic() + limit_s
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.1)
    pytest.fail(f"waited {limit_s} s for {what}")
    return None


class Gateway:
    def __init__(self, folder, network):
        self.folder, self.network = folder, network
        for name in ("bin", "sbin", "usr/bin", "usr/sbin", "lib", "etc", "tmp", "proc", "dev", "usr/lib/nuvek"):
            (folder / name).mkdir(parents=True, exist_ok=True)
        (folder / "var").symlink_to("tmp")  # as on OpenWrt: memory
        shutil.copy("/bin/busybox", folder / "bin" / "busybox")
        for name in subprocess.run(["/bin/busybox", "--list"], capture_output=True, text=True, check=True).stdout.split():
            if name != "busybox":
                (folder / "usr" / "bin" / name).symlink_to("/bin/busybox")
        (folder / "bin" / "sh").symlink_to("busybox")
        for library in re.findall(r"(/\S+) \(0x", subprocess.run(["ldd", "/bin/busybox"], capture_output=True, text=True,
                                                                    check=True).stdout):
            self.path(library).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(library, self.path(library))
        shutil.copy(MUSL / "x86_64/lib/ld-musl-x86_64.so.1", folder / "lib")
        (folder / "lib" / "functions.sh").write_text(FUNCTIONS)
        (folder / "etc" / "rc.common").write_text(RC_COMMON)
        (folder / "etc" / "rc.common").chmod(0o755)
        (folder / "etc" / "resolv.conf").write_text("nameserver 10.99.4.2\n")
        (folder / "dev" / "null").touch()
        subprocess.run(["mount", "--bind", "/dev/null", folder / "dev" / "null"], check=True)
        subprocess.run(["mount", "-t", "proc", "proc", folder / "proc"], check=True)

    def path(self, absolute):
        return self.folder / absolute.lstrip("/")

    def run(self, *command, status=0):
        done = subprocess.run([*self.network.inside("gw"), "chroot", self.folder, *command], env=ENVIRONMENT,
                              capture_output=True, text=True, check=False)
        assert done.returncode == status, f"{command}: {done.stdout}{done.stderr}"
        return done.stdout.rstrip("\n")

    def has(self, node, attribute):
        done = subprocess.run(["chroot", self.folder, "tcapi", "get", node, attribute], env=ENVIRONMENT, capture_output=True,
                              text=True, check=False)
        return done.stdout.strip()

    def boot(self):
        """What a boot takes away, and what starts at one."""
        self.run("sh", "-c", "kill -9 $(ps | sed -n 's/^ *\\([0-9]*\\) .*whil[e] :.*/\\1/p') $(pidof nuvek) 2>/dev/null; true")
        for path in self.path("/tmp").iterdir():
            shutil.rmtree(path) if path.is_dir() else path.unlink()
        self.run("/etc/init.d/nuvek", "start")


def build(folder, options, make_):
    """The feed's sources, with the musl toolchain, packed by the feed's own recipes into one root."""
    version = next(FEED.glob("nuvek-*.tar.gz")).name.removeprefix("nuvek-").removesuffix(".tar.gz")
    subprocess.run(["tar", "-C", folder, "-xf", FEED / f"nuvek-{version}.tar.gz"], check=True)
    sources, tree = folder / f"nuvek-{version}", folder / "tree"
    for command in (["cmake", "-S", sources, "-B", tree, "-G", "Ninja", "-DCMAKE_INSTALL_PREFIX=/usr", *options.split(),
                     f"-DCMAKE_TOOLCHAIN_FILE={PROJECT}/cmake/musl-x86_64.cmake"],
                    ["cmake", "--build", tree], ["cmake", "--install", tree]):
        done = subprocess.run(command, env={**os.environ, "DESTDIR": str(folder / "staged")}, capture_output=True, text=True,
                              check=False)
        assert done.returncode == 0, done.stdout + done.stderr
    for name in ("nuvek", "nuvek-standins"):
        make_(f"install-{name}")
        shutil.copytree(folder / "image" / name, folder / "root", symlinks=True, dirs_exist_ok=True)
    return folder / "root"


@pytest.fixture
def network(tmp_path):
    made = OperatorNetwork(tmp_path)
    yield made
    made.close()


@pytest.fixture
def platform(network, tmp_path):
    journal = tmp_path / "journal"
    journal.touch()
    server = subprocess.Popen([*network.inside("plat"), PLATFORM, "--address", network.platform_address, "--journal", journal],
                              stdout=subprocess.DEVNULL)

    def of(kind):
        entries = [json.loads(line) for line in journal.read_text().splitlines() if line.endswith("}")]
        return [entry for entry in entries if entry["kind"] == kind]
    yield of
    server.terminate()
    server.wait(timeout=5)


def result_of(entry, name):
    return json.loads(entry["request"].split("\r\n\r\n", 1)[1])[1]["Params"]["NUVEK"][name]


def post_location(network):
    client = ["/usr/bin/python3", "-B", "-m", "desk.location_client", "--address", network.gateway_address, "--port", "17999",
              "Longitude=116.397128", "Latitude=39.916527", "AreaCode=110101", "ID=7"]
    done = subprocess.run([*network.inside("lan"), *client], cwd=PROJECT, capture_output=True, text=True, check=False)
    return done.stdout


def test_a_gateway_right_after_the_installation(make, network, platform, tmp_path):  # pylint: disable=redefined-outer-name
    gateway = Gateway(build(tmp_path, make("print").split("|")[4], make), network)
    config = gateway.path("/etc/config/nuvek")
    config.write_text(re.sub(r"#(option (?:serial|mac|model) )", r"\1", config.read_text()))

    gateway.run("/etc/init.d/nuvek", "start")
    assert gateway.has("DeviceInfo_devParaDynamic", "SerialNum") == "S0001"
    assert gateway.path("/etc/nuvek/store/flash").is_file()
    assert "no: the clock is not synchronised" in gateway.run("nuvek-status", status=1)

    gateway.run("env", "ACTION=stratum", "sh", "/etc/hotplug.d/ntp/50-nuvek")
    wait_for("the local port", lambda: '"Result":0' in post_location(network).replace(" ", "").replace("'", '"'))
    wait_for("the registration", lambda: gateway.has("nuvek_Common", "RegId") == "NUVEK-1")
    assert json.loads(platform("Inform0")[0]["request"].split("\r\n\r\n", 1)[1])[1]["Params"]["NUVEK"]["DeviceInfo"]["SerialNum"] == "S0001"
    assert gateway.run("nuvek-status").startswith("registered       yes\n")

    trace = wait_for("the trace-route", lambda: platform("TraceRoute"), 60)[0]
    hops = [row[0] for row in result_of(trace, "TraceRouteResult")["PathTable"]]
    assert hops == ["edge.test", "core.test", "nuvek-p1.test"]
    assert result_of(trace, "TraceRouteResult")["DestIP"] == network.platform_address
    speed = wait_for("the speed test", lambda: platform("SiteSpeed"), 90)[0]
    result = result_of(speed, "SiteSpeedResult")
    assert (result["DestIP"], result["Error"]) == (network.platform_address, "null")
    assert len(result["SpeedTable"]) > 10 and sum(result["SpeedTable"]) > 0
    assert gateway.run("pidof", "traceroute", "httpSpeed", status=1) == ""
    for kind in ("Inform0", "TraceRoute", "SiteSpeed"):
        assert all(entry["verdict"] == "ok" for entry in platform(kind))

    agent = gateway.run("pidof", "nuvek")
    gateway.run("kill", agent)
    wait_for("the agent to be started again", lambda: gateway.run("sh", "-c", "pidof nuvek || true") not in ("", agent))

    config.write_text(config.read_text().replace("'S0001'", "'S0002'").replace("enabled '1'", "enabled '0'"))
    gateway.boot()
    assert gateway.has("nuvek_Common", "RegId") == "NUVEK-1"
    assert gateway.has("DeviceInfo_devParaDynamic", "SerialNum") == "S0001"
    assert gateway.run("pidof", "nuvek", status=1) == ""
