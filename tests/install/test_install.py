"""What "cmake --install" leaves behind."""
import os
import pathlib
import re
import subprocess

import pytest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = os.environ["NUVEK_BUILD"]
PREFIX = os.environ["NUVEK_PREFIX"].lstrip("/")
LIBRARIES = os.environ["NUVEK_LIBDIR"] + "/nuvek"
PAGE = PROJECT / "desk" / "console"

FILES = {
    "agent": ["lib/systemd/system/nuvek-clock.service", "lib/systemd/system/nuvek.service", "lib/tmpfiles.d/nuvek.conf",
              "sbin/nuvek", "sbin/nuvek-status", "share/doc/nuvek/CHANGELOG.md", "share/doc/nuvek/LICENSE",
              "share/doc/nuvek/README.md", *(f"share/doc/nuvek/docs/{path.name}" for path in (PROJECT / "docs").iterdir()),
              "share/man/man5/nuvek-store.5", "share/man/man8/nuvek-status.8", "share/man/man8/nuvek.8"],
    "helpers": ["lib/nuvek/helpers/httpSpeed", "lib/nuvek/helpers/traceroute"],
    "standins": ["bin/tcapi", f"{LIBRARIES}/libmjson-1.5.so", f"{LIBRARIES}/libtcapi.so", "share/man/man1/tcapi.1"],
    "development": ["include/nuvek/mjson.h", "include/nuvek/tcapi.h"],
    "desk": ["bin/nuvek-platform", "share/man/man1/nuvek-platform.1",
             *(f"share/nuvek/scenarios/{path.name}" for path in (PROJECT / "desk/platform_server/scenarios").iterdir()),
             *(f"share/nuvek/console/{path.relative_to(PAGE)}" for path in PAGE.rglob("*") if path.is_file())]
    if os.environ["NUVEK_WITH_DESK"] == "ON" else [],
}


def install(folder, *options):
    done = subprocess.run([os.environ["NUVEK_CMAKE"], "--install", BUILD, *options], capture_output=True, text=True,
                          env={**os.environ, "DESTDIR": str(folder)}, check=False)
    assert done.returncode == 0, done.stdout + done.stderr
    root = folder / PREFIX
    return root, sorted(str(path.relative_to(root)) for path in root.rglob("*") if path.is_file())


@pytest.mark.parametrize("component", FILES)
def test_each_component_has_its_files_and_no_other(component, tmp_path):
    assert install(tmp_path, "--component", component)[1] == sorted(FILES[component])


def test_all_components_together_are_everything(tmp_path):
    assert install(tmp_path)[1] == sorted(sum(FILES.values(), []))


def test_no_installed_file_names_the_folder_of_the_build(tmp_path):
    root, files = install(tmp_path)
    assert not [name for name in files if str(PROJECT).encode() in (root / name).read_bytes()]


def test_the_agent_looks_for_libraries_beside_itself_only(tmp_path):
    root, _ = install(tmp_path)
    dynamic = subprocess.run(["readelf", "-dW", root / "sbin/nuvek"], capture_output=True, text=True, check=True).stdout
    by_name = f":/{PREFIX}/{LIBRARIES}" if "[libc.so.0]" in dynamic else ""  # uClibc's loader knows no $ORIGIN there
    assert re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", dynamic) == [f"$ORIGIN/../{LIBRARIES}:$ORIGIN/../lib{by_name}"]
    for name in ("libtcapi.so", "libmjson-1.5.so"):
        assert (root / "sbin" / ".." / LIBRARIES / name).is_file()


def test_the_unit_starts_the_installed_agent(tmp_path):
    root, _ = install(tmp_path)
    command, = re.findall(r"(?m)^ExecStart=(.*)", (root / "lib/systemd/system/nuvek.service").read_text())
    assert os.access(tmp_path / command.lstrip("/"), os.X_OK)


def test_manual_pages_bear_this_version_and_nothing_is_left_to_fill_in(tmp_path):
    root, files = install(tmp_path)
    pages = [(root / name).read_text() for name in files if "/man/" in name]
    assert len(pages) >= 3
    for page in pages:
        assert f".Os nuvek {os.environ['NUVEK_VERSION']}\n" in page
        assert not re.search(r"@[A-Z_]+@", page)
    assert not re.search(r"@[A-Z_]+@", (root / "lib/systemd/system/nuvek.service").read_text())


def test_links_of_the_installed_documents_lead_somewhere(tmp_path):
    root, files = install(tmp_path)
    pages = [root / name for name in files if name.endswith(".md")]
    links = [(page, link) for page in pages for link in re.findall(r"\]\(([^)#:]+)\)", page.read_text())]
    assert len(links) > 10
    assert not [(page.name, link) for page, link in links if not (page.parent / link).exists()]


def test_the_porting_document_lists_the_endpoints_as_the_build_has_them(tmp_path):
    root, _ = install(tmp_path)
    built = re.findall(r'(?m)^  "(NUVEK_\w+)\|(\d+)\|([^|]+)\|', (PROJECT / "cmake" / "endpoints.cmake").read_text())
    told = re.findall(r"(?m)^\| `(NUVEK_\w+)` \| (\d+) \| `([^`]+)` \|", (root / "share/doc/nuvek/docs/porting.md").read_text())
    assert len(built) == 8
    assert told == built
