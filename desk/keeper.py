"""Runs a program and, however that ends - by itself, by an interrupt, a hang-up or a kill of it or of anything that it started
- leaves nothing of it behind: no process, no network namespace, no temporary folder.

    python3 -m desk.keeper PROGRAM [ARGUMENT...]

Whatever the program starts is the keeper's descendant, also what has lost its parent. Its temporary files (TMPDIR) lie in a
folder that goes at the end, in memory where the machine has such a place. Interrupted, the program has some seconds to end by
itself."""
import ctypes
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile

GRACE_S = 5
PR_SET_PDEATHSIG, PR_SET_CHILD_SUBREAPER = 1, 36
INTERRUPTS = {signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT}
MEMORY = "/dev/shm"
WATCHED = INTERRUPTS | {signal.SIGCHLD, signal.SIGALRM}

prctl = ctypes.CDLL(None).prctl


def make_folder():
    in_memory = "TMPDIR" not in os.environ and os.access(MEMORY, os.W_OK)
    return tempfile.mkdtemp(prefix="nuvek-", dir=MEMORY if in_memory else None)


def begin_program():
    """In the program's process, ahead of its first instruction."""
    prctl(PR_SET_PDEATHSIG, signal.SIGKILL)
    signal.pthread_sigmask(signal.SIG_SETMASK, ())


def reap(program):
    """Takes leave of whoever has ended. Returns the program's status once it is among them."""
    status = None
    while True:
        try:
            pid, ended = os.waitpid(-1, os.WNOHANG)
        except ChildProcessError:
            return status
        if pid == 0:
            return status
        if pid == program:
            status = os.waitstatus_to_exitcode(ended)


def wait_for(program):
    """Until it ends, or has been told to and did not. Returns its status, or the signal that ended it."""
    asked_by = None
    while True:
        number = signal.sigwait(WATCHED)
        if number == signal.SIGCHLD:
            status = reap(program)
            if status is not None:
                return status
        elif asked_by is None and number in INTERRUPTS:
            asked_by = number
            os.kill(program, signal.SIGTERM)
            signal.alarm(GRACE_S)
        else:
            return -(asked_by or number)


def children():
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if (folder / "stat").read_text().rpartition(")")[2].split()[1] == str(os.getpid()):
                yield int(folder.name)
        except (FileNotFoundError, ProcessLookupError):
            pass


def kill_all():
    """Each that is killed leaves its own children to the keeper, who is their parent then."""
    while True:
        for pid in children():
            os.kill(pid, signal.SIGKILL)
        try:
            os.waitpid(-1, 0)
        except ChildProcessError:
            return


def remove_namespaces(tag):
    for namespace in pathlib.Path("/run/netns").glob(tag + "-*"):
        subprocess.run(["ip", "netns", "del", namespace.name], check=False, stderr=subprocess.DEVNULL)
    for resolver in pathlib.Path("/etc/netns").glob(tag + "-*"):
        shutil.rmtree(resolver, ignore_errors=True)


def main(command):
    signal.pthread_sigmask(signal.SIG_BLOCK, WATCHED)
    prctl(PR_SET_CHILD_SUBREAPER, 1)
    folder = make_folder()
    program = None
    try:
        program = subprocess.Popen(command, env={**os.environ, "TMPDIR": folder}, preexec_fn=begin_program, process_group=0)
        status = wait_for(program.pid)
    finally:
        kill_all()
        if program is not None:
            remove_namespaces("nuvek%d" % program.pid)
        shutil.rmtree(folder, ignore_errors=True)
    return status if status >= 0 else 128 - status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
