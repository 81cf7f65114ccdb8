"""What a platform must keep so that a gateway understands it: each rule, what breaks it, and what the gateway does then.

An answer is judged by the first rule that it breaks, in the order in which the gateway reads it: what comes behind a break
is not read."""
import dataclasses
import json

BLOCK_LIMIT = 1024
TEXT_LIMITS = {"RPCMethod": 31, "ObjectPath": 31, "RegID": 127, "ID": 15, "Code": 15}
METHODS = ("Inform0Response", "ResultResponse", "Get")
CODES = (0, -1, -2, -3, -4)
LENGTH_DIGITS = 16
STORM = 3  # refused registrations in a row
ANSWERS = {"Inform0": "Inform0Response", "SiteSpeed": "ResultResponse", "TraceRoute": "ResultResponse"}

# Name, what it asks of the platform, what the gateway does when it is broken.
RULES = (
    ("answer", "every message is answered in time", "it waits on, and repeats a registration on every turn of its loop"),
    ("connection", "the platform leaves closing to the gateway",
     "it takes the message for sent and hears nothing; a registration is repeated on every turn"),
    ("one block", "head and body leave in one piece", "it takes one receive for the whole answer: the rest is lost"),
    ("http", "an answer begins with HTTP/1.1", "it finds no response in the block and drops it; the connection stays"),
    ("status", "every message is answered 200 OK", "it closes at 404, and passes over any other status"),
    ("size", f"an answer has at most {BLOCK_LIMIT} bytes", "it drops the whole block; the connection stays"),
    ("length", "Content-Length is the body's length", "it takes the answer for cut, drops it and closes"),
    ("array", "the body is one array of flat messages that the gateway knows",
     "it drops the answer, or passes over the message, or cuts a text"),
    ("identifiers", "an answer carries the identifier of its message",
     "it counts the answer for another measurement, or for none"),
    ("codes", "a code is one that exists", "it stores the code, and holds its measurements back until a later 0"),
    ("results", "every result gets a ResultResponse", "it counts neither a success nor a failure"),
    ("registration", "an Inform0 is acknowledged with a RegID and code 0",
     "it registers on every turn of its loop, once a second"),
    ("bad moments", "a cut connection, half a message or a restart change nothing for the next one",
     "it is not heard until the platform is restarted"),
)
EFFECTS = {name: effect for name, _, effect in RULES}


@dataclasses.dataclass
class Break:
    rule: str
    reason: str
    exchange: object = None

    @property
    def effect(self):
        return EFFECTS[self.rule]


class Broken(Exception):
    def __init__(self, rule, reason):
        super().__init__(reason)
        self.rule = rule


def need(condition, rule, reason):
    if not condition:
        raise Broken(rule, reason)


def judge_arrival(exchange):
    need(exchange.end != "silence", "answer", f"no answer to {exchange.kind}")
    ends = {"closed": "the platform closed without an answer", "reset": "the platform reset the connection",
            "refused": "the platform took no connection"}
    need(exchange.end not in ends, "connection", ends.get(exchange.end))
    need(len(exchange.pieces) < 2, "one block", f"{len(exchange.pieces)} pieces: "
                                               + ", ".join(f"{len(piece)} bytes" for piece in exchange.pieces))


def judge_head(block):
    head, blank, body = block.partition(b"\r\n\r\n")
    lines = head.split(b"\r\n")
    need(block.startswith(b"HTTP/1.1 ") and blank, "http", "no head of an HTTP/1.1 response")
    need(lines[0] == b"HTTP/1.1 200 OK", "status", lines[0].decode("latin-1"))
    need(len(block) <= BLOCK_LIMIT, "size", f"{len(block)} bytes")
    lengths = [line.partition(b":")[2].removeprefix(b" ") for line in lines if line.startswith(b"Content-Length:")]
    need(len(lengths) == 1 and lengths[0].isdigit() and len(lengths[0]) <= LENGTH_DIGITS, "length",
         "no Content-Length, or more than one, or no number")
    need(int(lengths[0]) == len(body), "length", f"Content-Length {lengths[0].decode()}, {len(body)} bytes came")
    need(b"[" not in head and b"]" not in head, "array", "a bracket in the head: the array is searched from there")
    return body


def judge_body(body):
    need(body[:1] == b"[", "array", "no array")
    need(body.find(b"]") == len(body) - 1, "array", "a ] inside the array ends it early")
    try:
        array = json.loads(body)
    except ValueError as error:
        raise Broken("array", f"not JSON: {error}") from None
    messages = [element for element in array if isinstance(element, dict)]
    for message in messages:
        need(not any(isinstance(value, (dict, list)) for value in message.values()), "array", "a message that is not flat")
        for name, limit in TEXT_LIMITS.items():
            need(len(str(message.get(name, ""))) <= limit, "array", f"{name} has more than {limit} characters")
        need(not message or message.get("RPCMethod") in METHODS, "array", f"no such message: {message.get('RPCMethod')}")
    need(not messages or isinstance(array[0], (str, dict)), "array", "no text ahead of the messages")
    need(not (messages and messages[0] and array[0] is messages[0]), "array",
         "a message in the place of the UUID: the gateway reads from the first comma on")
    return [message for message in messages if message]


def judge_messages(exchange, messages):
    for message in messages:
        method = message["RPCMethod"]
        number = message.get("ID")
        need(isinstance(number, int) and number > 0, "identifiers", f"{method} with ID {number}")
        if method == "Get":
            need(sum(other.get("ID") == number for other in messages) == 1, "identifiers", f"two questions with ID {number}")
            need(message.get("ObjectPath"), "array", "a Get without an ObjectPath")
        else:
            need(number == exchange.id, "identifiers", f"{method} with ID {number}, the message had {exchange.id}")
            need(message.get("Code") in CODES, "codes", f"{method} with Code {message.get('Code')}")
    return messages


def judge_answer(exchange):
    """Its messages; raises Broken at the first rule that it breaks."""
    judge_arrival(exchange)
    messages = judge_messages(exchange, judge_body(judge_head(exchange.pieces[0])))
    wanted = ANSWERS.get(exchange.kind)
    answers = [message for message in messages if message["RPCMethod"] == wanted]
    need(wanted != "ResultResponse" or answers, "results", f"no ResultResponse to {exchange.kind}")
    need(wanted != "Inform0Response" or answers and answers[0].get("RegID"), "registration", "no Inform0Response with a RegID")
    return messages


def break_of(exchange):
    try:
        judge_answer(exchange)
    except Broken as broken:
        return Break(broken.rule, str(broken), exchange)
    return None


def storm(exchanges):
    """The Inform0 that came in spite of well-formed answers to those before it."""
    refused = 0
    for exchange in exchanges:
        if exchange.kind != "Inform0" or break_of(exchange):
            continue
        code = next(m["Code"] for m in judge_answer(exchange) if m["RPCMethod"] == "Inform0Response")
        refused = refused + 1 if code != 0 else 0
        if refused == STORM:
            return Break("registration", f"{STORM} registrations in a row with Code {code}", exchange)
    return None


def verdicts(exchanges, bad_moments):
    """Rule, "kept", "broken" or "not seen", and the breaks. `bad_moments`: None when they could not be played, else a Break
    or False."""
    asked = [exchange for exchange in exchanges if exchange.kind != "GetResponse"]
    breaks = [found for found in map(break_of, asked) if found]
    breaks += [found for found in (storm(asked), bad_moments) if found]
    kinds = {exchange.kind for exchange in asked if not break_of(exchange)}
    read = [exchange for exchange in asked if exchange.pieces]
    seen = {"bad moments": bad_moments is not None, "results": bool(kinds & {"SiteSpeed", "TraceRoute"}),
            "registration": "Inform0" in kinds, "answer": bool(asked), "connection": bool(asked)}
    rows = []
    for name, *_ in RULES:
        own = [found for found in breaks if found.rule == name]
        state = "broken" if own else "kept" if seen.get(name, bool(read)) else "not seen"
        rows.append((name, state, own))
    return rows
