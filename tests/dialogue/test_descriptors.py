"""No file that the agent writes is given to a helper program that it starts meanwhile."""
from messages import LOCATED_STORE, NOW, UUID, answer, inform0_response, message_id, result_response
from test_results import SPEED

WEEK_S = 604800
STORE = {**LOCATED_STORE, "nuvek_Entry0 GISInterface": "", "nuvek_Entry1 alreadyReport": "1"}


def test_the_key_file(gateway):
    """The timer thread starts a helper program while the main thread has the file open."""
    agent = gateway(STORE)
    agent.program("pidof", 'ls -l /proc/self/fd > "$NUVEK_ROOT/tmp/descriptors"; echo 77')
    agent.program("httpSpeed", "exit 0")
    agent.program("traceroute", "exit 0")
    agent.primary.up()
    agent.start()
    agent.edit_store({"nuvek_Common LastSpeedTime": str(NOW - WEEK_S), "nuvek_Common LastTraceTime": str(NOW - WEEK_S)})
    agent.wait_record(SPEED)
    agent.uptime += 41
    link = agent.primary.accept()
    assert b'"NUVEK.SiteSpeed"' in link.request()
    link.answer(answer(result_response(message_id(NOW), -3)))
    link.expect_close()
    agent.edit_store({"nuvek_Entry0 GISInterface": "A"})
    link = agent.primary.accept()
    assert b'"Inform0"' in link.request()
    link.answer(answer(inform0_response()))
    agent.go_to("write")
    assert "nuvekKeyInfo" in "\n".join(agent.open_files())
    agent.write("tmp/descriptors", "")
    agent.let_pass(10)
    given = (agent.root / "tmp/descriptors").read_text()
    assert "/dev/null" in given and "nuvekKeyInfo" not in given and "socket:" not in given, given
    agent.run()
    assert UUID in agent.keys()
