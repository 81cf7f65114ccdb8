"""The folder for an OpenWrt feed: its sources are whole, build with its own options, and its recipes find what they install.

OpenWrt's own make files are not here: a few lines with the names that the recipes use stand for them.
"""
import hashlib
import os
import pathlib
import re
import subprocess

import pytest

FEED = pathlib.Path(__file__).resolve().parents[2] / "build" / "package" / "openwrt" / "nuvek"
RULES = """
INCLUDE_DIR:=$(TOPDIR)/include
INSTALL_DIR:=install -d -m0755
INSTALL_BIN:=install -m0755
INSTALL_DATA:=install -m0644
INSTALL_CONF:=install -m0600
"""
PACKAGE = """
define BuildPackage
  $(eval $(call Package/$(1)))
  ALL+=install-$(1)
  install-$(1): ; $(call Package/$(1)/install,$(IMAGE)/$(1))
  print-$(1): ; @echo '$(SECTION)|$(CATEGORY)|$(TITLE)|$(DEPENDS)'
endef
print: ; @echo '$(PKG_NAME)|$(PKG_VERSION)|$(PKG_SOURCE)|$(PKG_HASH)|$(CMAKE_OPTIONS)'
"""


@pytest.fixture
def make(tmp_path):
    (tmp_path / "include").mkdir()
    (tmp_path / "rules.mk").write_text(RULES)
    (tmp_path / "include" / "package.mk").write_text(PACKAGE)
    (tmp_path / "include" / "cmake.mk").write_text("")

    def run(*words):
        return subprocess.run(["make", "-s", "-C", FEED, f"TOPDIR={tmp_path}", f"PKG_INSTALL_DIR={tmp_path}/staged",
                               f"IMAGE={tmp_path}/image", *words], check=True, capture_output=True, text=True).stdout.strip()
    return run


def files_of(folder):
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file()}


def test_the_feed_builds_and_packs_what_a_gateway_needs(make, tmp_path):
    name, version, source, digest, options = make("print").split("|")
    assert (name, source) == ("nuvek", f"nuvek-{version}.tar.gz")
    assert hashlib.sha256((FEED / source).read_bytes()).hexdigest() == digest
    assert "+nuvek-standins" in make("print-nuvek") and "+libstdcpp" in make("print-nuvek-standins")

    subprocess.run(["tar", "-C", tmp_path, "-xf", FEED / source], check=True)
    tree = tmp_path / "tree"
    for command in (["cmake", "-S", tmp_path / f"nuvek-{version}", "-B", tree, "-G", "Ninja", "-DCMAKE_INSTALL_PREFIX=/usr",
                     *options.split()], ["cmake", "--build", tree], ["cmake", "--install", tree]):
        done = subprocess.run(command, env={**os.environ, "DESTDIR": str(tmp_path / "staged")}, capture_output=True, text=True,
                              check=False)
        assert done.returncode == 0, done.stdout + done.stderr
    make("install-nuvek", "install-nuvek-standins")
    image = tmp_path / "image"
    assert files_of(image / "nuvek") == {
        "usr/sbin/nuvek", "usr/sbin/nuvek-status", "usr/lib/nuvek/helpers/httpSpeed", "usr/lib/nuvek/helpers/traceroute",
        "etc/init.d/nuvek", "etc/config/nuvek", "etc/hotplug.d/ntp/50-nuvek"}
    assert (image / "nuvek" / "usr" / "osgi").is_dir() and (image / "nuvek-standins" / "etc/nuvek/store").is_dir()
    assert files_of(image / "nuvek-standins") == {"usr/lib/nuvek/libtcapi.so", "usr/lib/nuvek/libmjson-1.5.so",
                                                  "usr/bin/tcapi"}


def test_the_init_script_has_procd_start_the_agent_again_for_ever():
    script = "procd_open_instance() { :; }; procd_close_instance() { :; }; procd_set_param() { echo \"$*\"; }\n"
    script += "config_load() { :; }; config_get_bool() { eval \"$1=1\"; }\n"
    script += f". {FEED}/files/nuvek.init; prepare_store() {{ :; }}; apply_configuration() {{ :; }}; start_service; echo $USE_PROCD"
    lines = subprocess.run(["sh", "-euc", script], check=True, capture_output=True, text=True).stdout.splitlines()
    assert lines == ["command /usr/sbin/nuvek", "env PATH=/usr/lib/nuvek/helpers:/usr/sbin:/usr/bin:/sbin:/bin",
                     "respawn 3600 5 0", "stdout 1", "stderr 1", "1"]


def test_the_clock_marker_is_made_when_the_clock_is_synchronised_and_not_before(tmp_path):
    script = (FEED / "files" / "nuvek.ntp").read_text().replace("/tmp/timeSync", f"{tmp_path}/timeSync")
    assert re.search("timeSync", script)
    for action, made in (("step", False), ("unsync", False), ("stratum", True)):
        subprocess.run(["sh", "-c", script], env={**os.environ, "ACTION": action}, check=False)
        assert (tmp_path / "timeSync").exists() == made, action
