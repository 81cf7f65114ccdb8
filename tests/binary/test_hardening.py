"""How the agent's program is built: what an attacker who finds a mistake in it would meet."""
import os
import pathlib
import re
import subprocess

BUILD = pathlib.Path(os.environ["NUVEK_BUILD"])
AGENT = BUILD / "bin/nuvek"
MJSON = BUILD / "lib/libmjson-1.5.so"


def readelf(option, file=AGENT):
    return subprocess.run(["readelf", "-W", option, file], check=True, capture_output=True, text=True).stdout


def imports(file=AGENT):
    return set(re.findall(r" UND (\w+)", readelf("--dyn-syms", file)))


def test_the_program_is_position_independent():
    assert re.search(r"Type:\s+DYN", readelf("-h"))
    assert "PIE" in readelf("-d") and "TEXTREL" not in readelf("-d")


def test_its_relocated_data_is_read_only_once_it_runs():
    assert "GNU_RELRO" in readelf("-l")
    assert re.search(r"BIND_NOW", readelf("-d"))


def test_no_segment_is_writable_and_executable():
    segments = re.findall(r"^\s+(LOAD|GNU_STACK)\s.*\s(R?\s?W?\s?E?)\s+0(?:x\w+)?$", readelf("-l"), re.MULTILINE)
    assert {kind for kind, _ in segments} == {"LOAD", "GNU_STACK"}
    assert not [flags for _, flags in segments if "W" in flags and "E" in flags]


def test_stack_buffers_are_guarded_and_library_calls_are_checked():
    for file, objects in ((AGENT, "libnuvek_agent.a"), (MJSON, "platform/mjson/CMakeFiles/mjson.dir/*.o")):
        # Of the C library or linked in. A linker that leaves no names of what is linked in leaves the objects to ask.
        asked = [file] if ".symtab" in readelf("-S", file) else BUILD.glob(objects)
        assert any(re.search(r" __stack_chk_fail\b", readelf("--syms", one)) for one in asked)
    if "libc.so.6" in readelf("-d"):  # other C libraries have no calls that check
        assert {"__snprintf_chk", "__printf_chk"} <= imports()
        assert not imports() & {"snprintf", "vsnprintf", "printf", "vprintf", "fprintf", "vfprintf"}


def test_no_call_that_cannot_be_bounded_is_used():
    assert not imports() & {"strcpy", "strcat", "sprintf", "vsprintf", "gets", "popen", "strtok", "alloca",
                            "__strcpy_chk", "__strcat_chk", "__sprintf_chk", "__vsprintf_chk"}
