"""The local location port, from the client's side, and the end of the daemon."""
import json

import pytest

from messages import DEVICE_STORE, NO_BLOCK, inform0
from walk import GROUPS

POST = b'{"Longitude":"116.397128","Latitude":"39.916527","ID":"7"}'
STORED = ["set nuvek_Entry0 Long=116.39713", "set nuvek_Entry0 Lat=39.91653", "set nuvek_Entry0 Altitudes=",
          "set nuvek_Entry0 HorizontalError=", "set nuvek_Entry0 VerticalError=", "set nuvek_Entry0 AreaCode=",
          "set nuvek_Entry0 GISLockTime=", "set nuvek_Entry0 GISDigest=", "set nuvek_Entry0 GISInterface=A",
          "commit nuvek_Entry0", "save"]
BLOCK = {**NO_BLOCK, "Long": "116.39713", "Lat": "39.91653"}


def post(agent, *chunks):
    with agent.local() as client:
        for chunk in chunks:
            client.sendall(chunk)
        return client.received_until_closed()


def test_a_posted_location_is_stored_locked_and_registered(gateway):
    agent = gateway(DEVICE_STORE)
    agent.primary.up()
    agent.start()
    agent.effects()
    assert post(agent, POST) == b'{"Result":0,"ID":7}'
    assert agent.effects() == STORED
    assert agent.primary.accept().request() == inform0(block=BLOCK)
    assert post(agent, POST) == b'{"Result":-3,"ID":7}'
    assert agent.effects() == []


def test_a_post_is_answered_0_though_the_store_takes_nothing(gateway):
    agent = gateway(DEVICE_STORE)
    agent.set_word("walk_groups", GROUPS["writes"])
    agent.set_word("walk_then", 1)
    agent.set_word("walk_call", 1)
    agent.start("-v", "1")
    for _ in range(2):
        assert post(agent, POST) == b'{"Result":0,"ID":7}'  # and not locked, so it can be posted again
    assert not any(line.startswith("set ") for line in agent.effects())
    assert sum("the store refuses" in line for line in agent.log()) == 1


@pytest.mark.parametrize("member, text, name, sent", [
    ("HorizontalError", "n/a", "HorizontalError", b" n/a "),
    ("Longitude", "1e60", "Long", b" inf "),
    ("AreaCode", "11\x010101", "AreaCode", b"\"11\x010101\""),
    ("AreaCode", "Lat", "AreaCode", b'"Lat","GISLockTime":  ,'),  # the quotes behind the name of a number are blanked
    ("AreaCode", r"\q", "AreaCode", rb'"\q"'),
    ("AreaCode", 8 * "é", "AreaCode", b'"%s"' % (8 * "é").encode()[:15]),  # cut to its field in the middle of a letter
])
def test_one_post_can_make_the_registration_unreadable_and_the_store_cures_it(gateway, member, text, name, sent):
    agent = gateway(DEVICE_STORE)
    agent.primary.up()
    agent.start()
    assert post(agent, b'{"%s":"%s","ID":"7"}' % (member.encode(), text.encode())) == b'{"Result":0,"ID":7}'
    link = agent.primary.accept()
    request = link.request()
    assert b'"%s":%s' % (name.encode(), sent) in request
    with pytest.raises(ValueError):
        json.loads(request.partition(b"\r\n\r\n")[2], parse_constant=int)
    agent.edit_store({"nuvek_Entry0 " + name: "0"})  # by the gateway's own software
    agent.turns()
    assert json.loads(link.take()[-1].partition(b"\r\n\r\n")[2])


def test_the_port_serves_before_the_clock_is_synchronised(gateway):
    agent = gateway(DEVICE_STORE, synchronised=False).start()
    assert post(agent, b"\0\0\0\x3a" + POST) == b'{"Result":0,"ID":7}'


def test_bad_clients_do_not_keep_the_next_one_out(gateway):
    agent = gateway(DEVICE_STORE).start()
    before = agent.descriptors()
    for junk in (b"", b"\0" * 1024, b"{", b"{" * 1024, b"GET / HTTP/1.0\r\n\r\n", b"\xff\xfe\xfd\xfc{"):
        with agent.local() as client:
            client.sendall(junk)
            client.half_close()
            try:
                client.received_until_closed()
            except ConnectionResetError:  # what the agent did not read
                pass
        agent.edit_store({"nuvek_Entry0 GISInterface": ""})
    for _ in range(5):  # as many as may wait for their turn
        client = agent.local()
        client.sendall(b"junk")
        client.reset()
    agent.turns(6)  # a client each
    assert agent.descriptors() == before
    agent.edit_store({"nuvek_Entry0 GISInterface": ""})
    assert post(agent, POST) == b'{"Result":0,"ID":7}'


def test_a_thousand_clients_that_say_nothing_do_not_keep_the_next_one_out(gateway):
    agent = gateway(DEVICE_STORE).start()
    before = agent.descriptors()
    for _ in range(1000):
        agent.local().close()
        agent.turn()
    assert post(agent, POST) == b'{"Result":0,"ID":7}'
    assert agent.descriptors() == before


def test_a_message_behind_junk_of_its_own_chunk_is_served(gateway):
    agent = gateway(DEVICE_STORE).start("-v", "1")
    with agent.local() as client:
        client.sendall(b"junk")
        agent.wait_log("DEBUG nuvek_localProcess: recv :4")
        client.sendall(POST)
        assert client.recv(1024) == b'{"Result":0,"ID":7}'


def test_a_silent_client_is_dropped_after_ten_seconds(gateway):
    agent = gateway(DEVICE_STORE).start("-v", "1")
    with agent.local() as client:
        assert not agent.turn()
        assert agent.waits_in() == "select %d within 10000000" % client.fd
        agent.time_out()
        assert client.recv_now(1) == b""
    assert "ERROR nuvek_localProcess: not recv client data" in agent.log()


def test_the_end_comes_at_once_while_a_client_is_silent(gateway):
    agent = gateway(DEVICE_STORE).start()
    with agent.local():
        assert not agent.turn()
        agent.stop()
