"""Where the desk stands: an operator network of namespaces where the machine allows it, else loopback."""
import os
import pathlib
import shutil
import socket
import subprocess

from desk.story.console import tell, wait_for
from desk.story.namespaces import Hosts, enter_private_mounts, resolve_by
from desk.story.processes import end_group, start
from desk.story.weather import Cable

PLATFORM_NAMES = ("nuvek-p1.test", "nuvek-p2.test")
TRACE_NAME = "trace.test"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def is_listening(pid, protocol, port):
    """Whether anybody does in the program's network, on all addresses."""
    try:
        lines = pathlib.Path(f"/proc/{pid}/net/{protocol}").read_text().splitlines()[1:]
    except OSError:
        return False
    return any(fields[1] == f"00000000:{port:04X}" and fields[3] in ("0A", "07") for fields in map(str.split, lines))


class Loopback:
    """All programs beside each other, on ports of their own; the platform is named by its address."""

    kind = "loopback"
    described = "loopback (no network namespaces)"
    has_names = False
    hosts = (("lan", "client", ("127.0.0.1",)), ("gw", "gateway", ("127.0.0.1",)), ("plat", "platform", ("127.0.0.1",)))
    links = (("lan", "gw"), ("gw", "plat"))

    def __init__(self):
        self.platform_port = free_port()
        self.local_port = free_port()
        self.platform_address = "127.0.0.1"
        self.dead_address = "127.0.0.9"  # the platform server listens on its own address only
        self.gateway_address = "127.0.0.1"
        self.agent_environment = {
            "NUVEK_PLATFORM_PORT": str(self.platform_port),
            "NUVEK_LOCAL_PORT": str(self.local_port),
            "DESK_PLATFORM": f"127.0.0.1:{self.platform_port}",
        }

    def inside(self, _host):
        """The words ahead of a command that is to run on one of the network's hosts."""
        return []

    def close(self):
        pass


# Host, what it is for a person, and the links of the network: each a /24 with the first host at .1 and the second at .2.
TITLES = {"lan": "client", "gw": "gateway", "r1": "edge router", "r2": "core router", "plat": "platform", "dns": "name server"}
LINKS = (("gw", "lan"), ("r1", "gw"), ("r1", "r2"), ("r2", "plat"), ("r2", "dns"))
ROUTES = (("lan", "default", "10.99.0.1"), ("gw", "default", "10.99.1.1"), ("r1", "10.99.0.0/24", "10.99.1.2"),
          ("r1", "10.99.3.0/24", "10.99.2.2"), ("r1", "10.99.4.0/24", "10.99.2.2"), ("r2", "default", "10.99.2.1"),
          ("plat", "default", "10.99.3.1"), ("dns", "default", "10.99.4.1"))


def addresses(host):
    return tuple(f"10.99.{number}.{pair.index(host) + 1}" for number, pair in enumerate(LINKS) if host in pair)


class OperatorNetwork:
    """LAN client - gateway - two routers - platform host and name server, each a namespace of its own.

    The platform's port is 80, its names resolve through a real name server, and the trace has real hops.
    """

    kind = "namespaces"
    has_names = True
    platform_port = 80
    local_port = 17999
    platform_address = "10.99.3.2"
    dead_address = "10.99.3.1"  # the router before it refuses
    name_server_address = "10.99.4.2"
    gateway_address = "10.99.0.1"
    agent_environment: dict = {}
    hosts = tuple((name, title, addresses(name)) for name, title in TITLES.items())
    links = (("lan", "gw"), ("gw", "r1"), *LINKS[2:])  # away from the client

    def __init__(self, folder):
        self.described = "an operator network: LAN client, gateway, two routers, platform host, name server"
        if os.geteuid() != 0:
            self.described += " (in a user namespace)"
        self.folder = folder
        self.name_server = None
        enter_private_mounts()
        self.namespaces = Hosts(folder / "net", TITLES)
        self.inside = self.namespaces.inside
        resolve_by(folder, f"nameserver {self.name_server_address}\noptions timeout:1 attempts:1\n")
        self.build()

    def build(self):
        for name in TITLES:
            self.namespaces.ip(name, "link", "set", "lo", "up")
        for number, (first, second) in enumerate(LINKS):
            self.link(first, second, f"10.99.{number}.1/24", f"10.99.{number}.2/24")
        for name in ("gw", "r1", "r2"):
            self.namespaces.set_kernel(name, "ip_forward", 1)
            # A trace with three probes a hop must not meet the kernel's limit on ICMP answers.
            self.namespaces.set_kernel(name, "icmp_ratelimit", 0)
        for name, destination, by in ROUTES:
            self.namespaces.ip(name, "route", "add", destination, "via", by)
        self.start_name_server()

    def link(self, *ends_and_addresses):
        self.namespaces.link(*ends_and_addresses)

    def start_name_server(self):
        records = [f"--host-record={name},{self.platform_address}" for name in (*PLATFORM_NAMES, TRACE_NAME)]
        records += ["--host-record=edge.test,10.99.1.1", "--host-record=core.test,10.99.2.2"]
        # In its debug mode it changes no user, which the root of a user namespace could not do.
        self.name_server = start(
            [*self.inside("dns"), shutil.which("dnsmasq") or "/usr/sbin/dnsmasq", "--no-daemon", "--no-resolv", "--no-hosts",
             "--conf-file=/dev/null", f"--pid-file={self.folder}/dnsmasq.pid", *records],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for("the name server", lambda: is_listening(self.name_server.pid, "udp", 53), 5)

    def stop_name_server(self):
        if self.name_server is not None:
            end_group(self.name_server)
        self.name_server = None

    def close(self):
        """The namespaces themselves go with the last process in them."""
        self.stop_name_server()


class ForeignNetwork(OperatorNetwork):
    """The same with a cable between the routers that has weather."""

    cable = None

    def link(self, first, second, first_address, second_address):
        if (first, second) != ("r1", "r2"):
            super().link(first, second, first_address, second_address)
            return
        ends = ((first, f"to-{second}"), (second, f"to-{first}"))
        self.cable = Cable(self.namespaces, ends)
        for (host, device), address in zip(ends, (first_address, second_address)):
            self.namespaces.ip(host, "address", "add", address, "dev", device)
            self.namespaces.ip(host, "link", "set", device, "up")


def build_network(loopback_only, folder, kind=OperatorNetwork):
    if loopback_only:
        return Loopback()
    try:
        return kind(folder)
    except (OSError, subprocess.CalledProcessError) as error:
        reason = (getattr(error, "stderr", None) or str(error)).strip()
        tell(f"this machine allows no network namespaces ({reason})")
        return Loopback()
