"""Hosts as network namespaces, without a trace outside: they are mounted where only this process and its children look, and an
ordinary user makes them as the root of a user namespace."""
import ctypes
import os
import shutil
import subprocess

from desk.story.processes import LIBC

CLONE_NEWNS, CLONE_NEWUSER, CLONE_NEWNET = 0x00020000, 0x10000000, 0x40000000
MS_BIND, MS_REC, MS_PRIVATE = 0x1000, 0x4000, 0x40000

# By its whole path: an ordinary user's PATH lacks the folder, and the agent's holds what a story wants it to find.
IP = shutil.which("ip") or "/usr/sbin/ip"
NSENTER = shutil.which("nsenter") or "/usr/bin/nsenter"


def checked(result, what):
    if result != 0:
        raise OSError(ctypes.get_errno(), f"{what}: {os.strerror(ctypes.get_errno())}")


def mount(source, target, kind=None, flags=0):
    texts = [None if text is None else os.fsencode(text) for text in (source, target, kind)]
    checked(LIBC.mount(*texts, flags, None), f"mount {target}")


def enter_private_mounts():
    """Mounts of its own for the calling process, which must have one thread; its network stays the machine's."""
    uid, gid = os.geteuid(), os.getegid()
    if uid != 0 or LIBC.unshare(CLONE_NEWNS) != 0:
        checked(LIBC.unshare(CLONE_NEWNS | CLONE_NEWUSER), "unshare")
        for name, text in (("setgroups", "deny"), ("uid_map", f"0 {uid} 1"), ("gid_map", f"0 {gid} 1")):
            with open(f"/proc/self/{name}", "w", encoding="ascii") as file:
                file.write(text)
    mount(None, "/", flags=MS_REC | MS_PRIVATE)


def run(command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)


class Hosts:
    """The namespaces, each a file in the folder. They go when the last process in them has ended."""

    def __init__(self, folder, names):
        self.folder = folder
        folder.mkdir()
        mount("none", folder, "tmpfs")
        for name in names:
            (folder / name).touch()
            run(["unshare", f"--net={folder / name}", "true"])

    def inside(self, name):
        """The words ahead of a command that is to run on this host."""
        return [NSENTER, f"--net={self.folder / name}"]

    def enter(self, name):
        """Moves the calling thread, and no other, to this host."""
        with open(self.folder / name, "rb") as namespace:
            checked(LIBC.setns(namespace.fileno(), CLONE_NEWNET), f"setns {name}")

    def ip(self, name, *words):
        run([*self.inside(name), IP, *words])

    def set_kernel(self, name, switch, value):
        run([*self.inside(name), "sh", "-c", f"echo {value} >/proc/sys/net/ipv4/{switch}"])

    def link(self, first, second, first_address, second_address):
        """A cable between two hosts; each end is called after the other."""
        near, far = f"to-{second}", f"to-{first}"
        self.ip(first, "link", "add", near, "type", "veth", "peer", "name", far, "netns", str(self.folder / second))
        for name, device, address in ((first, near, first_address), (second, far, second_address)):
            self.ip(name, "address", "add", address, "dev", device)
            self.ip(name, "link", "set", device, "up")


def resolve_by(folder, text):
    """This process and its children ask another name server from now on."""
    file = folder / "resolv.conf"
    file.write_text(text)
    mount(file, "/etc/resolv.conf", flags=MS_BIND)
