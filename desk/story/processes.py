"""What a story starts is gone when it ends, however it ends: a guard outlives the story and takes with it what is left."""
import ctypes
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile

PR_SET_PDEATHSIG, PR_SET_CHILD_SUBREAPER = 1, 36
MNT_DETACH = 2
AGAIN_S = 0.01
END_SIGNALS = (signal.SIGTERM, signal.SIGHUP, signal.SIGINT)
LIBC = ctypes.CDLL(None, use_errno=True)


def end_with_parent(how=signal.SIGKILL):
    """The calling process gets this signal when its parent ends, whatever ends it."""
    LIBC.prctl(PR_SET_PDEATHSIG, how, 0, 0, 0)


def start(command, **options):
    """Starts a program in a session of its own, so that Ctrl-C is for the story alone; it ends with the story."""
    return subprocess.Popen(command, start_new_session=True, preexec_fn=end_with_parent, **options)


def end_group(process, how=signal.SIGTERM, limit_s=5):
    """Ends the program, and whatever it started that is still running; gives its status."""
    process.send_signal(how)
    try:
        status = process.wait(timeout=limit_s)
    except subprocess.TimeoutExpired:
        process.kill()
        status = process.wait()
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass  # nothing of it was left
    return status


def children_of(parent):
    found = []
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            fields = stat.read_text(errors="replace").rsplit(")", 1)[1].split()
        except (OSError, IndexError):
            continue  # it has ended meanwhile
        if int(fields[1]) == parent:
            found.append(int(stat.parent.name))
    return found


def end_all_children():
    """Kills until there are none: the children of each one killed become ours."""
    while True:
        killed = children_of(os.getpid())
        for pid in killed:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        try:
            for _ in killed:
                os.waitpid(-1, 0)
            os.waitpid(-1, os.WNOHANG)
        except ChildProcessError:
            return


def ignore(_signal, _frame):
    pass


def interrupt(_signal, _frame):
    for number in END_SIGNALS:
        signal.signal(number, ignore)  # a second one must not cut the tidying short
    raise KeyboardInterrupt


def lost(unraisable):
    """An interrupt inside of what an object does at its end is lost there; it comes once more."""
    if isinstance(unraisable.exc_value, KeyboardInterrupt):
        signal.setitimer(signal.ITIMER_REAL, AGAIN_S)
    else:
        sys.__unraisablehook__(unraisable)


def remove(folder):
    """As far as that can be done, and with what is a mount of this process's own."""

    def detach(function, path, _error):
        if function is os.rmdir and LIBC.umount2(os.fsencode(path), MNT_DETACH) == 0:
            os.rmdir(path)

    shutil.rmtree(folder, onerror=detach)


def run_child(work, folder):
    """It tidies up as the guard does: the guard may have been killed."""
    end_with_parent(signal.SIGTERM)
    LIBC.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    for number in (*END_SIGNALS, signal.SIGALRM):
        signal.signal(number, interrupt)
    sys.unraisablehook = lost
    status = 1
    try:
        status = work(folder)
    except KeyboardInterrupt:
        status = 130
    except SystemExit as end:
        status = end.code
        if isinstance(status, str):
            print(status, file=sys.stderr)
            status = 1
    except BaseException:  # the guard needs a status, a person the reason
        sys.excepthook(*sys.exc_info())
    finally:
        for number in (*END_SIGNALS, signal.SIGALRM):
            signal.signal(number, ignore)  # none may cut the tidying short, nor lead out of it
        end_all_children()
        remove(folder)
        sys.stdout.flush()
        sys.stderr.flush()
        os._exit(status or 0)


def guarded(work, prefix):
    """Runs work(folder) in a child of its own with a new folder, and gives its status. When it is back, or killed, no process
    that it started is left, and neither is the folder. The child, in turn, ends when the guard is killed."""
    LIBC.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    folder = pathlib.Path(tempfile.mkdtemp(prefix=prefix))
    child = os.fork()
    if child == 0:
        run_child(work, folder)
    for number in END_SIGNALS:
        signal.signal(number, lambda _signal, _frame: os.kill(child, signal.SIGTERM))
    status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    for number in END_SIGNALS:
        signal.signal(number, ignore)
    end_all_children()
    shutil.rmtree(folder, ignore_errors=True)
    return status if status >= 0 else 128 - status
