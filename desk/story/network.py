"""Where the desk stands: an operator network of namespaces where the machine allows it, else loopback."""
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile

from desk.story.console import tell

PLATFORM_NAMES = ("nuvek-p1.test", "nuvek-p2.test")
TRACE_NAME = "trace.test"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Loopback:
    """All programs beside each other, on ports of their own; the platform is named by its address."""

    described = "loopback (no network namespaces)"
    has_names = False

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


# By its whole path: the agent's PATH holds what a story wants it to find.
IP = shutil.which("ip") or "/usr/sbin/ip"

# Host, and the links of the network: each a /24 with the first host at .1 and the second at .2.
HOSTS = ("lan", "gw", "r1", "r2", "plat", "dns")
LINKS = (("gw", "lan"), ("r1", "gw"), ("r1", "r2"), ("r2", "plat"), ("r2", "dns"))


class OperatorNetwork:
    """LAN client - gateway - two routers - platform host and name server, each a namespace of its own.

    The platform's port is 80, its names resolve through a real name server, and the trace has real hops.
    """

    described = "an operator network: LAN client, gateway, two routers, platform host, name server"
    has_names = True
    platform_port = 80
    local_port = 17999
    platform_address = "10.99.3.2"
    dead_address = "10.99.3.9"
    gateway_address = "10.99.0.1"
    agent_environment: dict = {}

    def __init__(self):
        self.tag = f"nuvek{os.getpid()}"
        self.folder = tempfile.TemporaryDirectory(prefix="nuvek-net-")
        self.name_server = None
        try:
            self.build()
        except (OSError, subprocess.CalledProcessError):
            self.close()
            raise

    def namespace(self, host):
        return f"{self.tag}-{host}"

    def inside(self, host):
        return [IP, "netns", "exec", self.namespace(host)]

    def ip(self, host, *words):
        run([IP, "-netns", self.namespace(host), *words])

    def build(self):
        for host in HOSTS:
            run([IP, "netns", "add", self.namespace(host)])
            resolver = pathlib.Path("/etc/netns") / self.namespace(host)
            resolver.mkdir(parents=True)
            (resolver / "resolv.conf").write_text("nameserver 10.99.4.2\noptions timeout:1 attempts:1\n")
            self.ip(host, "link", "set", "lo", "up")
        for number, (first, second) in enumerate(LINKS):
            self.link(number, first, second)
        for host in ("gw", "r1", "r2"):
            run([*self.inside(host), "sysctl", "-q", "-w", "net.ipv4.ip_forward=1"])
            # A trace with three probes a hop must not meet the kernel's limit on ICMP answers.
            run([*self.inside(host), "sysctl", "-q", "-w", "net.ipv4.icmp_ratelimit=0"])
        self.route("lan", "default", "10.99.0.1")
        self.route("gw", "default", "10.99.1.1")
        self.route("r1", "10.99.0.0/24", "10.99.1.2")
        self.route("r1", "10.99.3.0/24", "10.99.2.2")
        self.route("r1", "10.99.4.0/24", "10.99.2.2")
        self.route("r2", "default", "10.99.2.1")
        self.route("plat", "default", "10.99.3.1")
        self.route("dns", "default", "10.99.4.1")
        self.start_name_server()

    def link(self, number, first, second):
        near, far = f"to-{second}", f"to-{first}"
        self.ip(first, "link", "add", near, "type", "veth", "peer", "name", far, "netns", self.namespace(second))
        for host, device, last in ((first, near, 1), (second, far, 2)):
            self.ip(host, "address", "add", f"10.99.{number}.{last}/24", "dev", device)
            self.ip(host, "link", "set", device, "up")

    def route(self, host, destination, gateway):
        self.ip(host, "route", "add", destination, "via", gateway)

    def start_name_server(self):
        records = [f"--host-record={name},{self.platform_address}" for name in (*PLATFORM_NAMES, TRACE_NAME)]
        records += ["--host-record=edge.test,10.99.1.1", "--host-record=core.test,10.99.2.2"]
        self.name_server = subprocess.Popen(
            [*self.inside("dns"), "dnsmasq", "--keep-in-foreground", "--no-resolv", "--no-hosts", "--conf-file=/dev/null",
             "--user=root", f"--pid-file={self.folder.name}/dnsmasq.pid", *records],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def close(self):
        if self.name_server is not None:
            self.name_server.terminate()
            self.name_server.wait()
        for host in HOSTS:
            subprocess.run([IP, "netns", "del", self.namespace(host)], check=False, stderr=subprocess.DEVNULL)
            resolver = pathlib.Path("/etc/netns") / self.namespace(host)
            (resolver / "resolv.conf").unlink(missing_ok=True)
            if resolver.is_dir():
                resolver.rmdir()
        self.folder.cleanup()


def run(command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)


def build_network(loopback_only):
    if loopback_only or os.geteuid() != 0:
        return Loopback()
    try:
        return OperatorNetwork()
    except (OSError, subprocess.CalledProcessError) as error:
        reason = (getattr(error, "stderr", None) or str(error)).strip()
        tell(f"this machine allows no network namespaces ({reason})")
        return Loopback()
