"""The platform's Gets, which come in answer to a periodic report."""
from messages import (ACKNOWLEDGED_STORE, BLOCK_A, INTERFACES, NO_BLOCK, NOW, TABLES, answer, counters, device_info, get,
                      get_response, location, period_report)

DUE = {**ACKNOWLEDGED_STORE, "nuvek_Common LastInformTime": str(NOW - 86401)}


def reported(gateway, store, **options):
    """A gateway whose periodic report has just come; the connection it came on."""
    agent = gateway(store)
    agent.primary.up()
    agent.start("-v", "1", **options)
    link = agent.primary.accept()
    assert link.request() == period_report()
    return agent, link


def test_a_report_names_the_device_and_is_counted(gateway):
    agent, link = reported(gateway, DUE)
    agent.wait_record("set nuvek_Counter SuccessInform=1")
    assert agent.effects()[-2:] == ["set nuvek_Common LastInformTime=%d" % NOW, "set nuvek_Counter SuccessInform=1"]
    link.answer(answer("{}"))
    link.expect_close()


def test_every_package_and_an_unknown_one_in_one_answer(gateway):
    agent, link = reported(gateway, {**DUE, **TABLES})
    link.answer(answer(get("NUVEK.DeviceInfo", 11), get("NUVEK.GISInfoA", 12), get("NUVEK.GISInfoB", 13),
                       get("NUVEK.Interface", 14), get("NUVEK.Counter", 15), get("nuvek.counter", 16),
                       get("NUVEK.SiteSpeed", 17)))
    for expected in (get_response("NUVEK.DeviceInfo", device_info(), 11),
                     get_response("NUVEK.GISInfoA", location("A", BLOCK_A), 12),
                     get_response("NUVEK.GISInfoB", location("B", NO_BLOCK), 13),
                     get_response("NUVEK.Interface", INTERFACES, 14),
                     get_response("NUVEK.Counter", counters(success_inform=1), 15),
                     get_response("nuvek.counter", "{}", 16, -1),
                     get_response("NUVEK.SiteSpeed", "{}", 17, -1)):
        assert link.request() == expected
    link.expect_close()


def test_empty_tables_and_junk_counts(gateway):
    _, link = reported(gateway, {**DUE, "nuvekInterfaceInfo_Common Count": "none", "nuvekRouteInfo_Common Count": "-3"})
    link.answer(answer(get("NUVEK.Interface")))
    assert link.request() == get_response("NUVEK.Interface", '{"NUVEK":{"Interface":{"InterfaceTable":[],"RouteTable":[],'
                                                             '"DNS1":"","DNS2":""}}}')
    link.expect_close()


def test_a_response_too_long_for_the_buffer_is_cut_and_logged(gateway):
    agent, link = reported(gateway, {**DUE, **TABLES, "nuvekInterfaceInfo_Common Count": "9999999"})
    link.answer(answer(get("NUVEK.Interface"), get("NUVEK.Counter", 8)))
    agent.wait_log("ERROR nuvek_sendPostRequest: send error")
    received = link.received()
    assert b'"NUVEK.Counter"' in received
    assert received.index(b"POST", 1) == 2047, "what fits is out, and the next response follows at once"
    assert b"Content-Length: 2047\r\n" in received[:200]


def test_the_second_response_of_a_block_finds_the_connection_closed(gateway):
    agent, link = reported(gateway, DUE)
    link.answer(answer(get("NUVEK.Counter", 1)) + answer(get("NUVEK.Counter", 2)))
    assert link.request() == get_response("NUVEK.Counter", counters(success_inform=1), 1)
    link.expect_close()
    agent.wait_log("ERROR nuvek_sendPostRequest: fd error")
