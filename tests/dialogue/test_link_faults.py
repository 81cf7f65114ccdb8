"""The platform is down, half there, or not to be found: the gateway carries on and comes back."""
from messages import LOCATED_STORE, NOW, PRIMARY, SECONDARY, answer, inform0, inform0_response

LOST = "ERROR nuvek_Link_Remoteserver: connect remote server error"


def link_log(agent):
    """What the last attempt to connect said, without the numbers of sockets."""
    lines = [line for line in agent.log() if "Server:" in line or "Remoteserver:" in line or "Socket:" in line]
    return [line.rsplit(":", 1)[0] if "fd:" in line else line for line in lines]


def test_the_secondary_serves_while_the_primary_is_down_and_the_next_link_begins_with_the_primary(gateway):
    agent = gateway(LOCATED_STORE)
    agent.secondary.up()
    agent.start("-v", "1")
    link = agent.secondary.accept()
    assert link.request() == inform0(host=SECONDARY)
    agent.primary.up()
    link.close()
    assert agent.primary.accept().request() == inform0(host=PRIMARY)
    assert "DEBUG nuvek_swap_platServer: num :1, max:2, index:1, g_platdomain:" + SECONDARY in agent.log()
    assert "connect: Connection refused\n" in agent.errors()


def test_with_both_down_each_turn_tries_both_and_nothing_is_lost(gateway):
    agent = gateway(LOCATED_STORE)
    agent.start("-v", "1")
    agent.wait_log(LOST)
    before = agent.log().count(LOST)
    agent.turns(20)
    assert agent.log().count(LOST) == before + 20
    assert agent.errors().count("connect: Connection refused\n") == 2 * agent.log().count(LOST)
    descriptors = agent.descriptors()
    agent.turns(20)
    assert agent.descriptors() == descriptors
    agent.primary.up()
    assert agent.primary.accept().request() == inform0()


def test_the_log_of_a_link_that_fails_twice(gateway):
    agent = gateway(LOCATED_STORE)
    agent.start("-v", "1")
    agent.wait_log(LOST)
    lines = link_log(agent)
    assert lines[:lines.index(LOST) + 1] == [
        "DEBUG nuvek_get_platServer: g_platdomain " + PRIMARY, "DEBUG nuvek_Link_Remoteserver: hostIp:" + PRIMARY,
        "DEBUG nuvek_creatSocket: socketfd", "DEBUG nuvek_Link_Remoteserver: g_server_Arg.fd",
        lines[4], "DEBUG nuvek_creatSocket: socketfd",
        "DEBUG nuvek_swap_platServer: num :1, max:2, index:1, g_platdomain:" + SECONDARY,
        "DEBUG nuvek_get_platServer: g_platdomain " + SECONDARY, lines[8], LOST]
    assert lines[4].endswith(" ipaddr") or lines[4].endswith(" ipaddr:" + PRIMARY)


def test_a_name_that_does_not_resolve_stands_for_this_host(gateway):
    agent = gateway({**LOCATED_STORE, "nuvek_Server PlatDomain1": "nowhere.invalid"})
    agent.primary.up()  # 0.0.0.0 reaches it
    agent.start()
    assert agent.primary.accept().request() == inform0(host="")
    assert agent.errors().startswith("getaddrinfo: ")


def test_an_edited_domain_takes_effect_at_the_next_link(gateway):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start()
    link = agent.primary.accept()
    assert link.request() == inform0()
    agent.secondary.up()
    agent.edit_store({"nuvek_Server PlatDomain1": SECONDARY})
    link.close()
    assert agent.secondary.accept().request() == inform0(host=SECONDARY)


def test_a_connection_that_the_platform_closes_while_idle_is_replaced(gateway):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start("-v", "1")
    for number in range(5):
        link = agent.primary.accept()
        assert link.request() == inform0()
        (link.reset if number % 2 else link.close)()
    link = agent.primary.accept()
    link.request()
    link.answer(answer(inform0_response()))
    agent.wait_record("set nuvek_Entry0 alreadyReport=1")


def test_two_hundred_connections_leave_no_descriptor_behind(gateway):
    agent = gateway(LOCATED_STORE)
    agent.primary.up()
    agent.start()
    descriptors = None
    for number in range(200):
        link = agent.primary.accept()
        link.request()
        if number == 10:
            descriptors = agent.descriptors()
        link.answer(b"HTTP/1.1 404 Not Found\r\n\r\n")
        link.expect_close(after=[inform0()])
    link = agent.primary.accept()
    link.request()
    assert agent.descriptors() == descriptors
    assert agent.clock == NOW
